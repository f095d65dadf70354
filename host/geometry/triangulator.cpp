#include "geometry/triangulator.h"

#include "support/geometry.h"

#include <utility>

namespace lumorender {

namespace {

/// Newell's normal: twice the area long, and well defined for polygons that are not quite flat.
V3d newellNormal(std::span<const miVector> loop) {
    V3d sum = {0, 0, 0};
    const V3d first = wide(loop[0]);
    for (std::size_t i = 1; i + 1 < loop.size(); ++i)
        sum = sum + cross(wide(loop[i]) - first, wide(loop[i + 1]) - first);
    return sum;
}

}  // namespace

void Triangulator::fan(std::size_t count) {
    triangles_.clear();
    for (std::uint32_t i = 1; i + 1 < count; ++i) triangles_.push_back({0, i, i + 1});
}

bool Triangulator::fanTurnsOver(std::span<const miVector> corners, const V3d& normal) const {
    const V3d first = wide(corners[0]);
    for (std::size_t i = 1; i + 1 < corners.size(); ++i)
        if (dot(cross(wide(corners[i]) - first, wide(corners[i + 1]) - first), normal) < 0) return true;
    return false;
}

std::span<const CornerTriple> Triangulator::convex(std::span<const miVector> corners) {
    fan(corners.size());
    if (corners.size() < 4) return triangles_;
    const V3d normal = newellNormal(corners);
    if (!fanTurnsOver(corners, normal)) return triangles_;

    triangles_.clear();
    choosePlane(corners, normal);
    nodes_.clear();
    if (!cutEars(addLoop(corners, 0, true))) fan(corners.size());
    return triangles_;
}

std::span<const CornerTriple> Triangulator::concave(std::span<const miVector> corners,
                                                    std::span<const std::uint32_t> loopSizes) {
    triangles_.clear();
    const auto outer = corners.first(loopSizes[0]);
    if (outer.size() < 3) return triangles_;
    if (corners.size() == 3) {
        fan(3);
        return triangles_;
    }
    const V3d normal = newellNormal(outer);
    if (isZero(normal)) {
        fan(outer.size());
        return triangles_;
    }
    choosePlane(outer, normal);
    nodes_.clear();
    const Index ring = addLoop(outer, 0, true);
    std::vector<Index> holes;
    std::uint32_t first = loopSizes[0];
    for (const std::uint32_t size : loopSizes.subspan(1)) {
        if (size >= 3) holes.push_back(addLoop(corners.subspan(first, size), first, false));
        first += size;
    }
    const std::size_t before = roughPolygons_;
    const bool isJoined = joinHoles(ring, holes);
    cutEars(ring);
    if (!isJoined) roughPolygons_ = before + 1;
    return triangles_;
}

void Triangulator::choosePlane(std::span<const miVector> corners, const V3d& normal) {
    const V3d n = unit(normal);
    origin_ = wide(corners[0]);
    xAxis_ = perpendicular(n);
    yAxis_ = cross(n, xAxis_);
}

/// Puts a loop into the plane and returns one of its nodes. `first` is the number of the loop's first corner.
Triangulator::Index Triangulator::addLoop(std::span<const miVector> corners, std::uint32_t first,
                                          bool counterClockwise) {
    const auto begin = static_cast<Index>(nodes_.size());
    const auto count = static_cast<Index>(corners.size());
    double area = 0;
    for (Index i = 0; i < count; ++i) {
        const V3d p = wide(corners[i]) - origin_;
        nodes_.push_back({dot(p, xAxis_), dot(p, yAxis_), first + i, 0, 0, false});
    }
    for (Index i = 1; i + 1 < count; ++i) area += turn(begin, begin + i, begin + i + 1);

    const bool reverse = (area > 0) != counterClockwise;
    for (Index i = 0; i < count; ++i) {
        Node& node = nodes_[begin + i];
        node.next = begin + (i + 1) % count;
        node.previous = begin + (i + count - 1) % count;
        if (reverse) std::swap(node.next, node.previous);
    }
    return begin;
}

/// Twice the area of the triangle; positive where the way a, b, c turns left.
double Triangulator::turn(Index a, Index b, Index c) const {
    const Node &p = nodes_[a], &q = nodes_[b], &r = nodes_[c];
    return (q.x - p.x) * (r.y - p.y) - (q.y - p.y) * (r.x - p.x);
}

bool Triangulator::samePlace(Index a, Index b) const {
    return nodes_[a].x == nodes_[b].x && nodes_[a].y == nodes_[b].y;
}

void Triangulator::classify(Index node) {
    nodes_[node].reflex = turn(nodes_[node].previous, node, nodes_[node].next) <= 0;
}

}  // namespace lumorender
