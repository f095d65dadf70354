/* misss_fast_shader, misss_fast_shader_x: diffuse light and light scattered below the surface, as layers. */
#include "module/export.h"
#include "rays/hit_scope.h"
#include "subsurface/layers.h"

namespace materials {

namespace {

struct FastShaderX {
    miTag lightmap, depthmap;
    miTag bump;
    miTag diffuse_illum;
    miColor diffuse_color;
    miTag specular_illum;
    miScalar diffuse_weight;
    miColor front_sss_color;
    miScalar front_sss_weight, front_sss_radius;
    miColor back_sss_color;
    miScalar back_sss_weight, back_sss_radius, back_sss_depth;
    miScalar scale_conversion;
    miBoolean screen_composit, output_sss_only;
    miScalar falloff;
    miInteger samples;
};

struct FastShader : FastShaderX {
    miTag fallback_shader;
};

bool shade(miState* state, const FastShaderX& p, SubsurfaceOutputs& out) {
    if (!shadesSurface(state)) return false;
    const Parameters in(state);
    const HitScope hit(state);
    const LightList lights(state);
    const Scattering scattering{lights, in(p.samples), in.within(p.falloff, 0, 1000), 0};
    const miScalar conversion = in(p.scale_conversion);
    const auto radius = [&](const miScalar& parameter) {
        return sceneLength(in.within(parameter, 0, miHUGE_SCALAR), conversion);
    };

    const miColor tint = in.reflectance(p.diffuse_color);
    const miColor frontLevel = tint * in.reflectance(p.front_sss_color) * in.within(p.front_sss_weight, 0, 1000);
    const miColor backLevel = tint * in.reflectance(p.back_sss_color) * in.within(p.back_sss_weight, 0, 1000);
    const miColor front = isBlack(frontLevel) ? kBlack : scattering.front(state, radius(p.front_sss_radius));
    const miColor back =
        isBlack(backLevel) ? kBlack : scattering.back(state, radius(p.back_sss_radius), radius(p.back_sss_depth));
    out.front = termOf(front, frontLevel);
    out.back = termOf(back, backLevel);

    const bool scatteredOnly = in.isOn(p.output_sss_only);
    out.diffuse = {kBlack, kBlack, kBlack};
    out.specular = kBlack;
    if (!scatteredOnly) {
        bend(state, in(p.bump));
        const miColor level = tint * in.within(p.diffuse_weight, 0, 1000);
        const miTag illumination = in(p.diffuse_illum);
        if (!isBlack(level))
            out.diffuse = termOf(illumination ? colorOf(state, illumination) : scattering.irradiance(state), level);
        out.specular = colorOf(state, in(p.specular_illum));
    }
    composeLayers(out, in.isOn(p.screen_composit), scatteredOnly);
    return true;
}

bool fastShader(miColor& result, miState* state, FastShader& p) {
    SubsurfaceOutputs out;
    if (!shade(state, p, out)) return false;
    result = out.result;
    return true;
}

bool fastShaderX(SubsurfaceOutputs& out, miState* state, FastShaderX& p) { return shade(state, p, out); }

}  // namespace

MATERIALS_SHADER(misss_fast_shader, miColor, FastShader, fastShader)
MATERIALS_SHADER(misss_fast_shader_x, SubsurfaceOutputs, FastShaderX, fastShaderX)

}  // namespace materials
