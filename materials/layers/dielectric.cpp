/* mib_dielectric, mib_refraction_index: glass from parts. */
#include "module/export.h"
#include "module/parameters.h"
#include "rays/seen.h"
#include "rays/transmission.h"

namespace materials {

namespace {

struct Dielectric {
    miColor input, absorb;
    miScalar refract, ior;
};

struct RefractionIndex {
    miScalar ior;
};

/* What a unit of length leaves of light; a black color means a clear medium. */
miColor absorbed(const miState* state, const miColor& given) {
    if (isBlack(given) || !(state->dist > 0)) return kWhite;
    const miColor color = {std::min(given.r, 1.0f), std::min(given.g, 1.0f), std::min(given.b, 1.0f), 1};
    return power(color, static_cast<miScalar>(std::min(state->dist, 1e6)));
}

bool dielectric(miColor& result, miState* state, Dielectric& p) {
    if (!shadesSurface(state)) return false;
    const Parameters in(state);
    const miScalar share = in.share(p.refract), given = in(p.ior);
    const miScalar ior = given != 0 ? clamped(given, 1e-3f, 1000) : 1;
    result = share < 1 ? in.color(p.input) : kNothing;
    if (share > 0) {
        const miVector normal = unit(state->normal, state->normal_geom);
        miVector dir;
        const bool isBent = refracted(dir, state->dir, normal, 1 / ior);
        if (!isBent) dir = mirrored(state->dir, normal);
        const auto trace = isBent ? mi_trace_refraction : mi_trace_reflection;
        const miColor seen = seenBy(state, dir, share, [&](miColor* color) { return trace(color, state, &dir); });
        result = {mix(result.r, seen.r, share), mix(result.g, seen.g, share), mix(result.b, seen.b, share),
                  mix(result.a, seen.a, share)};
    }
    if (isInside(state)) return true;
    const miColor left = absorbed(state, in.reflectance(p.absorb));
    result = {result.r * left.r, result.g * left.g, result.b * left.b, result.a};
    return true;
}

/* The index outside of what the ray is in: that before it came in. */
miScalar indexAround(const miState* state) {
    for (const miState* ray = state->parent; ray; ray = ray->parent)
        if (ray->instance == state->instance && !ray->inv_normal && ray->ior_in > 0) return ray->ior_in;
    return 1;
}

bool refractionIndex(miScalar& result, miState* state, RefractionIndex& p) {
    const Parameters in(state);
    const miScalar given = in(p.ior), inner = given > 0 ? clamped(given, 1e-3f, 1000) : 1;
    const bool leaves = isInside(state);
    const miScalar before = leaves           ? inner
                            : state->ior > 0 ? state->ior
                                             : 1,
                   behind = leaves ? indexAround(state) : inner;
    state->ior_in = before;
    state->ior = behind;
    result = clamped(behind / before, 1e-3f, 1000);
    return true;
}

}  // namespace

MATERIALS_SHADER(mib_dielectric, miColor, Dielectric, dielectric)
MATERIALS_SHADER(mib_refraction_index, miScalar, RefractionIndex, refractionIndex)

}  // namespace materials
