// A part of the plane divided into triangles that keep to given lines.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace lumorender {

struct PlanePoint {
    double x = 0, y = 0;
};

/// A constrained Delaunay triangulation of points in the unit square: as even as the lines in it allow.
/// C. Lawson's flips for points, and S. Sloan's ("A fast algorithm for generating constrained Delaunay triangulations",
/// 1993) for lines.
class PlaneDivision {
public:
    static constexpr std::uint32_t kNone = ~std::uint32_t{0};

    struct Triangle {
        std::array<std::uint32_t, 3> points;  ///< counterclockwise
        std::array<std::uint32_t, 3> beside;  ///< the triangle at the edge from each point to the next
        std::array<bool, 3> fixed;            ///< that edge is part of a line
    };

    PlaneDivision();

    /// The point's number. One that is there already keeps its number.
    std::uint32_t add(const PlanePoint& point);
    /// A line between two points. Points on it divide it, and so do lines that it crosses, at new points.
    void addLine(std::uint32_t from, std::uint32_t to);

    const std::vector<PlanePoint>& points() const { return points_; }
    /// Those around the square have points whose number is less than 4.
    const std::vector<Triangle>& triangles() const { return triangles_; }

private:
    std::vector<PlanePoint> points_;
    std::vector<Triangle> triangles_;
    std::vector<std::uint32_t> triangleOf_;  ///< one of those that each point is part of
    std::uint32_t last_ = 0;

    struct Side {
        std::uint32_t triangle;
        std::size_t edge;
    };
    double turn(std::uint32_t a, std::uint32_t b, const PlanePoint& c) const;
    std::uint32_t locate(const PlanePoint& point) const;
    std::uint32_t splitTriangle(std::uint32_t triangle, const PlanePoint& point);
    std::uint32_t splitEdge(Side side, const PlanePoint& point);
    std::uint32_t newPoint(const PlanePoint& point);
    void set(std::uint32_t triangle, const Triangle& content);
    void relink(std::uint32_t triangle, std::uint32_t from, std::uint32_t to);
    void legalize(std::vector<Side> sides);
    bool isBad(Side side) const;
    bool isConvex(Side side) const;
    void flip(Side side);
    std::size_t edgeTowards(std::uint32_t triangle, std::uint32_t other) const;
    Side find(std::uint32_t from, std::uint32_t to) const;
    void fix(Side side);
    /// Where a line from a point leaves the triangles around it: through an edge, or at a point.
    struct Exit {
        Side side{kNone, 0};
        std::uint32_t point = kNone;
    };
    Exit exitFrom(std::uint32_t from, std::uint32_t to) const;
};

}  // namespace lumorender
