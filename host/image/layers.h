// What the writers of this folder share: checks and names of layers, and files that appear only when they are complete.
#pragma once

#include "image/image.h"

#include <functional>
#include <string>
#include <vector>

namespace lumorender {

class WholeFile;
struct FileFormat;

inline std::size_t pixelCount(const LayerImage& layer) {
    return static_cast<std::size_t>(layer.width) * static_cast<std::size_t>(layer.height);
}

/// The EXR channels of a layer, in the order of its values.
std::vector<std::string> channelNames(const std::string& layerName, miImg_type type);

/// Throws Failure unless the layer holds as many values as its type and the window say.
void checkLayer(const LayerImage& layer, const DataWindow& window);

/// Runs `write` and returns what it throws as text; empty where it threw nothing.
std::string reasonOfFailure(const std::function<void()>& write) noexcept;

/// The writers proper. They throw where they fail. The layers are checked.
void writeExr(WholeFile& target, const ImageFile& file, const DataWindow& window, const Metadata& metadata);
void writePic(WholeFile& target, const ImageFile& file, const DataWindow& window, const Metadata& metadata);
void writeNative(WholeFile& target, const FileFormat& format, const ImageFile& file, const DataWindow& window);

/// The labels of the full image, 0 outside the data window.
std::vector<std::uint32_t> fullLabels(const LayerImage& layer, const DataWindow& window, bool fromTop);

/// Width of a pixel by its height.
float pixelShape(const Metadata& metadata);

}  // namespace lumorender
