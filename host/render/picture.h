// The picture of a render: its frame buffers, and the files that they go to.
#pragma once

#include "image/image.h"
#include "render/output_plan.h"
#include "render/output_shaders.h"
#include "render/render_settings.h"
#include "render/tiles.h"
#include "tracing/context.h"

#include <filesystem>
#include <string>
#include <vector>

namespace lumorender {

/// What tiles are rendered into.
class Picture {
public:
    /// Reads the scene's camera and options, lays out its frame buffers, plans the files. The scene and the settings
    /// must outlive the object. Throws Failure for cameras that give no picture, and for pictures that do not fit into
    /// memory.
    Picture(RenderScene& scene, const RenderSettings& settings, const std::string& where);

    /// Says which files cannot be written, before anything that takes long.
    bool check() const;
    /// Notes in the history that they are taken.
    void noteFiles() const;

    /// What is there; output shaders work on it between the files. A picture that is not complete is not the one that was
    /// asked for: it takes the place of none, no output shader works on it, and where there is nothing of it nothing is
    /// written.
    /// @return false where one of the files is not written, or a stop was requested meanwhile
    bool write(const RenderCounts& counts, const OutputShaders& shaders, ThreadContext& context);

    /// For the headers of its files. The scene's projection must be there.
    Metadata metadata(double seconds) const;

    const DataWindow& window() const { return window_; }
    std::vector<LayerImage>& images() { return images_; }
    const OutputRules& rules() const { return rules_; }
    const std::vector<PlannedFile>& files() const { return plan_.files; }
    /// Those that are the picture and no look at it.
    std::vector<std::filesystem::path> paths() const;

private:
    bool writeStages(const OutputShaders& shaders, ThreadContext& context, Metadata texts);

    RenderScene& scene_;
    const RenderSettings& settings_;
    const std::string where_;
    const miTag cameraTag_;
    DataWindow window_;
    std::vector<LayerImage> images_;
    OutputRules rules_;
    OutputPlan plan_;
};

}  // namespace lumorender
