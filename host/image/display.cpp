#include "image/display.h"

#include "image/image_library.h"
#include "image/shrink.h"
#include "support/messages.h"
#include "support/quasi_random.h"
#include "support/whole_file.h"

#include <tbb/parallel_for.h>

#include <algorithm>
#include <cmath>

namespace lumorender {
namespace {

/// Ways of showing a data type.
enum class Look { Color, Fraction, Scaled, Normal, Vector, Label };

Look lookOf(miImg_type type) {
    switch (type) {
        case miIMG_TYPE_A:
        case miIMG_TYPE_A_16:
        case miIMG_TYPE_A_FP:
        case miIMG_TYPE_A_H:
        case miIMG_TYPE_BIT:
        case miIMG_TYPE_COVERAGE: return Look::Fraction;
        case miIMG_TYPE_S:
        case miIMG_TYPE_S_16:
        case miIMG_TYPE_S_FP:
        case miIMG_TYPE_S_H:
        case miIMG_TYPE_Z: return Look::Scaled;
        case miIMG_TYPE_N: return Look::Normal;
        case miIMG_TYPE_M:
        case miIMG_TYPE_VTA:
        case miIMG_TYPE_VTS: return Look::Vector;
        case miIMG_TYPE_TAG: return Look::Label;
        default: return Look::Color;
    }
}

/// 0..1 to a byte; what is no number becomes 0, far misses become white.
std::uint8_t toByte(float value) {
    return value > 0 ? static_cast<std::uint8_t>(std::lround(std::min(value, 1.0f) * 255.0f)) : std::uint8_t{0};
}

/// The display curve of IEC 61966-2-1.
float srgb(float linear) {
    if (!(linear > 0)) return 0;
    return linear <= 0.0031308f ? 12.92f * linear : 1.055f * std::pow(std::min(linear, 1.0f), 1 / 2.4f) - 0.055f;
}

/// Neighbouring labels get unlike colors, the same in every picture; 0 is "no object".
Rgb labelColor(std::uint32_t label) {
    if (label == 0) return {0, 0, 0};
    const std::uint32_t h = mixSeeds(label, 0);
    const auto bright = [](std::uint32_t bits) { return static_cast<std::uint8_t>(64 + (bits & 255) * 191 / 255); };
    return {bright(h), bright(h >> 8), bright(h >> 16)};
}

float scaled(float value, const ValueRange& range) {
    const float size = range.high - range.low;
    return size > 0 ? (value - range.low) / size : value;
}

/// One value of a layer that is shown as numbers.
float shown(Look look, float value, const ValueRange& range) {
    switch (look) {
        case Look::Color: return srgb(value);
        case Look::Scaled: return scaled(value, range);
        case Look::Normal: return value * 0.5f + 0.5f;
        case Look::Vector: {
            const float largest = std::max(std::abs(range.low), std::abs(range.high));
            return largest > 0 ? value / largest * 0.5f + 0.5f : 0.5f;
        }
        default: return value;
    }
}

Rgb shownPixel(Look look, const float* pixel, int channels, const ValueRange& range) {
    Rgb result{0, 0, 0};
    for (std::size_t c = 0; c < 3; ++c) {
        if (channels == 1 && c > 0)
            result[c] = result[0];
        else if (static_cast<int>(c) < channels)
            result[c] = toByte(shown(look, pixel[c], range));
    }
    return result;
}

}  // namespace

RgbImage::RgbImage(int w, int h, Rgb fill)
    : width(w), height(h), pixels(static_cast<std::size_t>(w) * static_cast<std::size_t>(h), fill) {}

ValueRange valueRange(const LayerImage& layer) {
    ValueRange range;
    bool first = true;
    for (const float value : layer.pixels) {
        if (!isMeasured(value)) continue;
        range = first ? ValueRange{value, value} : ValueRange{std::min(range.low, value), std::max(range.high, value)};
        first = false;
    }
    return range;
}

RgbImage displayImage(const LayerImage& layer, const ValueRange& range) {
    const Look look = lookOf(layer.type);
    const int channels = pixelFormat(layer.type).channels;
    const std::vector<float>& pixels = layer.shownPixels();
    RgbImage image(layer.width, layer.height, {0, 0, 0});
    tbb::parallel_for(0, layer.height, [&](int y) {
        const std::size_t row = static_cast<std::size_t>(layer.height - 1 - y) * static_cast<std::size_t>(layer.width);
        for (int x = 0; x < layer.width; ++x) {
            const std::size_t index = row + static_cast<std::size_t>(x);
            image.at(x, y) = look == Look::Label ? labelColor(layer.labels[index])
                                                 : shownPixel(look, &pixels[index * static_cast<std::size_t>(channels)],
                                                              channels, range);
        }
    });
    return image;
}

void paste(RgbImage& canvas, const RgbImage& image, int x, int y) {
    for (int row = 0; row < image.height; ++row)
        std::copy_n(&image.pixels[static_cast<std::size_t>(row) * static_cast<std::size_t>(image.width)], image.width,
                    &canvas.at(x, y + row));
}

void fillRectangle(RgbImage& canvas, int x, int y, int width, int height, Rgb color) {
    const int right = std::min(x + width, canvas.width), bottom = std::min(y + height, canvas.height);
    for (int row = std::max(y, 0); row < bottom; ++row)
        for (int column = std::max(x, 0); column < right; ++column) canvas.at(column, row) = color;
}

void writePng(const std::filesystem::path& path, const RgbImage& image) {
    WholeFile target(path);
    imageLibrary().writePng(target, image);
    target.keep();
}

std::string writePreview(const std::filesystem::path& path, const LayerImage& layer, const DataWindow& window) {
    return reasonOfFailure([&] {
        checkLayer(layer, window);
        RgbImage canvas(window.fullWidth, window.fullHeight, {0, 0, 0});
        paste(canvas, displayImage(layer, valueRange(layer)), window.x0, window.fullHeight - window.y0 - window.height);
        writePng(path, canvas);
    });
}

}  // namespace lumorender
