/* mib_glossy_reflection: adds a reflection, clear or blurred, to another material. */
#include "lobes/fresnel.h"
#include "module/export.h"
#include "module/parameters.h"
#include "module/term.h"
#include "rays/reflections.h"

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
    miInteger samples;
    miScalar u_spread, v_spread;
    miVector u_axis, v_axis;
};

/* The lobe's axes: those given, else those of the surface's derivatives. */
Frame frameOf(const miState* state, const Parameters& in, const GlossyReflection& p, const miVector& normal) {
    const miVector u = in(p.u_axis), v = in(p.v_axis);
    if (isFinite(u) && dot(u, u) > 0) return frameAround(normal, u);
    if (isFinite(v) && dot(v, v) > 0) return frameAround(normal, cross(v, normal));
    return state->derivs ? frameAround(normal, state->derivs[0]) : frameAround(normal);
}

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
    const miScalar u = in.share(p.u_spread), v = in.share(p.v_spread);
    rays.limits = {u > 0 || v > 0 ? in.count(p.samples, 0, kMostRays) : 0, 0, 0};
    rays.reach.distance = in.within(p.max_distance, 0, miHUGE_SCALAR);
    rays.reach.exponent = in.within(p.falloff, 0, 100);
    rays.singleEnvironment = in.isOn(p.single_env_sample);
    rays.environment = in(p.environment);
    rays.environmentColor = in.color(p.environment_color);
    const Facets lobe(frameOf(state, in, p, normal), std::max(u, 1e-3f), std::max(v, 1e-3f));
    const miColor seen = rays.traced(state, normal, rays.limits.samples > 0 ? &lobe : nullptr, level) * level;
    result = {result.r + seen.r, result.g + seen.g, result.b + seen.b, result.a};
    return true;
}

}  // namespace

MATERIALS_SHADER(mib_glossy_reflection, miColor, GlossyReflection, glossyReflection)

}  // namespace materials
