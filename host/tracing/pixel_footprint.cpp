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

/// Is this the ray that a lens shader was given? It has met nothing; where it went on the way begins.
bool isOfLens(const miState& state) { return state.type == miRAY_EYE && !state.pri && state.material == 0; }

/// How the ray came from the camera, or from its lens shaders.
struct Path {
    double length = 0;  ///< along all rays on the way
    bool straight = true;
    bool throughLens = false;
    miVector org = {}, first = {};  ///< where the first one began, and where it went
};

Path pathOf(const miState* state) {
    Path path;
    path.first = state->dir;
    for (const miState* later = nullptr; state && isSeenByPixels(*state); later = state, state = state->parent) {
        path.throughLens = isOfLens(*state);
        if (path.throughLens) break;
        // A ray that went on as if nothing were there has counted from its beginning.
        if (!later || !isZero(later->org - state->org)) path.length += state->dist;
        path.straight = path.straight && isZero(state->dir - path.first);
        path.first = state->dir;
        path.org = state->org;
    }
    return path;
}

/// The ray as the camera sent it, before lens shaders had it.
struct CameraRay {
    miVector org = {}, dir = {};
    bool isFollowed = false;  ///< turned as lens shaders said it is the path, which is straight
    double stretch = 1;       ///< by what that changed the length of its direction
};

CameraRay cameraRayOf(const miState* state, const Path& path) {
    constexpr double kSameDirection = .99;  // so that rays through some point of a real lens count
    const ThreadContext& context = contextOf(state);
    CameraRay ray;
    context.scene->projection->eyeRay(state->raster_x, state->raster_y, 0, {0, 0}, ray.org, ray.dir);
    const V3d turned = transformVector(wide(ray.dir), context.lensTurn);
    ray.stretch = length(turned);
    ray.isFollowed = path.straight && dot(turned, wide(path.first)) > kSameDirection * ray.stretch;
    return ray;
}

/// The sides of a pixel where the state's ray ends. Behind mirrors and refractions, and where lens shaders turned the
/// ray and did not say how, it is a square across the ray.
void pixelSides(const Camera& camera, const miState* state, V3d sides[2]) {
    const Path path = pathOf(state);
    if (path.straight && !path.throughLens) return camera.pixelSides(state->point, sides[0], sides[1]);
    miVector first = path.first;
    if (path.throughLens) {
        const CameraRay ray = cameraRayOf(state, path);
        first = ray.dir;
        if (ray.isFollowed) {
            camera.pixelSides(ray.org + ray.dir * static_cast<float>(path.length), sides[0], sides[1]);
            for (int i = 0; i < 2; ++i) sides[i] = transformVector(sides[i], contextOf(state).lensTurn) / ray.stretch;
            return;
        }
    }
    constexpr double kLeastCosine = .1;
    const double size = camera.pixelSize(path.length * std::max(camera.cosineToAxis(first), kLeastCosine));
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

void turnFootprints(const miState* state, const miScalar* matrix) {
    ThreadContext& context = contextOf(state);
    if (!isOfLens(*state)) return;
    context.lensTurn = context.lensTurn * affineMatrix(matrix);
    context.lensIsTurned = true;
}

miVector beforeLens(const miState* state, const miVector& point) {
    const Path path = pathOf(state);
    if (!path.throughLens) return point;
    const CameraRay ray = cameraRayOf(state, path);
    M44d back;
    if (!ray.isFollowed || !invert(contextOf(state).lensTurn, back)) return point;
    return ray.org + narrow(transformVector(wide(point - path.org), back) * ray.stretch);
}

}  // namespace lumorender
