// One picture with all layers side by side.
#include "image/display.h"
#include "image/layers.h"
#include "image/shrink.h"

#include "support/messages.h"

#include <tbb/parallel_for.h>

#include <algorithm>
#include <cmath>

namespace lumorender {
namespace {

constexpr int kSheetWidth = 2000, kLargestThumb = 480, kSmallestThumb = 200;
constexpr int kMargin = 24, kGap = 20, kTextScale = 2, kTextGap = 8;
constexpr int kCaptionHeight = 2 * (kGlyphHeight * kTextScale + kTextGap);
constexpr Rgb kBackground{24, 24, 26}, kOutsideWindow{40, 40, 44}, kNameColor{230, 230, 230},
    kDetailColor{130, 135, 145};

/// Where the thumbnails go. All have the shape of the full image.
struct Grid {
    int columns, rows;
    int cellWidth;  ///< at least the thumbnail's width
    int thumbWidth, thumbHeight;
    int width() const { return 2 * kMargin + columns * cellWidth + (columns - 1) * kGap; }
    int height() const { return 2 * kMargin + rows * cellHeight() + (rows - 1) * kGap; }
    int cellHeight() const { return thumbHeight + kCaptionHeight; }
};

/// About as many rows as columns; small pictures are enlarged by whole factors only, so that pixels stay square.
Grid layOut(int count, const DataWindow& window) {
    const int columns = std::min(static_cast<int>(std::ceil(std::sqrt(count))),
                                 (kSheetWidth - 2 * kMargin + kGap) / (kSmallestThumb + kGap));
    const int cell = std::min(kLargestThumb, (kSheetWidth - 2 * kMargin - (columns - 1) * kGap) / columns);
    const int larger = std::max(window.fullWidth, window.fullHeight);
    const double scale = larger <= cell ? cell / larger : static_cast<double>(cell) / larger;
    const auto scaledSize = [&](int size) { return std::max(1, static_cast<int>(std::lround(size * scale))); };
    return {columns, (count + columns - 1) / columns, cell, scaledSize(window.fullWidth),
            scaledSize(window.fullHeight)};
}

/// The data window's place in a thumbnail of the full image, from the upper left corner.
struct Place {
    int x, y, width, height;
};

Place placeOf(const DataWindow& window, const Grid& grid) {
    const auto across = [&](int x) { return static_cast<int>(std::int64_t{x} * grid.thumbWidth / window.fullWidth); };
    const auto down = [&](int y) { return static_cast<int>(std::int64_t{y} * grid.thumbHeight / window.fullHeight); };
    const int top = window.fullHeight - window.y0 - window.height;
    const int x = std::min(across(window.x0), grid.thumbWidth - 1), y = std::min(down(top), grid.thumbHeight - 1);
    return {x, y, std::max(1, across(window.x0 + window.width) - x), std::max(1, down(top + window.height) - y)};
}

/// The layer at another size. Labels have no mean: the nearest one stays.
LayerImage resized(const LayerImage& layer, int width, int height) {
    LayerImage result{layer.name, layer.type, width, height, {}, {}};
    if (!pixelFormat(layer.type).integer) {
        result.pixels = resizeByArea(layer.shownPixels(), layer.width, layer.height, pixelFormat(layer.type).channels,
                                     width, height);
        return result;
    }
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const std::int64_t row = (2 * y + 1) * std::int64_t{layer.height} / (2 * height);
            const std::int64_t column = (2 * x + 1) * std::int64_t{layer.width} / (2 * width);
            result.labels.push_back(layer.labels[static_cast<std::size_t>(row * layer.width + column)]);
        }
    return result;
}

std::string shortened(const std::string& text, int width) {
    const auto room = static_cast<std::size_t>(std::max(3, width / (kGlyphAdvance * kTextScale)));
    return text.size() <= room ? text : text.substr(0, room - 2) + "..";
}

std::string details(const LayerImage& layer, const ValueRange& range) {
    if (pixelFormat(layer.type).integer) return imageTypeName(layer.type);
    return fmt::format("{}  {:.3g} to {:.3g}", imageTypeName(layer.type), range.low, range.high);
}

void drawCell(RgbImage& sheet, const LayerImage& layer, const DataWindow& window, const Grid& grid, int index) {
    const int x = kMargin + index % grid.columns * (grid.cellWidth + kGap);
    const int y = kMargin + index / grid.columns * (grid.cellHeight() + kGap);
    const ValueRange range = valueRange(layer);

    // The picture, in the middle of its cell.
    const Place place = placeOf(window, grid);
    const int left = x + (grid.cellWidth - grid.thumbWidth) / 2;
    fillRectangle(sheet, left, y, grid.thumbWidth, grid.thumbHeight, kOutsideWindow);
    paste(sheet, displayImage(resized(layer, place.width, place.height), range), left + place.x, y + place.y);

    // Its name, and below what the colors stand for.
    const int textY = y + grid.thumbHeight + kTextGap, lineHeight = kGlyphHeight * kTextScale + kTextGap;
    const std::string name = layer.name.empty() ? "(primary)" : layer.name;
    drawText(sheet, x, textY, kTextScale, shortened(name, grid.cellWidth), kNameColor);
    drawText(sheet, x, textY + lineHeight, kTextScale, shortened(details(layer, range), grid.cellWidth), kDetailColor);
}

}  // namespace

std::string writeContactSheet(const std::filesystem::path& path, const std::vector<const LayerImage*>& layers,
                              const DataWindow& window) {
    return reasonOfFailure([&] {
        if (layers.empty()) throw Failure("there is no layer to show");
        for (const LayerImage* layer : layers) checkLayer(*layer, window);
        const int count = static_cast<int>(layers.size());
        const Grid grid = layOut(count, window);
        RgbImage sheet(grid.width(), grid.height(), kBackground);
        tbb::parallel_for(0, count,
                          [&](int i) { drawCell(sheet, *layers[static_cast<std::size_t>(i)], window, grid, i); });
        writePng(path, sheet);
    });
}

}  // namespace lumorender
