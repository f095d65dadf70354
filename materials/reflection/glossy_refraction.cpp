/* mib_glossy_refraction: adds what lies behind, clear or blurred, to another material. */
#include "lobes/fresnel.h"
#include "module/export.h"
#include "module/term.h"
#include "rays/hit_scope.h"
#include "rays/transmission.h"
#include "reflection/blur.h"

namespace materials {

namespace {

struct GlossyRefraction {
    miTag top_material, deep_material, back_material;
    miBoolean render_reverse_of_back_material;
    miColor refraction_color;
    miScalar max_distance, falloff, refraction_base_weight, refraction_edge_weight, edge_factor, ior;
    Blur blur;
};

miColor called(miState* state, miTag material) {
    AnyResult result;
    result.color()->a = 1;
    if (material != miNULLTAG) mi_call_shader_x(result.color(), miSHADER_MATERIAL, state, material, nullptr);
    return finite(*result.color());
}

/* Seen from inside the material of that side, if there is one; as it looks from outside, if that is wanted. */
miColor ownColor(miState* state, const Parameters& in, const GlossyRefraction& p) {
    const miTag back = in(p.back_material);
    if (!isInside(state) || back == miNULLTAG) return called(state, in(p.top_material));
    const HitScope hit(state);
    const bool turns = in.isOn(p.render_reverse_of_back_material);
    if (turns) {
        state->normal = -state->normal;
        state->normal_geom = -state->normal_geom;
        state->inv_normal = miFALSE;
        state->pri = nullptr;
    }
    const miColor color = called(state, back);
    if (turns) state->inv_normal = miTRUE;
    return color;
}

bool glossyRefraction(miColor& result, miState* state, GlossyRefraction& p) {
    if (!shadesSurface(state)) return false;
    const Parameters in(state);
    result = ownColor(state, in, p);
    const miVector normal = unit(state->normal, state->normal_geom);
    const miScalar cosine = clamped(std::fabs(dot(normal, state->dir)), 0, 1);
    const miColor level = in.reflectance(p.refraction_color) *
                          edgeWeight(cosine, in.within(p.refraction_base_weight, 0, 1000),
                                     in.within(p.refraction_edge_weight, 0, 1000), in.within(p.edge_factor, 0, 1e6f));
    if (isBlack(level)) return true;
    Transmission rays;
    const GlossyLobe lobe(state, in, p.blur, normal);
    const miScalar ior = in(p.ior);
    rays.limits.samples = lobe.samples;
    rays.ior = ior > 0 ? clamped(ior, .01f, 100) : 1;
    rays.isSheet = rays.ior == 1;
    rays.reach.distance = in.within(p.max_distance, 0, miHUGE_SCALAR);
    rays.reach.exponent = in.within(p.falloff, 0, 100);
    const miTag deep = in(p.deep_material);
    if (rays.reach.isLimited() && deep != miNULLTAG) rays.reach.beyond = called(state, deep);
    const miColor seen = rays.traced(state, normal, lobe.get(), level).color * level;
    result = {result.r + seen.r, result.g + seen.g, result.b + seen.b, result.a};
    return true;
}

}  // namespace

MATERIALS_SHADER(mib_glossy_refraction, miColor, GlossyRefraction, glossyRefraction)

}  // namespace materials
