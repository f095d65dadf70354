#include "image/shrink.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace lumorender {
namespace {

/// The old pixels along one axis that a new pixel covers, with how much of each.
struct Cover {
    int first = 0;
    std::vector<double> weights;
};

std::vector<Cover> covers(int size, int newSize) {
    std::vector<Cover> result(static_cast<std::size_t>(newSize));
    const double step = static_cast<double>(size) / newSize;
    for (int i = 0; i < newSize; ++i) {
        // Enlarging needs the pixel under the middle only.
        const double from = step < 1 ? std::floor((i + 0.5) * step) : i * step;
        const double to = step < 1 ? from + 1 : std::min((i + 1) * step, static_cast<double>(size));
        Cover& cover = result[static_cast<std::size_t>(i)];
        cover.first = std::min(static_cast<int>(from), size - 1);
        for (int old = cover.first; old < size && old < to; ++old)
            cover.weights.push_back(std::min(to, old + 1.0) - std::max(from, static_cast<double>(old)));
    }
    return result;
}

/// One value of the new picture; `corner` is the covered area's first value of that channel.
float mean(const float* corner, std::size_t pixelStride, std::size_t rowStride, const Cover& across,
           const Cover& along) {
    double sum = 0, weight = 0;
    for (std::size_t y = 0; y < along.weights.size(); ++y)
        for (std::size_t x = 0; x < across.weights.size(); ++x) {
            const float value = corner[y * rowStride + x * pixelStride];
            if (!isMeasured(value)) continue;
            const double share = across.weights[x] * along.weights[y];
            sum += share * static_cast<double>(value);
            weight += share;
        }
    return weight > 0 ? static_cast<float>(sum / weight) : *corner;
}

}  // namespace

bool isMeasured(float value) { return std::isfinite(value) && value < kFarAway; }

std::vector<float> resizeByArea(const std::vector<float>& pixels, int width, int height, int channels, int newWidth,
                                int newHeight) {
    const std::vector<Cover> columns = covers(width, newWidth), rows = covers(height, newHeight);
    const auto pixelStride = static_cast<std::size_t>(channels);
    const std::size_t rowStride = static_cast<std::size_t>(width) * pixelStride;
    std::vector<float> result;
    result.reserve(columns.size() * rows.size() * pixelStride);
    for (const Cover& row : rows)
        for (const Cover& column : columns) {
            const float* corner = pixels.data() + static_cast<std::size_t>(row.first) * rowStride +
                                  static_cast<std::size_t>(column.first) * pixelStride;
            for (std::size_t c = 0; c < pixelStride; ++c)
                result.push_back(mean(corner + c, pixelStride, rowStride, column, row));
        }
    return result;
}

}  // namespace lumorender
