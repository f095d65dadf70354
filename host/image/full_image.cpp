// Layers spread over the full image, for formats that have no data window.
#include "image/layers.h"

#include <algorithm>

namespace lumorender {
namespace {

/// One pixel of `from` values into `to` values.
void spread(const float* source, int from, float* target, int to) {
    const bool single = from == 1;
    for (int c = 0; c < std::min(to, 3); ++c) target[c] = single ? source[0] : c < from ? source[c] : 0.0f;
    if (to == 4) target[3] = from == 4 ? source[3] : 1.0f;
}

}  // namespace

std::vector<float> fullImage(miImg_type type, const std::vector<float>& pixels, const DataWindow& window, int channels,
                             bool fromTop) {
    const int from = pixelFormat(type).channels;
    const auto fullWidth = static_cast<std::size_t>(window.fullWidth), to = static_cast<std::size_t>(channels);
    std::vector<float> image(fullWidth * static_cast<std::size_t>(window.fullHeight) * to, 0.0f);
    const float* source = pixels.data();
    for (int row = 0; row < window.height; ++row) {
        const int fullRow = fromTop ? window.fullHeight - 1 - window.y0 - row : window.y0 + row;
        const std::size_t first = static_cast<std::size_t>(fullRow) * fullWidth + static_cast<std::size_t>(window.x0);
        float* target = image.data() + first * to;
        for (int x = 0; x < window.width; ++x, source += from, target += channels)
            spread(source, from, target, channels);
    }
    return image;
}

}  // namespace lumorender
