#include "geometry/precise_hit.h"

#include "geometry/placement_at.h"
#include "support/geometry.h"

#include <algorithm>

namespace lumorender {

namespace {

V3d movingCorner(const Mesh& mesh, std::uint32_t vertex, double time) {
    const double steps = static_cast<double>(mesh.laterPositions.size());
    const auto step = std::min(static_cast<std::size_t>(time * steps), mesh.laterPositions.size() - 1);
    const V3d from = wide(step == 0 ? mesh.positions[vertex] : mesh.laterPositions[step - 1][vertex]);
    const V3d to = wide(mesh.laterPositions[step][vertex]);
    return from + (to - from) * (time * steps - static_cast<double>(step));
}

struct LocalRay {
    V3d org, dir;
};

/// The ray in the space of the instance. Its direction keeps the scale, so that distances stay those of world space.
LocalRay localRay(const Ray& ray, const M44d& worldToLocal) {
    return {transformPoint(wide(ray.org), worldToLocal), transformVector(wide(ray.dir), worldToLocal)};
}

LocalRay localRay(const Ray& ray, const FlatInstance& instance, double time) {
    if (instance.inPlace) return {wide(ray.org), wide(ray.dir)};
    if (instance.motionSteps == 0 || time == 0) return localRay(ray, instance.placement->worldToLocal);
    M44d inverse;
    invert(localToWorldAt(instance, time), inverse);
    return localRay(ray, inverse);
}

/// T. Moeller, B. Trumbore, "Fast, Minimum Storage Ray/Triangle Intersection" (1997). False where there is no answer.
bool intersectPlane(const LocalRay& ray, const TriangleCorners& corners, double& dist, double& u, double& v,
                    std::uint8_t& side) {
    const V3d ab = corners.b - corners.a, ac = corners.c - corners.a;
    const V3d p = cross(ray.dir, ac), s = ray.org - corners.a;
    const double inverse = 1 / dot(ab, p);
    side = inverse > 0 ? Hit::kFront : Hit::kBack;
    const V3d q = cross(s, ab);
    dist = dot(ac, q) * inverse;
    u = dot(s, p) * inverse;
    v = dot(ray.dir, q) * inverse;
    // Far outside: the ray all but lies in the plane, and the answer is rounding.
    return std::isfinite(dist) && std::abs(u - 0.5) < 1 && std::abs(v - 0.5) < 1;
}

V3d pointOfWeights(const Hit& hit, const TriangleCorners& corners) {
    const FlatInstance& instance = *hit.instance;
    const V3d local = corners.a * (1.0 - hit.u - hit.v) + corners.b * hit.u + corners.c * hit.v;
    return transformPoint(local, hit.time == 0 ? instance.placement->localToWorld : localToWorldAt(instance, hit.time));
}

/// What the surface needs of the hit's triangle is far away in memory: the way there starts while the hit is computed.
void prefetchAttributes(const Mesh& mesh, std::uint32_t triangle) {
    const std::uint32_t* v = &mesh.indices[std::size_t{3} * triangle];
    for (int i = 0; i < 3; ++i) {
        if (!mesh.normals.empty()) __builtin_prefetch(&mesh.normals[v[i]]);
        if (!mesh.textures.empty()) __builtin_prefetch(&mesh.textures[std::size_t{v[i]} * mesh.textureSpaces]);
    }
}

}  // namespace

TriangleCorners movingCorners(const Mesh& mesh, std::uint32_t triangle, double time) {
    const std::uint32_t* v = &mesh.indices[std::size_t{3} * triangle];
    return {movingCorner(mesh, v[0], time), movingCorner(mesh, v[1], time), movingCorner(mesh, v[2], time)};
}

void makePrecise(const Ray& ray, Hit& hit) {
    prefetchAttributes(*hit.instance->mesh, hit.primitive);
    const TriangleCorners corners = cornersAt(*hit.instance->mesh, hit.primitive, hit.time);
    double dist, u, v;
    if (!intersectPlane(localRay(ray, *hit.instance, hit.time), corners, dist, u, v, hit.sides)) {
        hit.point = pointOfWeights(hit, corners);
        return;
    }
    hit.dist = dist;
    hit.u = static_cast<float>(std::clamp(u, 0.0, 1.0));
    hit.v = static_cast<float>(std::clamp(v, 0.0, 1.0 - static_cast<double>(hit.u)));
    hit.point = wide(ray.org) + wide(ray.dir) * dist;
}

}  // namespace lumorender
