// Textures whose pixels are in memory, with mip levels.
#include "image/texture.h"

#include "image/shrink.h"
#include "image/texture_coordinates.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace lumorender {
namespace {

using Values = std::array<float, 4>;

/// One resolution of the texture.
struct Level {
    int width, height;
    std::vector<float> pixels;
};

/// The pixel at (x, y), which lie at most one repetition outside.
const float* pixelAt(const Level& level, int components, int x, int y) {
    x = x < 0 ? x + level.width : x >= level.width ? x - level.width : x;
    y = y < 0 ? y + level.height : y >= level.height ? y - level.height : y;
    return level.pixels.data() + (static_cast<std::ptrdiff_t>(y) * level.width + x) * components;
}

/// Weighted sum of the four pixels whose centers surround the point.
Values bilinear(const Level& level, int components, float u, float v) {
    const float x = u * static_cast<float>(level.width) - 0.5f, y = v * static_cast<float>(level.height) - 0.5f;
    const float left = std::floor(x), bottom = std::floor(y), fx = x - left, fy = y - bottom;
    const int x0 = static_cast<int>(left), y0 = static_cast<int>(bottom);
    const float* p00 = pixelAt(level, components, x0, y0);
    const float* p10 = pixelAt(level, components, x0 + 1, y0);
    const float* p01 = pixelAt(level, components, x0, y0 + 1);
    const float* p11 = pixelAt(level, components, x0 + 1, y0 + 1);
    Values result{};
    for (std::size_t c = 0; c < static_cast<std::size_t>(components); ++c)
        result[c] = (p00[c] * (1 - fx) + p10[c] * fx) * (1 - fy) + (p01[c] * (1 - fx) + p11[c] * fx) * fy;
    return result;
}

class MemoryTexture final : public Texture {
public:
    MemoryTexture(std::vector<float> pixels, int width, int height, int components, int bits, float gamma)
        : components_(components), bits_(bits), gamma_(bits < 32 ? gamma : 1) {
        levels_.push_back({width, height, std::move(pixels)});
        while (levels_.back().width > 1 || levels_.back().height > 1) levels_.push_back(halved(levels_.back()));
    }

    bool lookup(miColor& result, float u, float v, bool filtered) const override {
        const Level& level = levels_.front();
        u = repeated(u), v = repeated(v);
        result = filtered ? colorOf(bilinear(level, components_, u, v).data(), components_)
                          : colorOf(pixelAt(level, components_, pixelOf(u, level.width), pixelOf(v, level.height)),
                                    components_);
        linearise(result, gamma_);
        return true;
    }

    /// Between the two levels whose pixels are about as large as the footprint's longer side.
    bool lookup(miColor& result, float u, float v, const Footprint& footprint) const override {
        const float depth = levelFor(footprint);
        const auto finer = static_cast<std::size_t>(depth), coarser = std::min(finer + 1, levels_.size() - 1);
        const float share = depth - static_cast<float>(finer);
        u = repeated(u), v = repeated(v);
        const Values near = valuesAt(levels_[finer], u, v, footprint.interpolates),
                     far = valuesAt(levels_[coarser], u, v, footprint.interpolates);
        Values mixed{};
        for (std::size_t c = 0; c < 4; ++c) mixed[c] = near[c] * (1 - share) + far[c] * share;
        result = colorOf(mixed.data(), components_);
        linearise(result, gamma_);
        return true;
    }

    int width() const override { return levels_.front().width; }
    int height() const override { return levels_.front().height; }
    int components() const override { return components_; }
    int bits() const override { return bits_; }

private:
    Level halved(const Level& level) const {
        const int width = std::max(1, level.width / 2), height = std::max(1, level.height / 2);
        return {width, height, resizeByArea(level.pixels, level.width, level.height, components_, width, height)};
    }

    Values valuesAt(const Level& level, float u, float v, bool interpolates) const {
        if (interpolates) return bilinear(level, components_, u, v);
        Values result{};
        std::copy_n(pixelAt(level, components_, pixelOf(u, level.width), pixelOf(v, level.height)), components_,
                    result.begin());
        return result;
    }

    float levelFor(const Footprint& footprint) const {
        const float dudx = usableDerivative(footprint.dudx), dvdx = usableDerivative(footprint.dvdx);
        const float dudy = usableDerivative(footprint.dudy), dvdy = usableDerivative(footprint.dvdy);
        const auto w = static_cast<float>(width()), h = static_cast<float>(height());
        const float pixels = std::max(std::hypot(dudx * w, dvdx * h), std::hypot(dudy * w, dvdy * h));
        return pixels > 1 ? std::min(std::log2(pixels), static_cast<float>(levels_.size() - 1)) : 0;
    }

    std::vector<Level> levels_;
    int components_, bits_;
    float gamma_;
};

}  // namespace

std::unique_ptr<Texture> memoryTexture(std::vector<float> pixels, int width, int height, int components, int bits,
                                       float gamma) {
    if (width < 1 || height < 1 || components < 1 || components > 4) return nullptr;
    const auto expected =
        static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * static_cast<std::size_t>(components);
    if (pixels.size() != expected) return nullptr;
    return std::make_unique<MemoryTexture>(std::move(pixels), width, height, components, bits, gamma);
}

}  // namespace lumorender
