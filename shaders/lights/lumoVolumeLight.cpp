/* lumoVexaVolumeLight: light inside a volume, and none outside.
 *
 * `volumeShape` 0 is the sphere of radius 1 around the light's origin, 1 the box from -1 to 1, 2 the cylinder of radius
 * 1 and 3 the cone from radius `tipRadius` to 1, both along -z from z = 1 to -1; the light's instance places and scales
 * it. `volumeDirection` 0 sends light outward from the middle, 1 inward from the boundary, 2 along -z. Towards the
 * boundary it falls as (1 - depth) to the power of `volumeFalloff`, where depth is 0 in the middle and 1 on the
 * boundary.
 *
 * Textures on the color see the point in the light's space. All else is as for the point light; the decay is by the
 * distance from the middle. Renderers sort lights out by their position, before a shader can say that its light comes
 * from elsewhere: directions 1 and 2 reach surfaces that face away from the middle where both sides are lit only.
 *
 *   shader "glow" "lumoVexaVolumeLight" ( "volumeShape" 1, "volumeFalloff" 2, "color" .4 .6 1, "intensity" 2 )
 */
#include <algorithm>
#include <cmath>
#include "SDK/framework/double_vector.h"
#include "SDK/framework/export_shader.h"
#include "shaders/lights/lumoVexaLightDecay.h"

namespace lumo {

struct VolumeLightParameters {
    miInteger volumeShape;
    miInteger volumeDirection;
    miScalar volumeFalloff;
    miScalar tipRadius;
    miScalar lightRadius;
    miInteger decayRate;
    EmissionParameters emission;
    ShadowParameters shadow;
    FogParameters fog;
};

namespace {

using Helper = ShaderHelper<VolumeLightParameters>;

enum Direction : miInteger { kInward = 1, kAlong = 2 };

/* In the light's space; the axis is z. */
class Volume {
public:
    explicit Volume(const Helper& in) : shape_(in(&VolumeLightParameters::volumeShape)) {
        // Half the sum and the difference of the radii at both ends; fmax also makes 0 of NaN.
        const double tip = std::fmax(0, static_cast<double>(in(&VolumeLightParameters::tipRadius)));
        mean_ = (1 + tip) / 2;
        slope_ = (1 - tip) / 2;
    }

    /* 0 in the middle, 1 on the boundary; the same share all the way along each line out of the middle. */
    double depth(const DoubleVector& p) const {
        const double fromAxis = std::hypot(p.x, p.y), alongAxis = std::fabs(p.z);
        switch (shape_) {
            case kBox: return std::max({std::fabs(p.x), std::fabs(p.y), alongAxis});
            case kCylinder: return std::max(fromAxis, alongAxis);
            case kCone: return std::max((fromAxis + slope_ * p.z) / mean_, alongAxis);
            default: return length(p);
        }
    }

    /* Height at which the line along the axis through a point inside enters, from above. */
    double entry(const DoubleVector& p) const {
        const double fromAxis = std::hypot(p.x, p.y);
        if (shape_ == kBox || shape_ == kCylinder) return 1;
        if (shape_ == kCone) return slope_ > 0 ? std::min(1.0, (mean_ - fromAxis) / slope_) : 1;
        return std::sqrt(std::max(0.0, 1 - fromAxis * fromAxis));
    }

private:
    enum Shape : miInteger { kBox = 1, kCylinder = 2, kCone = 3 };

    const miInteger shape_;
    double mean_, slope_;
};

/* The light's way to the point, from a place in the light's space on. */
void aim(miState* state, const DoubleVector& place, const DoubleVector& direction) {
    constexpr double kNearest = 1e-6;  // a distance of 0 would mean infinitely far
    miVector origin = place.rounded(), way = direction.rounded();
    mi_point_from_light(state, &origin, &origin);
    mi_vector_from_light(state, &way, &way);
    const DoubleVector dir = normalised(DoubleVector(way));
    const double dist = length(DoubleVector(state->point) - DoubleVector(origin));
    if (!std::isfinite(dist) || !(dot(dir, dir) > 0)) return;
    state->org = origin;
    state->dir = dir.rounded();
    state->dist = std::max(dist, kNearest);
    state->dot_nd = -mi_vector_dot(&state->normal, &state->dir);
}

miBoolean shine(miColor* result, const Helper& in) {
    const LightCall call(in.state(), "vexa_volumelight(): Internal state error.");
    if (!call) return miFALSE;
    const miVector inLight = pointInLight(call.state());
    const LightTexture texture(call.state(), inLight);
    const Volume volume(in);
    const DoubleVector point(inLight);
    const double depth = volume.depth(point);
    if (!(depth <= 1)) return giveNothing(call, *result);

    const double falloff = std::fmax(0, static_cast<double>(in(&VolumeLightParameters::volumeFalloff)));
    const auto share = static_cast<miScalar>(std::pow(1 - depth, falloff));
    const miScalar intensity =
        intensityAtPoint(call, in, share * in(&VolumeLightParameters::emission, &EmissionParameters::intensity));
    const miInteger direction = in(&VolumeLightParameters::volumeDirection);
    if (call.isLightRay() && direction == kInward && depth > 0)
        aim(call.state(), point * (1 / depth), point * -1);
    else if (call.isLightRay() && direction == kAlong)
        aim(call.state(), {point.x, point.y, volume.entry(point)}, {0, 0, -1});
    return giveLight(call, *result, in, intensity, {ShadowEmitter::kRadius, in(&VolumeLightParameters::lightRadius)});
}

}  // namespace

LUMO_EXPORT_FUNCTION_SHADER(lumoVexaVolumeLight, shine, miColor, VolumeLightParameters)

}  // namespace lumo
