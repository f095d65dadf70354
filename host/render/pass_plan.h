// The passes of a render: what its camera says of them, with files open.
#pragma once

#include "database/passes.h"
#include "passes/pass_steps.h"
#include "render/output_rules.h"
#include "saving/identity.h"

#include <vector>

namespace lumorender {

/// The pass statements of the scene's camera; none where the options switch them off.
const std::vector<PassStatement>& passesOf(const RenderScene& scene);

/// The buffers that they name by types.
std::vector<OutputKind> kindsOfPasses(const RenderScene& scene);

/// Statements work on samples in their order. Files are prepared before the picture is rendered where a merge follows that
/// could read them, else behind it; removed behind it.
class PassPlan {
public:
    PassPlan() = default;
    /// The scene must outlive the object.
    PassPlan(const RenderScene& scene, const DataWindow& window, const OutputRules& rules);

    /// Says what cannot be written and what cannot be read, of what is there already.
    bool check() const;

    /// Whether files come of it, or go.
    bool changesFiles() const;
    /// What is read decides the picture.
    void addTo(Identity& identity) const;

    /// Prepares files and opens all others, when the scene's projection is there. Throws Failure.
    /// @return false where a stop was requested
    bool open(int threads);

    /// What is done with samples while the picture is rendered.
    const std::vector<PassStep>& steps() const { return steps_; }

    /// When the picture is done: files take their names. An incomplete picture leaves all as it was.
    /// @return false where something failed, after a message, or a stop was requested
    bool finish(bool complete, int threads);

private:
    std::string problemOf(std::size_t number) const;
    void requireFit(const PassHead& head) const;
    std::vector<int> slotsOf(const PassStatement& pass) const;
    PassInput openInput(const PassStatement& pass, const std::string& name, const std::vector<int>& slots) const;
    PassStep openStep(const PassStatement& pass) const;
    PassHead headOfRender() const;
    void warnOfOtherView(const PassStatement& pass, const PassFile& file) const;
    bool makeFile(const PassStatement& pass, int threads) const;
    bool remove(const PassStatement& pass) const;
    bool comesFirst(std::size_t number) const;
    bool isMadeBefore(std::size_t number, const std::string& name) const;

    const RenderScene* scene_ = nullptr;
    DataWindow window_;
    OutputRules rules_;
    std::vector<PassStatement> passes_;
    std::vector<PassStep> steps_;
};

}  // namespace lumorender
