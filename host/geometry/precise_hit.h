// Hits worked out again in double precision: the ray tracing kernels calculate in single precision.
#pragma once

#include "geometry/mesh.h"
#include "geometry/scene_geometry.h"

namespace lumorender {

struct TriangleCorners {
    miGeoVector a, b, c;
};

/// Corners in object space at a time 0..1 of the shutter interval.
TriangleCorners cornersAt(const Mesh& mesh, std::uint32_t triangle, double time);

/// Given instance, primitive, time, dist, u and v of a hit: replaces dist, u and v by better ones and finds the point.
/// Where the ray lies in the triangle's plane, dist, u and v stay and the point is that of u and v.
void makePrecise(const Ray& ray, Hit& hit);

}  // namespace lumorender
