/* dgs_material: diffuse, glossy and specular reflection and transmission. */
#include "lights/light_list.h"
#include "module/export.h"
#include "rays/gathered_light.h"
#include "rays/hit_scope.h"
#include "rays/reflections.h"
#include "rays/transmission.h"

namespace materials {

namespace {

struct Dgs {
    miColor diffuse, glossy, specular;
    miScalar shiny, shiny_u, shiny_v, transp, ior;
    LightArray lights;
    miInteger mode;
};

struct DgsLight {
    miColor matt = {0, 0, 0, 0}, through = {0, 0, 0, 0}, highlights = {0, 0, 0, 0};

    void add(const DgsLight& more, miScalar factor) {
        matt += more.matt * factor;
        through += more.through * factor;
        highlights += more.highlights * factor;
    }
};

constexpr int kGlossyRays = 8;

/* Of the width whose highlight falls as cos^shiny. */
miScalar widthOf(miScalar shiny) { return clamped(1 / std::sqrt(2 * std::max(shiny, .5f)), 1e-3f, 1); }

/* The glossy lobe; `shiny` is for both directions, where it is given. */
Facets lobeOf(const miState* state, const Parameters& in, const Dgs& p, const miVector& normal) {
    const miScalar shiny = in.within(p.shiny, 0, 1e6f);
    const Frame frame = state->derivs ? frameAround(normal, state->derivs[0]) : frameAround(normal);
    if (shiny > 0) return {frame, widthOf(shiny), widthOf(shiny)};
    return {frame, widthOf(in.within(p.shiny_u, 0, 1e6f)), widthOf(in.within(p.shiny_v, 0, 1e6f))};
}

/* Light of lights, from both sides where some of it comes through. */
DgsLight lit(miState* state, const LightList& lights, const Facets& lobe, bool isTransparent, bool shines) {
    const HitScope hit(state);
    if (isTransparent) state->pri = nullptr;
    const miVector view = -state->dir, normal = lobe.normal();
    return sumOfLights<DgsLight>(state, lights, [&](DgsLight& sum, const LightSample& sample) {
        const miScalar cosine = dot(normal, sample.dir);
        (cosine > 0 ? sum.matt : sum.through) += sample.color * std::fabs(cosine);
        if (cosine > 0 && shines) sum.highlights += sample.color * lobe.highlight(view, sample.dir);
    });
}

/* What is mirrored, by a lobe or without one. */
miColor mirrorImage(miState* state, const Facets& lobe, bool isGlossy, const miColor& level) {
    if (isBlack(level)) return kBlack;
    Reflections rays;
    rays.limits.samples = isGlossy ? kGlossyRays : 0;
    return rays.traced(state, lobe.normal(), isGlossy ? &lobe : nullptr, level) * level;
}

miColor seenThrough(miState* state, const Facets& lobe, bool isGlossy, miScalar ior, const miColor& level) {
    if (isBlack(level)) return kBlack;
    Transmission rays;
    rays.limits.samples = isGlossy ? kGlossyRays : 0;
    rays.ior = ior;
    rays.isSheet = ior == 1;
    return rays.traced(state, lobe.normal(), isGlossy ? &lobe : nullptr, level).color * level;
}

bool dgsMaterial(miColor& result, miState* state, Dgs& p) {
    const Parameters in(state);
    const miScalar transp = in.share(p.transp), reflectivity = 1 - transp;
    const miColor specular = in.reflectance(p.specular);
    if (state->type == miRAY_SHADOW) {
        /* Light straight through; what is bent or spread arrives elsewhere. */
        const miColor through = specular * transp;
        result = {result.r * through.r, result.g * through.g, result.b * through.b, result.a};
        return !isBlack(result);
    }
    if (!shadesSurface(state)) return false;
    const HitScope hit(state);
    state->normal = unit(state->normal, state->normal_geom);
    const miColor diffuse = in.reflectance(p.diffuse), glossy = in.reflectance(p.glossy);
    const Facets lobe = lobeOf(state, in, p, state->normal);
    const bool isGlossy = !isBlack(glossy);
    const DgsLight light = lit(state, LightList(state, p.mode, p.lights), lobe, transp > 0, isGlossy);
    const miColor around = isBlack(diffuse) ? kBlack : gatheredLight(state);
    const miScalar given = in(p.ior), ior = given > 0 ? clamped(given, 1e-3f, 1000) : 1;
    result =
        (diffuse * (light.matt + around) + glossy * light.highlights) * reflectivity + diffuse * light.through * transp;
    result += mirrorImage(state, lobe, true, glossy * reflectivity);
    result += mirrorImage(state, lobe, false, specular * reflectivity);
    result += seenThrough(state, lobe, true, ior, glossy * transp);
    result += seenThrough(state, lobe, false, ior, specular * transp);
    return true;
}

}  // namespace

MATERIALS_SHADER(dgs_material, miColor, Dgs, dgsMaterial)

}  // namespace materials
