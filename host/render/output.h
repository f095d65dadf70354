// Which frame buffers go into which files.
#pragma once

#include "database/elements.h"
#include "image/image.h"
#include "render/frame_buffers.h"

#include <filesystem>
#include <vector>

namespace lumorender {

struct OutputSettings {
    std::filesystem::path fileName;  ///< replaces the name of the first file
    std::string fileType;            ///< replaces its format, and where it has no name of its own its ending
    std::filesystem::path fileDirectory;
    float gamma = 1;
};

/// The files of a render: named buffers with a file name (several with one EXR name share it), then the camera's
/// `output` statements. The primary picture comes first.
std::vector<ImageFile> planFiles(const BufferLayout& layout, const CameraDetail* camera,
                                 const std::vector<LayerImage>& images, const OutputSettings& settings);

/// Says which files could not be written where they are meant to be: before the render, not after it.
/// @return false when there is one.
bool checkFolders(const std::vector<ImageFile>& files);

/// Writes all files and, with `previews`, a PNG of the picture and a sheet of all passes beside the first file and
/// named after it. `primary` is the picture's number among the images.
/// @return false when one could not be written
bool writePicture(const std::vector<ImageFile>& files, std::vector<LayerImage>& images, int primary,
                  const DataWindow& window, const Metadata& metadata, bool previews);

}  // namespace lumorender
