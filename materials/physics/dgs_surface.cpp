#include "physics/dgs_surface.h"

#include "rays/gathered_light.h"
#include "rays/hit_scope.h"
#include "rays/reflections.h"
#include "rays/seen.h"
#include "rays/transmission.h"

namespace materials {

namespace {

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

/* One of the rays that a matte surface mirrors light by. */
miColor diffuseRay(miState* state, const miColor& level) {
    double point[2] = {0, 0};
    int taken = 0;
    mi_sample(point, &taken, state, 2, nullptr);
    const miScalar aside = static_cast<miScalar>(std::sqrt(point[0])),
                   up = static_cast<miScalar>(std::sqrt(1 - point[0]));
    const miScalar angle = 2 * kPi * static_cast<miScalar>(point[1]);
    const Frame frame = frameAround(state->normal);
    const miVector dir =
        aboveSurface(state, unit(frame.toWorld({aside * std::cos(angle), aside * std::sin(angle), up})));
    return seenBy(state, dir, largest(level), [&](miColor* color) { return mi_trace_reflection(color, state, &dir); });
}

}  // namespace

Facets DgsSurface::lobe(const miState* state) const {
    const miVector normal = state->normal;
    const Frame frame = state->derivs ? frameAround(normal, state->derivs[0]) : frameAround(normal);
    return {frame, widthOf(shinyU), widthOf(shinyV)};
}

miColor DgsSurface::shaded(miState* state, const LightList& lights) const {
    const HitScope hit(state);
    state->normal = unit(state->normal, state->normal_geom);
    const miScalar reflectivity = 1 - transp;
    const Facets facets = lobe(state);
    const DgsLight light = lit(state, lights, facets, transp > 0, !isBlack(glossy));
    miColor around = kBlack;
    if (!isBlack(diffuse)) around = tracesDiffuse ? diffuseRay(state, diffuse) : gatheredLight(state);
    miColor result =
        (diffuse * (light.matt + around) + glossy * light.highlights) * reflectivity + diffuse * light.through * transp;
    result += mirrorImage(state, facets, true, glossy * reflectivity);
    result += mirrorImage(state, facets, false, specular * reflectivity);
    result += seenThrough(state, facets, true, ior, glossy * transp);
    result += seenThrough(state, facets, false, ior, specular * transp);
    return result;
}

}  // namespace materials
