/* misss_fast_simple_phen: wax, marble, leaves. */
#include "illumination/illumination.h"
#include "module/export.h"
#include "rays/hit_scope.h"
#include "subsurface/layers.h"

namespace materials {

namespace {

struct SimplePhen {
    miTag lightmap, depthmap, lightmap_group;
    miScalar lightmap_size;
    miInteger samples;
    miTag bump;
    struct {
        miColor ambient, overall_color, diffuse_color;
        miScalar diffuse_weight;
        miColor front_sss_color;
        miScalar front_sss_weight, front_sss_radius;
        miColor back_sss_color;
        miScalar back_sss_weight, back_sss_radius, back_sss_depth;
    } d;
    struct {
        miColor specular;
        miScalar exponent;
    } s;
    struct {
        miScalar lightmap_gamma;
        miBoolean indirect;
        miScalar scale_conversion, scatter_bias, falloff;
        miBoolean screen_composit;
    } a;
    miInteger mode;
    LightArray lights;
};

Illumination lightOnTop(miState* state, const LightList& lights, miScalar exponent) {
    const miVector mirror = mirrored(state->dir, state->normal), normal = state->normal;
    return sumOfLights<Illumination>(state, lights, [&](Illumination& sum, const LightSample& sample) {
        const miScalar cosine = dot(normal, sample.dir), toMirror = dot(mirror, sample.dir);
        if (!(cosine > 0)) return;
        sum.falling += sample.color * cosine;
        if (toMirror > 0) sum.highlights += sample.color * std::pow(toMirror, exponent);
    });
}

bool simplePhen(miColor& result, miState* state, SimplePhen& p) {
    if (!shadesSurface(state)) return false;
    const Parameters in(state);
    const HitScope hit(state);
    const LightList lights(state, p.mode, p.lights);
    const Scattering scattering{lights, in(p.samples), in.within(p.a.falloff, 0, 1000),
                                in.within(p.a.scatter_bias, -1, 1)};
    const miScalar conversion = in(p.a.scale_conversion);
    const auto radius = [&](const miScalar& parameter) {
        return sceneLength(in.within(parameter, 0, miHUGE_SCALAR), conversion);
    };
    const miColor around = in.color(p.d.ambient) + (in.isOn(p.a.indirect) ? gatheredLight(state) : kBlack);

    SubsurfaceOutputs out{};
    const miColor tint = in.reflectance(p.d.overall_color);
    const miColor frontLevel = tint * in.reflectance(p.d.front_sss_color) * in.within(p.d.front_sss_weight, 0, 1000);
    const miColor backLevel = tint * in.reflectance(p.d.back_sss_color) * in.within(p.d.back_sss_weight, 0, 1000);
    if (!isBlack(frontLevel))
        out.front = termOf(scattering.front(state, radius(p.d.front_sss_radius)) + around, frontLevel);
    if (!isBlack(backLevel))
        out.back = termOf(scattering.back(state, radius(p.d.back_sss_radius), radius(p.d.back_sss_depth)), backLevel);
    bend(state, in(p.bump));
    const Illumination top = lightOnTop(state, lights, in.within(p.s.exponent, 0, 1e6f));
    out.diffuse =
        termOf(top.falling + around, tint * in.reflectance(p.d.diffuse_color) * in.within(p.d.diffuse_weight, 0, 1000));
    out.specular = top.highlights * in.reflectance(p.s.specular);
    composeLayers(out, in.isOn(p.a.screen_composit), false);
    result = out.result;
    return true;
}

}  // namespace

MATERIALS_SHADER(misss_fast_simple_phen, miColor, SimplePhen, simplePhen)

}  // namespace materials
