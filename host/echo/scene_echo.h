// Writes the scene that is being read as one text of the scene language. Reading that renders the same pictures.
#pragma once

#include "database/modules.h"
#include "echo/element_text.h"
#include "parsing/scene_actions.h"
#include "support/whole_file.h"

#include <cstddef>
#include <deque>
#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace lumorender {

/// How the text is written.
struct EchoStyle {
    bool renders = true;       ///< with its render commands
    bool incremental = false;  ///< elements change those that are there already
    bool explodes = false;     ///< each object is a file of its own beside the text, which includes it
};

/// Every element is written before those that need it, as it is when a render command comes; what has changed at the
/// next one is written again as a whole, under the same name. Declarations are written where something uses them. One
/// thread, the one that reads. Everything throws Failure where the file cannot be written.
class SceneEcho {
public:
    SceneEcho(const Database& database, const Modules& modules, const std::filesystem::path& file,
              const EchoStyle& style = {});

    /// What has changed, and the render command if these are written. Must be called while it is carried out.
    void render(const RenderCommand& command);
    /// What the shaders need, and the call.
    void call(const CallCommand& command);
    /// What has changed since the last render command.
    void rest();
    /// The files take their names. Without this there are none.
    void keep();

private:
    struct Written {
        miTag tag = miNULLTAG;
        std::size_t hash = 0;
    };

    void writeChanges(const std::vector<miTag>& first);
    void writeLinks();
    void writeDeletions();
    void collectNames();
    bool isInBody(std::string_view name) const;
    void visit(miTag tag);
    void announce(miTag tag);
    void visitWithMentioned(miTag tag);
    void emit(miTag tag, const ElementText& element);
    void writeApart(const std::string& text);
    void followInheritance(miTag instance);

    const Database& database_;
    const Modules& modules_;
    const std::filesystem::path path_;
    const EchoStyle style_;
    WholeFile file_;
    std::vector<std::unique_ptr<WholeFile>> objects_;  ///< those that are files of their own
    std::set<std::string> links_;
    std::map<std::string, Written, std::less<>> written_;
    std::set<miTag> visited_;    ///< since the last render command
    std::set<miTag> open_;       ///< what they need is being written
    std::deque<miTag> waiting_;  ///< named by what has been visited, and may stand behind that
    std::string groups_;         ///< they stand last: they only name instances, and nothing needs them before
    /// All elements that have one, in the order of the names: tags are others when the text is read.
    std::map<std::string_view, miTag> names_;
    std::set<std::string, std::less<>> phenomena_;  ///< names of their declarations
    bool hasGeometryShaders_ = false;               ///< which call other shaders by their names
    miTag inheritance_ = miNULLTAG;  ///< by which the reader of the file lays out parameters of instances here
};

}  // namespace lumorender
