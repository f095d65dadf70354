#include "photons/photon_sources.h"

#include "support/geometry.h"

#include <algorithm>
#include <cmath>

namespace lumorender {

namespace {

/// A direction around the axis with this cosine; `turn` from 0 to 1 goes once around.
miVector around(const miVector& axis, double cosine, double turn) {
    const double sine = std::sqrt(std::max(0.0, 1 - cosine * cosine));
    const double angle = 2 * M_PI * turn;
    return unit(frameAround(axis).toWorld(static_cast<float>(sine * std::cos(angle)),
                                          static_cast<float>(sine * std::sin(angle)), static_cast<float>(cosine)));
}

PhotonStart fromFar(const LightSource& source, const SceneSphere& scene, double u, double v) {
    const V3d along = wide(source.direction);
    const V3d right = perpendicular(along), up = cross(along, right);
    const double radius = scene.radius * std::sqrt(u), angle = 2 * M_PI * v;
    const V3d place = scene.centre + (right * std::cos(angle) + up * std::sin(angle)) * radius;
    const double back = source.light->dirlight_has_org ? dot(wide(source.origin) - place, along) : -scene.radius;
    return {narrow(place + along * back), source.direction};
}

}  // namespace

PhotonStart photonStart(const LightSource& source, const SceneSphere& scene, const std::array<double, 4>& random) {
    const auto [u, v, s, t] = random;
    if (source.directional) return fromFar(source, scene, u, v);
    const miLight& light = *source.light;
    const LightPoint point = anyPointOnLight(light, *source.placement, source.surface, s, t);
    if (light.type == miLIGHT_SPOT) {
        const double edge = std::clamp(static_cast<double>(light.spread), -1.0, 1.0);
        return {point.place, around(source.direction, 1 - u * (1 - edge), v)};
    }
    if (isZero(point.normal)) return {point.place, around({0, 0, 1}, 1 - 2 * u, v)};
    return {point.place, around(point.normal, std::sqrt(1 - u), v)};
}

}  // namespace lumorender
