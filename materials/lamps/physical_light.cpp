/* physical_light: a light by the energy that it sends out, as photons would carry it. */
#include "lamps/lamp.h"

namespace materials {

namespace {

struct PhysicalLight {
    miColor color;
    miScalar cone, threshold, cos_exp;
};

/*
 * Share of the energy that goes one way, per unit of solid angle: even from points, spheres and cylinders; by a power of
 * the cosine from flat lights, as if all of it went to the side of the surface that is lit.
 */
miScalar towards(miState* state, miScalar exponent) {
    int area = miLIGHT_NONE;
    mi_query(miQ_LIGHT_AREA, state, state->light_instance, &area);
    if (area != miLIGHT_RECTANGLE && area != miLIGHT_DISC) return 1 / (4 * kPi);
    const miScalar power = exponent > 0 ? exponent : 1;
    miVector normal = {0, 0, 0};
    if (!mi_query(miQ_LIGHT_NORMAL, state, state->light_instance, &normal)) return 1 / (4 * kPi);
    const miScalar cosine = dot(unit(normal), state->dir);
    return cosine > 0 ? std::pow(cosine, power) * (power + 1) / (2 * kPi) : 0;
}

bool physicalLight(miColor& result, miState* state, PhysicalLight& p) {
    const Parameters in(state);
    result = in.color(p.color);
    if (!shinesOn(state)) return true;
    miLight_type type = miLIGHT_ORIGIN;
    mi_query(miQ_LIGHT_TYPE, state, state->light_instance, &type);
    miColor light = result;
    if (type != miLIGHT_DIRECTION) {
        const auto way = std::max(static_cast<miScalar>(state->dist), 1e-6f);
        const miScalar inCone = type == miLIGHT_SPOT ? spotShare(state, in.within(p.cone, -1, 1)) : 1;
        light = light * (towards(state, in.within(p.cos_exp, 0, 1000)) * inCone / (way * way));
    }
    if (largest(light) < in.within(p.threshold, 0, miHUGE_SCALAR)) return false;
    return arrives(result, state, light, 0);
}

}  // namespace

MATERIALS_SHADER(physical_light, miColor, PhysicalLight, physicalLight)

}  // namespace materials
