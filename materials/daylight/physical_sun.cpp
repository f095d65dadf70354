/* mia_physicalsun: a directional light that has the color and the strength of the sun behind the air. */
#include "daylight/daylight.h"
#include "daylight/sunlight.h"
#include "lamps/lamp.h"
#include "rays/ray_points.h"

namespace materials {

namespace {

struct PhysicalSun {
    miBoolean on;
    miScalar multiplier;
    miColor rgb_unit_conversion;
    miScalar haze, redblueshift, saturation, horizon_height, shadow_softness;
    miInteger samples;
    miVector photon_bbox_min, photon_bbox_max;
    miBoolean automatic_photon_energy, y_is_up;
    miInteger illuminance_mode;
    miScalar direct_normal_illuminance;
};

/* Share of the disc above the horizon. */
miScalar risen(miScalar height) { return clamped(.5f + height / (2 * kSunRadius), 0, 1); }

/* Light on what is gathered or mirrored needs no smooth shadows. */
int raysFor(const miState* state, int wanted) {
    for (const miState* ray = state; ray; ray = ray->parent)
        if (ray->type == miRAY_FINALGATHER) return 1;
    return raysAtLevel(state, wanted);
}

/* Mean of rays to all over the disc, which is `softness` times as wide as it is. */
miColor softlyShadowed(miState* state, const miColor& light, miScalar softness, int samples) {
    const miVector dir = state->dir;
    const Frame frame = frameAround(dir);
    const auto traced = [&](const miVector& ray) {
        miColor color = light;
        state->dir = ray;
        const bool arrives = mi_trace_shadow(&color, state) != miFALSE;
        state->dir = dir;
        return arrives ? color : kBlack;
    };
    const int rays = raysFor(state, samples);
    if (rays <= 1 || !(softness > 0)) return traced(dir);
    return meanOverPoints(state, rays, [&](const double* point) {
        const miScalar r = kSunRadius * softness * static_cast<miScalar>(std::sqrt(point[0]));
        const miScalar angle = 2 * kPi * static_cast<miScalar>(point[1]);
        return traced(unit(frame.toWorld({r * std::cos(angle), r * std::sin(angle), 1})));
    });
}

bool physicalSun(miColor& result, miState* state, PhysicalSun& p) {
    const Parameters in(state);
    result = kBlack;
    if (!in.isOn(p.on) || !shinesOn(state)) return false;
    miVector ray;
    mi_vector_to_world(state, &ray, &state->dir);
    const miScalar height = -withZUp(unit(ray), in.isOn(p.y_is_up)).z - sineOfHeight(in(p.horizon_height));
    const miScalar seen = risen(height);
    if (seen == 0) return false;
    miColor light = sunlight(std::max(height, kSunRadius), turbidityOf(in(p.haze)));
    if (in(p.illuminance_mode) == 1)
        light = light * quotient(in.within(p.direct_normal_illuminance, 0, miHUGE_SCALAR), luminanceOf(light));
    /* A surface of the color 1 under a light of the strength 1 is as bright as one under pi lux, in cd/m2. */
    light = light * conversionOf(in, p.rgb_unit_conversion, p.multiplier) * (seen / kPi);
    light = finite(toned(light, in.within(p.redblueshift, -1, 1), in.within(p.saturation, 0, 2)));
    if (isBlack(light)) return false;
    result = softlyShadowed(state, light, in.within(p.shadow_softness, 0, 100), in.count(p.samples, 1, kMostRays));
    return !isBlack(result);
}

}  // namespace

MATERIALS_SHADER(mia_physicalsun, miColor, PhysicalSun, physicalSun)

}  // namespace materials
