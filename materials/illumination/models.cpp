/* mib_illum_lambert, _phong, _blinn, _cooktorr: surfaces that are the same in all directions. */
#include "illumination/illumination.h"

namespace materials {

namespace {

struct Lambert {
    BaseColors base;
    ModeAndLights by;
};

struct Phong {
    BaseColors base;
    miColor specular;
    miScalar exponent;
    ModeAndLights by;
};

struct Blinn {
    BaseColors base;
    miColor specular;
    miScalar roughness, ior;
    ModeAndLights by;
};

struct CookTorrance {
    BaseColors base;
    miColor specular;
    miScalar roughness;
    miColor ior;
    ModeAndLights by;
};

constexpr miScalar kLeastRoughness = 1e-3f;

bool lambert(miColor& result, miState* state, Lambert& p) {
    if (!shadesSurface(state)) return false;
    const LightList lights(state, p.by.mode, p.by.lights);
    return illuminate(result, state, p.base, kBlack, lights, [](const miVector&, miScalar) { return kBlack; });
}

bool phong(miColor& result, miState* state, Phong& p) {
    if (!shadesSurface(state)) return false;
    const Parameters in(state);
    const miScalar exponent = in.within(p.exponent, 0, 1e6f);
    const LightList lights(state, p.by.mode, p.by.lights);
    return illuminate(result, state, p.base, in.reflectance(p.specular), lights,
                      [&](const miVector& dir, miScalar) { return gray(mi_phong_specular(exponent, state, &dir)); });
}

bool blinn(miColor& result, miState* state, Blinn& p) {
    if (!shadesSurface(state)) return false;
    const Parameters in(state);
    const miScalar roughness = in.within(p.roughness, kLeastRoughness, 1), ior = in.within(p.ior, 1, 1000);
    const LightList lights(state, p.by.mode, p.by.lights);
    return illuminate(result, state, p.base, in.reflectance(p.specular), lights, [&](const miVector& dir, miScalar) {
        return gray(mi_blinn_specular(&state->dir, &dir, &state->normal, roughness, ior));
    });
}

bool cookTorrance(miColor& result, miState* state, CookTorrance& p) {
    if (!shadesSurface(state)) return false;
    const Parameters in(state);
    const miScalar roughness = in.within(p.roughness, kLeastRoughness, 1);
    const miColor given = in.color(p.ior);
    const miColor ior = {clamped(given.r, 1, 1000), clamped(given.g, 1, 1000), clamped(given.b, 1, 1000), 1};
    const LightList lights(state, p.by.mode, p.by.lights);
    return illuminate(result, state, p.base, in.reflectance(p.specular), lights,
                      [&](const miVector& dir, miScalar cosine) {
                          miColor strength = kBlack;
                          mi_cooktorr_specular(&strength, &state->dir, &dir, &state->normal, roughness, &ior);
                          return strength * cosine;
                      });
}

}  // namespace

MATERIALS_SHADER(mib_illum_lambert, miColor, Lambert, lambert)
MATERIALS_SHADER(mib_illum_phong, miColor, Phong, phong)
MATERIALS_SHADER(mib_illum_blinn, miColor, Blinn, blinn)
MATERIALS_SHADER(mib_illum_cooktorr, miColor, CookTorrance, cookTorrance)

}  // namespace materials
