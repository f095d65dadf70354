/* dielectric_material: clear glass and liquids, which mirror by Fresnel's law and absorb by Beer's. */
#include "lobes/fresnel.h"
#include "module/export.h"
#include "physics/dielectric.h"
#include "rays/hit_scope.h"
#include "rays/reflections.h"
#include "rays/seen.h"

namespace materials {

namespace {

struct Highlights {
    miColor light = {0, 0, 0, 0};

    void add(const Highlights& more, miScalar factor) { light += more.light * factor; }
};

miColor highlights(miState* state, const LightList& lights, miScalar exponent) {
    if (!(exponent > 0)) return kBlack;
    const miVector mirror = mirrored(state->dir, state->normal);
    return sumOfLights<Highlights>(state, lights,
                                   [&](Highlights& sum, const LightSample& sample) {
                                       const miScalar cosine = dot(mirror, sample.dir);
                                       if (cosine > 0) sum.light += sample.color * std::pow(cosine, exponent);
                                   })
        .light;
}

miColor behind(miState* state, const miVector& dir, miScalar share) {
    return seenBy(state, dir, share, [&](miColor* color) { return mi_trace_refraction(color, state, &dir); }) * share;
}

bool dielectricMaterial(miColor& result, miState* state, Dielectric& p) {
    const Parameters in(state);
    const DielectricSide side(state, in, p);
    const miScalar ior = side.ior;
    if (state->type == miRAY_SHADOW) {
        const miScalar clear =
            1 - dielectricFresnel(clamped(std::fabs(dot(state->normal, state->dir)), 0, 1), side.ratio);
        result = {result.r * clear, result.g * clear, result.b * clear, result.a};
        return !isBlack(result);
    }
    if (!shadesSurface(state)) return false;
    const HitScope hit(state);
    state->normal = unit(state->normal, state->normal_geom);
    const miVector normal = state->normal;
    const miScalar share = dielectricFresnel(clamped(std::fabs(dot(normal, state->dir)), 0, 1), ior);
    const LightList lights(state, p.mode, p.lights);
    result = highlights(state, lights, in.within(p.phong_coef, 0, 1e6f)) * share;
    result += Reflections().traced(state, normal, nullptr, gray(share)) * share;
    miVector dir;
    if (share < 1 && refracted(dir, state->dir, normal, 1 / ior)) result += behind(state, dir, 1 - share);
    result = result * side.clear;
    return true;
}

}  // namespace

MATERIALS_SHADER(dielectric_material, miColor, Dielectric, dielectricMaterial)

}  // namespace materials
