#include "paint/paint.h"

#include "rays/footprint.h"
#include "rays/gathered_light.h"
#include "rays/hit_scope.h"
#include "rays/reflections.h"

namespace materials {

namespace {

struct LightOnPaint {
    miColor lambert = {0, 0, 0, 0}, arriving = {0, 0, 0, 0}, pigmented = {0, 0, 0, 0}, highlights = {0, 0, 0, 0},
            flakes = {0, 0, 0, 0};

    void add(const LightOnPaint& more, miScalar factor) {
        lambert += more.lambert * factor;
        arriving += more.arriving * factor;
        pigmented += more.pigmented * factor;
        highlights += more.highlights * factor;
        flakes += more.flakes * factor;
    }
};

miScalar phong(miScalar cosine, miScalar exponent) { return cosine > 0 ? std::pow(cosine, exponent) : 0; }

/* A waxed coat: the highlight ends nearly sharp where it has half of its height. */
miScalar glazed(miScalar highlight) {
    const miScalar x = clamped((highlight - .4f) / .2f, 0, 1);
    return x * x * (3 - 2 * x);
}

/* Color of the pigment from where it is seen, without regard to light. */
miColor pigmentSeen(const PaintSettings& paint, miScalar cosine) {
    return paint.edgeBias > 0 ? mix(paint.base, paint.edge, std::pow(1 - cosine, paint.edgeBias)) : paint.base;
}

miColor pigmentLit(const PaintSettings& paint, const miColor& pigment, miScalar cosine) {
    return paint.litBias > 0 ? mix(pigment, paint.lit, std::pow(cosine, paint.litBias)) : pigment;
}

/* Flakes far from the eye fade. */
miScalar decay(const miState* state, miScalar distance) {
    if (!(distance > 0)) return 1;
    return std::pow(clamped(1 - wayFromEye(state) / distance, 0, 1), .75f);
}

/* What the flakes mirror: one of them in one direction, many of them all around. */
miColor mirroredByFlakes(miState* state, const Flakes::Look& flakes, const miColor& level) {
    constexpr int kRaysOfMany = 4;
    Reflections rays;
    rays.limits = {flakes.slope > 0 ? kRaysOfMany : 0, 0, .01f};
    const miScalar width = clamped(std::sqrt(2 * flakes.slope), 1e-3f, 1);
    const Facets lobe(frameAround(flakes.normal), width, width);
    return rays.traced(state, flakes.normal, flakes.slope > 0 ? &lobe : nullptr, level);
}

}  // namespace

miColor PaintTerms::sum() const {
    return ambient.result + diffuse.result + irradiance.result + spec.result + flake.result + flakeReflection.result;
}

void PaintTerms::scale(miScalar factor) {
    for (Term* term : {&ambient, &diffuse, &irradiance, &spec, &flake, &flakeReflection}) {
        term->result = term->result * factor;
        term->level = term->level * factor;
    }
}

PaintShading shadePaint(miState* state, const PaintSettings& paint, const Flakes::Look& flakes, const LightList& lights,
                        bool wantsLambert) {
    const HitScope hit(state);
    const miVector normal = unit(state->normal, state->normal_geom), view = -state->dir;
    const miVector mirror = mirrored(state->dir, normal);
    const miColor pigment = pigmentSeen(paint, clamped(std::fabs(dot(normal, view)), 0, 1));
    const bool hasFlakes = paint.hasFlakes() && flakes.share > 0;
    state->normal = normal;

    const auto light = sumOfLights<LightOnPaint>(state, lights, [&](LightOnPaint& sum, const LightSample& sample) {
        const miScalar cosine = dot(normal, sample.dir);
        if (!(cosine > 0)) return;
        const miColor arriving = sample.color * std::pow(cosine, paint.diffuseBias);
        sum.lambert += sample.color * cosine;
        sum.arriving += arriving;
        sum.pigmented += arriving * pigmentLit(paint, pigment, cosine);
        const miScalar toMirror = dot(mirror, sample.dir);
        const miScalar first = phong(toMirror, paint.highlight.exponent);
        sum.highlights += sample.color * (paint.highlight.color * (paint.glazed ? glazed(first) : first) +
                                          paint.second.color * phong(toMirror, paint.second.exponent));
        if (hasFlakes) sum.flakes += sample.color * flakeHighlight(flakes, paint.flakeExponent, view, sample.dir);
    });

    PaintShading shading;
    const miColor around = paint.irradianceWeight > 0 || wantsLambert ? gatheredLight(state) : kBlack;
    shading.lambert = light.lambert + around;
    PaintTerms& terms = shading.terms;
    terms.ambient = termOf(paint.ambient, pigment);
    terms.diffuse = termOfResult(light.pigmented * paint.diffuseWeight, light.arriving, pigment * paint.diffuseWeight);
    terms.irradiance = termOf(around, pigment * paint.irradianceWeight);
    terms.spec = termAtLevel(light.highlights * 1, paint.highlight.color + paint.second.color);
    terms.flake = terms.flakeReflection = {kBlack, kBlack, kBlack};
    if (!hasFlakes) return shading;
    const miColor flakeLevel = paint.flakeColor * decay(state, paint.flakeDecay);
    terms.flake = termOf(light.flakes, flakeLevel);
    const miColor mirrorLevel = flakeLevel * (paint.flakeReflect * flakes.share);
    if (!isBlack(mirrorLevel))
        terms.flakeReflection = termOf(mirroredByFlakes(state, flakes, mirrorLevel), mirrorLevel);
    return shading;
}

}  // namespace materials
