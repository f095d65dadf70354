// Layers as people can look at them: eight bits, three colors.
#pragma once

#include "image/image.h"

#include <array>
#include <string_view>

namespace lumorender {

using Rgb = std::array<std::uint8_t, 3>;

/// A small canvas; rows from the top.
struct RgbImage {
    int width = 0, height = 0;
    std::vector<Rgb> pixels;

    RgbImage(int w, int h, Rgb fill);
    Rgb& at(int x, int y) {
        return pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x)];
    }
};

/// Smallest and largest measured value of a layer; both 0 where nothing is measured.
struct ValueRange {
    float low = 0, high = 0;
};
ValueRange valueRange(const LayerImage& layer);

/// The layer (its data window) for a screen. `range` is what scaled types are scaled by.
RgbImage displayImage(const LayerImage& layer, const ValueRange& range);

/// Copies `image` onto `canvas`, its upper left corner at (x, y). It must fit.
void paste(RgbImage& canvas, const RgbImage& image, int x, int y);

/// Fills a rectangle; parts outside the canvas are left out.
void fillRectangle(RgbImage& canvas, int x, int y, int width, int height, Rgb color);

/// Throws Failure with the reason.
void writePng(const std::filesystem::path& path, const RgbImage& image);

/// Draws one line of ASCII text in a 5 x 8 pixel font enlarged `scale` times; (x, y) is the upper left corner.
/// Characters outside the font show as "?". Each character takes kGlyphAdvance * scale pixels.
void drawText(RgbImage& canvas, int x, int y, int scale, std::string_view text, Rgb color);

constexpr int kGlyphWidth = 5, kGlyphHeight = 8, kGlyphAdvance = 6;

}  // namespace lumorender
