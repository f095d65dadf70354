// What the writers of this folder share: checks and names of layers, and files that appear only when they are complete.
#pragma once

#include "image/image.h"

#include <functional>
#include <string>
#include <vector>

namespace lumorender {

class WholeFile;

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
void writeNative(WholeFile& target, const std::string& format, const LayerImage& layer, const DataWindow& window);
void writeCommon(WholeFile& target, const std::string& format, const ImageFile& file, const DataWindow& window,
                 const Metadata& metadata);

/// Whether writeNative or writeCommon know the format.
bool isNativeFormat(const std::string& format);
bool isCommonFormat(const std::string& format);

/// The full image of a layer's pixels, its own or those for screens, with `channels` floats per pixel, rows from the
/// top or the bottom, black outside the data window. A single value is spread over the colors, a missing alpha is 1
/// inside the window.
std::vector<float> fullImage(miImg_type type, const std::vector<float>& pixels, const DataWindow& window, int channels,
                             bool fromTop);

}  // namespace lumorender
