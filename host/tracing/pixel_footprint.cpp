#include "tracing/pixel_footprint.h"

#include "support/geometry.h"
#include "tracing/camera.h"
#include "tracing/context.h"

#include <algorithm>
#include <cmath>

namespace lumorender {

namespace {

bool isSeenByPixels(const miState& state) {
    return state.type == miRAY_EYE || state.type == miRAY_TRANSPARENT || state.type == miRAY_REFLECT ||
           state.type == miRAY_REFRACT;
}

/// How the ray came from the camera.
struct Path {
    double length = 0;  ///< along all rays on the way
    bool straight = true;
    miVector first = {};  ///< where the first one went
};

Path pathOf(const miState* state) {
    Path path;
    path.first = state->dir;
    for (const miState* later = nullptr; state && isSeenByPixels(*state); later = state, state = state->parent) {
        // A ray that went on as if nothing were there has counted from its beginning.
        if (!later || !isZero(later->org - state->org)) path.length += state->dist;
        path.straight = path.straight && isZero(state->dir - path.first);
        path.first = state->dir;
    }
    return path;
}

/// The sides of a pixel where the state's ray ends. Behind mirrors and lenses it is a square across the ray.
void pixelSides(const Camera& camera, const miState* state, V3d sides[2]) {
    const Path path = pathOf(state);
    if (path.straight) return camera.pixelSides(state->point, sides[0], sides[1]);
    constexpr double kLeastCosine = .1;
    const double size = camera.pixelSize(path.length * std::max(camera.cosineToAxis(path.first), kLeastCosine));
    const V3d dir = wide(state->dir), across = perpendicular(dir);
    sides[0] = across * size;
    sides[1] = cross(dir, across) * size;
}

}  // namespace

bool pixelFootprint(Footprint& result, const miState* state) {
    const Camera* camera = contextOf(state).scene->projection.get();
    const Hit* hit = hitOf(state);
    // Texture coordinates of a hair are not where it is: they do not change along its derivatives.
    if (!camera || !hit || hit->instance->hair || !state->derivs || !isSeenByPixels(*state)) return false;
    const V3d alongU = wide(state->derivs[0]), alongV = wide(state->derivs[1]);
    const double uu = dot(alongU, alongU), uv = dot(alongU, alongV), vv = dot(alongV, alongV);
    const double det = uu * vv - uv * uv;
    const V3d dir = wide(state->dir), normal = wide(state->normal_geom);
    const double facing = dot(dir, normal);
    if (!(det > 1e-12 * uu * vv) || !(std::abs(facing) > 1e-6)) return false;

    V3d sides[2];
    pixelSides(*camera, state, sides);
    float changes[2][2];
    for (int i = 0; i < 2; ++i) {
        // Moved along the ray into the surface, in terms of its tangents.
        const V3d side = sides[i] - dir * (dot(sides[i], normal) / facing);
        const double u = dot(side, alongU), v = dot(side, alongV);
        changes[i][0] = static_cast<float>((vv * u - uv * v) / det);
        changes[i][1] = static_cast<float>((uu * v - uv * u) / det);
    }
    result = {changes[0][0], changes[0][1], changes[1][0], changes[1][1]};
    return true;
}

}  // namespace lumorender
