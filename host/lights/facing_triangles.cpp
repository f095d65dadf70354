#include "lights/facing_triangles.h"

#include <ImathBox.h>

#include <algorithm>
#include <cmath>

namespace lumorender {

namespace {

constexpr std::uint32_t kLeaf = 16;
constexpr double kRounding = 1e-9;

}  // namespace

void FacingTriangles::build(std::span<const LightTriangle> triangles) {
    triangles_ = triangles;
    nodes_.clear();
    if (!triangles.empty()) add(0, static_cast<std::uint32_t>(triangles.size()));
}

void FacingTriangles::add(std::uint32_t first, std::uint32_t end) {
    const std::size_t number = nodes_.size();
    nodes_.push_back(nodeOf(first, end));
    if (end - first > kLeaf) {
        const std::uint32_t middle = first + (end - first) / 2;
        add(first, middle);
        add(middle, end);
    }
    nodes_[number].next = static_cast<std::uint32_t>(nodes_.size());
}

FacingTriangles::Node FacingTriangles::nodeOf(std::uint32_t first, std::uint32_t end) const {
    Imath::Box3d box;
    V3d axis(0);
    const auto own = triangles_.subspan(first, end - first);
    for (const LightTriangle& t : own) {
        for (const V3d& corner : {t.a, t.b, t.c}) box.extendBy(corner);
        axis += t.normal();
    }
    Node node{box.center(), {0, 0, 1}, 0, -1, 0, first, end, 0};
    for (const LightTriangle& t : own)
        for (const V3d& corner : {t.a, t.b, t.c}) node.radius = std::max(node.radius, length(corner - node.centre));
    if (!(length(axis) > 0)) return node;
    node.axis = unit(axis);
    node.cosine = 1;
    for (const LightTriangle& t : own) node.cosine = std::min(node.cosine, dot(node.axis, unit(t.normal())));
    node.sine = std::sqrt(std::max(0.0, 1 - node.cosine * node.cosine));
    return node;
}

/// A triangle faces the point where the way to it is less than a right angle from the normal. The way differs from that
/// to the sphere's centre by the angle at which the sphere is seen, the normal from the axis by that of the cone.
bool FacingTriangles::mayFace(const Node& node, const V3d& point) {
    const V3d way = point - node.centre;
    const double distance = length(way);
    // Within the sphere all ways are possible: the cosine of both angles is not above 0.
    const double sine = node.radius / distance, cosine = std::sqrt(std::max(0.0, 1 - sine * sine));
    const double cosineOfBoth = node.cosine * cosine - node.sine * sine;
    const double sineOfBoth = node.sine * cosine + node.cosine * sine;
    if (!(node.cosine > 0) || !(cosineOfBoth > 0)) return true;
    return dot(node.axis, way) > -(sineOfBoth + kRounding) * distance;
}

}  // namespace lumorender
