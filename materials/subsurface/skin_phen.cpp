/* misss_fast_skin_phen: skin of two layers, light through thin parts, and shine. */
#include "module/export.h"
#include "rays/hit_scope.h"
#include "subsurface/layers.h"
#include "subsurface/skin_specular.h"

namespace materials {

namespace {

struct SkinPhen {
    miTag lightmap, depthmap, lightmap_group;
    miScalar lightmap_size;
    miInteger samples;
    miTag bump;
    miColor ambient, overall_color, diffuse_color;
    miScalar diffuse_weight;
    miColor front_sss_color;
    miScalar front_sss_weight, front_sss_radius;
    miColor mid_sss_color;
    miScalar mid_sss_weight, mid_sss_radius;
    miColor back_sss_color;
    miScalar back_sss_weight, back_sss_radius, back_sss_depth;
    SkinShine shine;
    miScalar lightmap_gamma;
    miBoolean indirect;
    miScalar scale_conversion, scatter_bias, falloff;
    miBoolean screen_composit;
    miInteger mode;
    LightArray lights;
};

bool skinPhen(miColor& result, miState* state, SkinPhen& p) {
    if (!shadesSurface(state)) return false;
    const Parameters in(state);
    const HitScope hit(state);
    const LightList lights(state, p.mode, p.lights);
    const Scattering scattering{lights, in(p.samples), in.within(p.falloff, 0, 1000), in.within(p.scatter_bias, -1, 1)};
    const miScalar conversion = in(p.scale_conversion);
    const bool screen = in.isOn(p.screen_composit);
    const miColor around = in.color(p.ambient) + (in.isOn(p.indirect) ? gatheredLight(state) : kBlack);
    const auto length = [&](const miScalar& parameter) {
        return sceneLength(in.within(parameter, 0, miHUGE_SCALAR), conversion);
    };
    const auto layer = [&](const miColor& color, const miScalar& weight, const miScalar& radius) {
        const miColor level = in.reflectance(color) * in.within(weight, 0, 1000);
        if (isBlack(level)) return Term{kBlack, kBlack, kBlack};
        return termOf(scattering.front(state, length(radius)) + around, level);
    };

    /* The upper layers first: what they come to is the diffuse light over the lower ones. */
    SubsurfaceOutputs upper{}, whole{};
    upper.front = layer(p.front_sss_color, p.front_sss_weight, p.front_sss_radius);
    whole.front = layer(p.mid_sss_color, p.mid_sss_weight, p.mid_sss_radius);
    const miColor backLevel = in.reflectance(p.back_sss_color) * in.within(p.back_sss_weight, 0, 1000);
    if (!isBlack(backLevel))
        whole.back = termOf(scattering.back(state, length(p.back_sss_radius), length(p.back_sss_depth)), backLevel);
    bend(state, in(p.bump));
    const Scattering even{lights, 1, 0, 0};
    upper.diffuse =
        termOf(even.irradiance(state) + around, in.reflectance(p.diffuse_color) * in.within(p.diffuse_weight, 0, 1000));
    composeLayers(upper, screen, false);
    whole.diffuse = termOf(upper.result, kWhite);
    composeLayers(whole, screen, false);
    result = whole.result * in.reflectance(p.overall_color) + skinShine(state, p.shine, lights);
    return true;
}

}  // namespace

MATERIALS_SHADER(misss_fast_skin_phen, miColor, SkinPhen, skinPhen)

}  // namespace materials
