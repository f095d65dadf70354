#include "subsurface/skin_specular.h"

#include "module/export.h"
#include "rays/reflections.h"

namespace materials {

namespace {

struct Highlight {
    miColor level;
    miScalar exponent;

    miColor of(miScalar cosine) const { return cosine > 0 ? level * std::pow(cosine, exponent) : kBlack; }
};

struct Shine {
    miColor light = {0, 0, 0, 0};

    void add(const Shine& more, miScalar factor) { light += more.light * factor; }
};

miScalar edgeOf(miScalar cosine, miScalar factor, miScalar shinyness) {
    return std::pow(1 - cosine, 1 + factor / 2 + shinyness / 10);
}

miColor reflected(miState* state, const Parameters& in, const SkinShine& p, const miVector& normal, miScalar edge) {
    const miScalar level = in.within(p.reflect_weight, 0, 1000) + in.within(p.reflect_edge_weight, 0, 1000) * edge;
    if (!(level > 0)) return kBlack;
    Reflections rays;
    rays.environment = in(p.environment);
    rays.limits = {1, 0, 0};
    /* A reach of nothing, so to say: no ray is traced. */
    if (in.isOn(p.reflect_environment_only)) rays.limits.cutoff = miHUGE_SCALAR;
    const miScalar width = 1 / (1 + in.within(p.reflect_shinyness, 0, 1000));
    const Facets lobe(frameAround(normal), width, width);
    return rays.traced(state, normal, &lobe, gray(level)) * level;
}

struct SkinSpecular {
    SkinShine shine;
    miInteger mode;
    LightArray lights;
};

bool skinSpecular(miColor& result, miState* state, SkinSpecular& p) {
    if (!shadesSurface(state)) return false;
    result = skinShine(state, p.shine, LightList(state, p.mode, p.lights));
    return true;
}

}  // namespace

miColor skinShine(miState* state, const SkinShine& p, const LightList& lights) {
    const Parameters in(state);
    const miScalar overall = in.within(p.overall_weight, 0, 1000);
    if (!(overall > 0)) return kBlack;
    const miVector normal = unit(state->normal, state->normal_geom), mirror = mirrored(state->dir, normal);
    const miScalar cosine = clamped(std::fabs(dot(normal, state->dir)), 0, 1);
    const miScalar factor = in.within(p.edge_factor, 0, 1000);
    const auto highlight = [&](const miColor& color, const miScalar& weight, const miScalar& edgeWeight,
                               const miScalar& shinyness) {
        const miScalar exponent = in.within(shinyness, 0, 1e6f);
        const miScalar strength =
            in.within(weight, 0, 1000) + in.within(edgeWeight, 0, 1000) * edgeOf(cosine, factor, exponent);
        return Highlight{in.reflectance(color) * strength, exponent};
    };
    const Highlight first =
        highlight(p.primary_spec_color, p.primary_weight, p.primary_edge_weight, p.primary_shinyness);
    const Highlight second =
        highlight(p.secondary_spec_color, p.secondary_weight, p.secondary_edge_weight, p.secondary_shinyness);
    const auto shine = sumOfLights<Shine>(state, lights, [&](Shine& sum, const LightSample& sample) {
        const miScalar toMirror = dot(mirror, sample.dir);
        if (dot(normal, sample.dir) > 0) sum.light += sample.color * (first.of(toMirror) + second.of(toMirror));
    });
    const miScalar edge = edgeOf(cosine, factor, in.within(p.reflect_shinyness, 0, 1000));
    return (shine.light + reflected(state, in, p, normal, edge)) * overall;
}

MATERIALS_SHADER(misss_skin_specular, miColor, SkinSpecular, skinSpecular)

}  // namespace materials
