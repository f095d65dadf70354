// Hits worked out again in double precision: the ray tracing kernels calculate in single precision.
#pragma once

#include "geometry/mesh.h"
#include "geometry/scene_geometry.h"
#include "support/geometry.h"

namespace lumorender {

struct TriangleCorners {
    V3d a, b, c;
};

TriangleCorners movingCorners(const Mesh& mesh, std::uint32_t triangle, double time);

/// Corners in object space at a time 0..1 of the shutter interval.
inline TriangleCorners cornersAt(const Mesh& mesh, std::uint32_t triangle, double time) {
    if (mesh.moves() && time > 0) return movingCorners(mesh, triangle, time);
    const std::uint32_t* v = &mesh.indices[std::size_t{3} * triangle];
    const auto corner = [&](int i) { return wide(mesh.positions[v[i]]); };
    return {corner(0), corner(1), corner(2)};
}

/// Given instance, primitive, time, dist, u and v of a hit: replaces dist, u and v by better ones and finds the point.
/// Where the ray lies in the triangle's plane, dist, u and v stay and the point is that of u and v.
void makePrecise(const Ray& ray, Hit& hit);

}  // namespace lumorender
