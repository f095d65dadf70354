#include "contour/line_picture.h"

#include "math/color.h"

namespace materials {

LinePicture::LinePicture(int width, int height, bool brightest)
    : width_(width),
      height_(height),
      brightest_(brightest),
      pixels_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height)) {}

void LinePicture::cover(miColor& pixel, const miColor& color, miScalar coverage) const {
    if (brightest_ && pixel.a > 0 && coverage > 0) {
        pixel = {std::max(pixel.r, color.r), std::max(pixel.g, color.g), std::max(pixel.b, color.b),
                 std::max(pixel.a, coverage)};
    } else if (coverage > pixel.a) {
        pixel = {color.r, color.g, color.b, coverage};
    }
}

void LinePicture::draw(const miContour_endpoint& a, const miContour_endpoint& b, bool glows) {
    const miScalar percent = static_cast<miScalar>(width_) / 100;
    const miScalar radiusA = a.width * percent / 2, radiusB = b.width * percent / 2;
    const miScalar reach = std::max(radiusA, radiusB) + 1;
    const miScalar dx = b.point.x - a.point.x, dy = b.point.y - a.point.y, square = dx * dx + dy * dy;
    if (!std::isfinite(reach + dx + dy + a.point.x + a.point.y)) return;
    const auto pixelAt = [](miScalar at, int limit) {
        return static_cast<int>(clamped(std::floor(at), 0, static_cast<miScalar>(limit - 1)));
    };
    const int x0 = pixelAt(std::min(a.point.x, b.point.x) - reach, width_);
    const int x1 = pixelAt(std::max(a.point.x, b.point.x) + reach, width_);
    const int y0 = pixelAt(std::min(a.point.y, b.point.y) - reach, height_);
    const int y1 = pixelAt(std::max(a.point.y, b.point.y) + reach, height_);
    for (int y = y0; y <= y1; ++y)
        for (int x = x0; x <= x1; ++x) {
            const miScalar px = static_cast<miScalar>(x) + .5f - a.point.x;
            const miScalar py = static_cast<miScalar>(y) + .5f - a.point.y;
            const miScalar along = square > 0 ? clamped((px * dx + py * dy) / square, 0, 1) : 0;
            const miScalar radius = mix(radiusA, radiusB, along);
            const miScalar away = std::hypot(px - along * dx, py - along * dy);
            // The part of a pixel's width that the line takes, when it runs along it.
            miScalar coverage = clamped(std::min(away + .5f, radius) - std::max(away - .5f, -radius), 0, 1);
            if (glows) coverage *= clamped(1 - away / (radius + .5f), 0, 1);
            if (coverage <= 0) continue;
            cover(pixels_[index(x, y)], mix(a.color, b.color, along), coverage * mix(a.color.a, b.color.a, along));
        }
}

}  // namespace materials
