/* dielectric_material: clear glass and liquids, which mirror by Fresnel's law and absorb by Beer's. */
#include "lights/light_list.h"
#include "lobes/fresnel.h"
#include "module/export.h"
#include "rays/hit_scope.h"
#include "rays/reflections.h"
#include "rays/seen.h"
#include "rays/transmission.h"

namespace materials {

namespace {

struct Dielectric {
    miColor col;
    miScalar ior;
    miColor col_out;
    miScalar ior_out;
    miBoolean ignore_normals;
    miScalar phong_coef;
    LightArray lights;
    miInteger mode;
};

struct Highlights {
    miColor light = {0, 0, 0, 0};

    void add(const Highlights& more, miScalar factor) { light += more.light * factor; }
};

/* Every surface that is passed leads in or out: where normals cannot be trusted the ray counts them. */
bool isRayInside(const miState* state, bool ignoresNormals) {
    if (!ignoresNormals) return isInside(state);
    bool inside = false;
    for (const miState* ray = state; ray && ray->type != miRAY_EYE; ray = ray->parent)
        if (ray->type == miRAY_REFRACT) inside = !inside;
    return inside;
}

/* What a medium leaves of light on the ray's way, where a unit of length leaves `given`; a black one means a clear one. */
miColor afterWay(const miState* state, const miColor& given) {
    if (isBlack(given)) return kWhite;
    const miColor color = {std::min(given.r, 1.0f), std::min(given.g, 1.0f), std::min(given.b, 1.0f), 1};
    return state->dist > 0 ? power(color, static_cast<miScalar>(std::min(state->dist, 1e6))) : kWhite;
}

miScalar indexOf(miScalar given) { return given > 0 ? clamped(given, .01f, 100) : 1; }

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
    const bool inside = isRayInside(state, in.isOn(p.ignore_normals));
    const miScalar ratio = indexOf(in(p.ior)) / indexOf(in(p.ior_out)), ior = inside ? 1 / ratio : ratio;
    if (state->type == miRAY_SHADOW) {
        const miScalar clear = 1 - dielectricFresnel(clamped(std::fabs(dot(state->normal, state->dir)), 0, 1), ratio);
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
    result = result * afterWay(state, in.reflectance(inside ? p.col : p.col_out));
    return true;
}

}  // namespace

MATERIALS_SHADER(dielectric_material, miColor, Dielectric, dielectricMaterial)

}  // namespace materials
