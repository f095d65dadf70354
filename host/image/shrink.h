// Smaller versions of pictures, by averages over areas.
#pragma once

#include <vector>

namespace lumorender {

/// Values at or above this stand for "nothing hit", as the renderer's depth buffers have them.
constexpr float kFarAway = 1e30f;

/// True for what takes part in averages and ranges: finite and nearer than kFarAway.
bool isMeasured(float value);

/// The picture at another size: each new pixel is the mean over the area that it covers (when enlarging, the nearest
/// pixel). Values that are not measured stay out of a mean; where there are no others, the first one is taken.
/// All sizes at least 1; `channels` floats per pixel; rows in any direction.
std::vector<float> resizeByArea(const std::vector<float>& pixels, int width, int height, int channels, int newWidth,
                                int newHeight);

}  // namespace lumorender
