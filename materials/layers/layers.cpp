/* mib_reflect, _refract, _transparency, _continue, _opacity, _twosided: what is mirrored or lies behind, over a color. */
#include "module/export.h"
#include "module/parameters.h"
#include "rays/reflections.h"
#include "rays/seen.h"
#include "rays/transmission.h"

namespace materials {

namespace {

struct Reflect {
    miColor input, reflect;
    miBoolean notrace;
};

struct Refract {
    miColor input, refract;
    miScalar ior;
};

struct Share {
    miColor input, share;
};

struct TwoSided {
    miColor front, back;
};

/*
 * input * (1 - share) + seen * share, channel by channel, alpha among them. `seen` is called where the share is not 0,
 * the input looked at where it is not 1.
 */
template <class Seen>
miColor blended(const Parameters& in, const miColor& input, const miColor& share, const Seen& seen) {
    if (isBlack(share) && share.a == 0) return in.color(input);
    const bool isWhole = share.r == 1 && share.g == 1 && share.b == 1 && share.a == 1;
    const miColor own = isWhole ? kNothing : in.color(input);
    const miColor other = seen();
    return {mix(own.r, other.r, share.r), mix(own.g, other.g, share.g), mix(own.b, other.b, share.b),
            mix(own.a, other.a, share.a)};
}

miScalar weightOf(const miColor& share) { return std::max(largest(share), share.a); }

miColor traced(miState* state, const miColor& share, miBoolean (*trace)(miColor*, miState*)) {
    return seenBy(state, state->dir, weightOf(share), [&](miColor* color) { return trace(color, state); });
}

bool reflect(miColor& result, miState* state, Reflect& p) {
    if (!shadesSurface(state)) return false;
    const Parameters in(state);
    const miColor share = in.color(p.reflect);
    result = blended(in, p.input, share, [&] {
        Reflections rays;
        /* What counts for less than anything can is not traced: the environment stands in for it. */
        if (in.isOn(p.notrace)) rays.limits.cutoff = miHUGE_SCALAR;
        return rays.traced(state, unit(state->normal, state->normal_geom), nullptr, positive(share));
    });
    return true;
}

/* The ray behind the surface; where it is totally reflected, the mirrored one. */
miColor refractedRay(miState* state, miScalar ior, const miColor& share) {
    if (ior == 1) return traced(state, share, mi_trace_transparent);
    const miVector normal = unit(state->normal, state->normal_geom);
    miVector dir;
    const bool isTotal = !refracted(dir, state->dir, normal, 1 / ior);
    if (isTotal) dir = mirrored(state->dir, normal);
    const auto trace = isTotal ? mi_trace_reflection : mi_trace_refraction;
    return seenBy(state, dir, weightOf(share), [&](miColor* color) { return trace(color, state, &dir); });
}

bool refract(miColor& result, miState* state, Refract& p) {
    if (!shadesSurface(state)) return false;
    const Parameters in(state);
    const miScalar given = in(p.ior), ior = given != 0 ? clamped(given, 1e-3f, 1000) : 1;
    const miColor share = in.color(p.refract);
    result = blended(in, p.input, share, [&] { return refractedRay(state, ior, share); });
    return true;
}

bool transparency(miColor& result, miState* state, Share& p) {
    if (!shadesSurface(state)) return false;
    const Parameters in(state);
    const miColor share = in.color(p.share);
    result = blended(in, p.input, share, [&] { return traced(state, share, mi_trace_transparent); });
    return true;
}

/* As the same ray: no level deeper, and distances go on. */
bool goOn(miColor& result, miState* state, Share& p) {
    if (!shadesSurface(state)) return false;
    const Parameters in(state);
    const miColor share = in.color(p.share);
    result = blended(in, p.input, share, [&] { return traced(state, share, mi_trace_continue); });
    return true;
}

bool opacity(miColor& result, miState* state, Share& p) {
    if (!shadesSurface(state)) return false;
    const Parameters in(state);
    const miColor own = in.color(p.share), share = {1 - own.r, 1 - own.g, 1 - own.b, 1 - own.a};
    result = blended(in, p.input, share, [&] { return traced(state, share, mi_trace_transparent); });
    return true;
}

bool twoSided(miColor& result, miState* state, TwoSided& p) {
    const Parameters in(state);
    result = in.color(state->inv_normal ? p.back : p.front);
    return true;
}

}  // namespace

MATERIALS_SHADER(mib_reflect, miColor, Reflect, reflect)
MATERIALS_SHADER(mib_refract, miColor, Refract, refract)
MATERIALS_SHADER(mib_transparency, miColor, Share, transparency)
MATERIALS_SHADER(mib_continue, miColor, Share, goOn)
MATERIALS_SHADER(mib_opacity, miColor, Share, opacity)
MATERIALS_SHADER(mib_twosided, miColor, TwoSided, twoSided)

}  // namespace materials
