// Which frame buffers go into which files, and what can be told of these before anything is rendered.
#pragma once

#include "database/elements.h"
#include "image/image.h"
#include "render/frame_buffers.h"
#include "render/output_rules.h"

#include <filesystem>
#include <limits>
#include <map>
#include <string>
#include <vector>

namespace lumorender {

/// Pictures of one run of the program, by where they are: render command by render command.
using OutputHistory = std::map<std::filesystem::path, std::string>;

struct OutputSettings {
    std::filesystem::path
        fileName;          ///< replaces the name of the first file; "#" stand for digits of the frame's number
    std::string fileType;  ///< replaces its format, and where it has no name of its own its ending
    int frame = 0;
    bool previews = false;
    OutputRules rules;
};

struct PlannedFile {
    ImageFile file;
    NamedBy by = NamedBy::Scene;
    std::string where;       ///< what names it: "scene.mi:12", "-o"
    bool isPreview = false;  ///< a look at the picture or at all passes
    bool ofBuffers = false;  ///< of named frame buffers, whose names its layers keep
    /// Output shaders of the camera that work before it is written.
    std::size_t shadersBefore = std::numeric_limits<std::size_t>::max();
};

struct OutputPlan {
    std::vector<PlannedFile> files;
    bool complete = true;  ///< false where something that the scene asks for had to be left out, as was said
};

/// The files of a render: named buffers with a file name (several with one EXR name share it), then the camera's
/// `output` statements, then previews. The first one holds the primary picture. A name that `history` has already gets a
/// number, with a warning.
OutputPlan planFiles(const BufferLayout& layout, const CameraDetail* camera, const std::vector<LayerImage>& images,
                     const OutputSettings& settings, const OutputHistory& history);

/// Gives the first file, if there is one, the name and the format that the user asks for.
void renameFirst(std::vector<PlannedFile>& files, const OutputSettings& settings);

/// Adds a look at the picture and one at all passes, beside the first file and named after it, where these names are
/// not taken.
void addPreviews(std::vector<PlannedFile>& files, const std::vector<LayerImage>& images, int primary);

/// Says, before the render and not after it, which files could not be written as they are meant to be, and which of
/// their settings have no effect. Warns where the disk has less room than the pictures may take.
/// @return false when there is one that could not be written.
bool checkFiles(const std::vector<PlannedFile>& files, const OutputRules& rules, const DataWindow& window);

}  // namespace lumorender
