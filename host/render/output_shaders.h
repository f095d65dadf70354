// Output shaders of a render: they work on its pictures, one after another, between and before the files.
#pragma once

#include "render/output_pictures.h"
#include "tracing/shader_table.h"

#include <string>
#include <vector>

namespace lumorender {

struct OutputStep {
    miTag shader = 0;
    std::vector<OutputKind> kinds;  ///< of the buffers that it opens
    bool draws = false;             ///< it asks for the lines of contours
};

/// In the order in which they work: those that phenomena bring with a priority below 0, the camera's own, those of
/// other phenomena.
class OutputShaders {
public:
    OutputShaders() = default;
    /// None where the options switch them off.
    OutputShaders(const RenderScene& scene, const ShaderTable& shaders);

    std::size_t count() const { return steps_.size(); }

    /// Whether one of them asks for contours, and these can be found.
    bool drawContours(const RenderScene& scene) const;

    /// Warns where contours are asked for, or found, and the other half is missing.
    void checkContours(const RenderScene& scene, const std::string& where) const;

    /// How many of all have worked before a file is written for which so many of the camera's own count. Files behind
    /// the last of these come after all.
    std::size_t stepsBefore(std::size_t shadersOfCamera) const;

    /// Calls one of them, on the context's root state.
    /// @return false when the render was stopped meanwhile
    bool run(std::size_t step, ThreadContext& context, OutputPictures& pictures) const;

private:
    void add(miTag shader, const std::vector<std::string>& types);
    bool anyDraws() const;

    std::vector<OutputStep> steps_;
    std::size_t first_ = 0, own_ = 0;  ///< those of phenomena that come first, and the camera's
};

/// The buffers that output shaders of the scene's phenomena open.
std::vector<OutputKind> kindsOfPhenomena(const RenderScene& scene);

}  // namespace lumorender
