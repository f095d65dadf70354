/* mib_glossy_reflection: adds a reflection, clear or blurred, to another material. */
#include "lobes/fresnel.h"
#include "module/export.h"
#include "module/parameters.h"
#include "module/term.h"
#include "rays/reflections.h"
#include "reflection/blur.h"

namespace materials {

namespace {

struct GlossyReflection {
    miTag base_material;
    miColor reflection_color;
    miScalar max_distance, falloff;
    miColor environment_color;
    miScalar reflection_base_weight, reflection_edge_weight, edge_factor;
    miTag environment;
    miBoolean single_env_sample;
    Blur blur;
};

bool glossyReflection(miColor& result, miState* state, GlossyReflection& p) {
    if (!shadesSurface(state)) return false;
    const Parameters in(state);
    AnyResult base;
    base.color()->a = 1;
    const miTag material = in(p.base_material);
    if (material != miNULLTAG) mi_call_shader_x(base.color(), miSHADER_MATERIAL, state, material, nullptr);
    result = *base.color();

    const miVector normal = unit(state->normal, state->normal_geom);
    const miScalar cosine = clamped(std::fabs(dot(normal, state->dir)), 0, 1);
    const miColor level = in.reflectance(p.reflection_color) *
                          edgeWeight(cosine, in.within(p.reflection_base_weight, 0, 1000),
                                     in.within(p.reflection_edge_weight, 0, 1000), in.within(p.edge_factor, 0, 1e6f));
    if (isBlack(level)) return true;
    Reflections rays;
    const GlossyLobe lobe(state, in, p.blur, normal);
    rays.limits.samples = lobe.samples;
    rays.reach.distance = in.within(p.max_distance, 0, miHUGE_SCALAR);
    rays.reach.exponent = in.within(p.falloff, 0, 100);
    rays.singleEnvironment = in.isOn(p.single_env_sample);
    rays.environment = in(p.environment);
    rays.environmentColor = in.color(p.environment_color);
    const miColor seen = rays.traced(state, normal, lobe.get(), level) * level;
    result = {result.r + seen.r, result.g + seen.g, result.b + seen.b, result.a};
    return true;
}

}  // namespace

MATERIALS_SHADER(mib_glossy_reflection, miColor, GlossyReflection, glossyReflection)

}  // namespace materials
