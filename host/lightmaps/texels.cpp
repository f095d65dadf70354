#include "lightmaps/texels.h"

#include <algorithm>

namespace lumorender {

namespace {

bool isBefore(const MapPoint& a, const MapPoint& b) { return a.x != b.x ? a.x < b.x : a.y < b.y; }

/// Twice the area of a, b, p. Exactly the negative when a and b change places, so that neighbours agree on their edge.
double sideOf(const MapPoint& a, const MapPoint& b, const MapPoint& p) {
    if (isBefore(b, a)) return -sideOf(b, a, p);
    return (b.x - a.x) * (p.y - a.y) - (b.y - a.y) * (p.x - a.x);
}

/// Centers on an edge are of the triangle that lies to its right, or above one that is level.
bool ownsEdge(const MapPoint& a, const MapPoint& b) { return a.y != b.y ? b.y < a.y : b.x > a.x; }

/// The number of the first center at or above a coordinate, within 0..most.
int firstCenter(double coordinate, int most) {
    return static_cast<int>(std::clamp(std::ceil(coordinate - .5), 0.0, static_cast<double>(most)));
}

}  // namespace

TriangleTexels::TriangleTexels(const std::array<MapPoint, 3>& corners, int width, int height) : corners_(corners) {
    area_ = sideOf(corners[0], corners[1], corners[2]);
    if (!std::isfinite(area_) || area_ == 0) return;
    const auto [left, right] = std::minmax({corners[0].x, corners[1].x, corners[2].x});
    const auto [low, high] = std::minmax({corners[0].y, corners[1].y, corners[2].y});
    x0_ = firstCenter(left, width);
    x1_ = firstCenter(std::nextafter(right, INFINITY), width);
    y0_ = firstCenter(low, height);
    y1_ = firstCenter(std::nextafter(high, INFINITY), height);
}

bool TriangleTexels::contains(int x, int y, std::array<double, 3>& weights) const {
    const MapPoint center{x + .5, y + .5};
    for (std::size_t i = 0; i < 3; ++i) {
        const MapPoint& a = corners_[(i + 1) % 3];
        const MapPoint& b = corners_[(i + 2) % 3];
        const double side = area_ > 0 ? sideOf(a, b, center) : sideOf(b, a, center);
        const bool owns = area_ > 0 ? ownsEdge(a, b) : ownsEdge(b, a);
        if (side < 0 || (side == 0 && !owns)) return false;
        weights[i] = side / std::abs(area_);
    }
    return true;
}

}  // namespace lumorender
