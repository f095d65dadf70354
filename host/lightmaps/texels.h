// The texels of a map that belong to a triangle.
#pragma once

#include <array>
#include <cmath>

namespace lumorender {

struct MapPoint {
    double x = 0, y = 0;
};

/// Which texels a triangle has in a map: those whose centers lie in it. Of triangles that share an edge one has a center
/// that lies on it, whatever their order and the order of their corners.
class TriangleTexels {
public:
    /// Corners in texels from the lower left corner of the map. Without area, or where a corner is not finite, there are
    /// none.
    TriangleTexels(const std::array<MapPoint, 3>& corners, int width, int height);

    /// Rows that may have some.
    int firstRow() const { return y0_; }
    int endRow() const { return y1_; }
    int firstColumn() const { return x0_; }
    int endColumn() const { return x1_; }

    /// Whether the texel is one of them; then the corners' weights at its center, which add up to 1.
    bool contains(int x, int y, std::array<double, 3>& weights) const;

private:
    std::array<MapPoint, 3> corners_;
    double area_ = 0;  ///< twice, positive where corners run counterclockwise
    int x0_ = 0, x1_ = 0, y0_ = 0, y1_ = 0;
};

}  // namespace lumorender
