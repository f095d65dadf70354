/* mia_material, mia_material_x: the architectural material. docs/materials.md is its manual. */
#include "architectural/mia_light.h"
#include "architectural/mia_photon.h"
#include "architectural/mia_reach.h"

#include "module/export.h"
#include "rays/hit_scope.h"
#include "rays/reflections.h"
#include "rays/transmission.h"

namespace materials {

namespace {

/* What a layer with this normal and gloss mirrors. */
Term mirrorLayer(const MiaCall& call, const miColor& level, const miVector& normal, miScalar gloss, int samples) {
    const auto& [state, p, x, in] = call;
    if (isBlack(level)) return {kBlack, kBlack, kBlack};
    Reflections rays;
    rays.limits = {gloss < 1 ? samples : 0, in(p.refl_depth), in.share(p.refl_cutoff)};
    rays.reach = reachOf(in, p.refl_falloff_on, p.refl_falloff_dist, p.refl_falloff_color_on, p.refl_falloff_color);
    rays.singleEnvironment = in.isOn(p.single_env_sample);
    rays.gloss = gloss;
    const Facets lobe = facetsOf(call, normal, gloss);
    return termOf(rays.traced(state, normal, rays.limits.samples > 0 ? &lobe : nullptr, level), level);
}

Term reflection(const MiaCall& call, const MiaSurface& surface, const MiaLevels& levels, const MiaIndirect& around) {
    const auto& [state, p, x, in] = call;
    if (in.isOn(p.refl_hl_only)) return termOf(around.occluded, levels.reflection + levels.baseReflection);
    const Term top = mirrorLayer(call, levels.reflection, surface.bumped, in.share(p.refl_gloss),
                                 in.count(p.refl_gloss_samples, 0, kMostRays));
    if (isBlack(levels.baseReflection)) return top;
    return termOf(top, mirrorLayer(call, levels.baseReflection, surface.base, in.share(x->refl_base_gloss),
                                   in.count(x->refl_base_gloss_samples, 0, kMostRays)));
}

Term refraction(const MiaCall& call, const MiaSurface& surface, const MiaLevels& levels, miScalar& alpha) {
    const auto& [state, p, x, in] = call;
    if (isBlack(levels.refraction)) return {kBlack, kBlack, kBlack};
    const miScalar gloss = in.share(p.refr_gloss);
    Transmission rays;
    rays.limits = {gloss < 1 ? in.count(p.refr_gloss_samples, 0, kMostRays) : 0, in(p.refr_depth),
                   in.share(p.refr_cutoff)};
    rays.reach = insideReach(call);
    rays.isSheet = in.isOn(p.thin_walled);
    rays.ior = in.within(p.refr_ior, .01f, 100);
    const Facets lobe = facetsOf(call, surface.bumped, gloss);
    const auto seen = rays.traced(state, surface.bumped, rays.limits.samples > 0 ? &lobe : nullptr, levels.refraction);
    alpha = seen.alpha;
    return termOf(seen.color, levels.refraction);
}

/* The surface without its cutout. */
void shadeSurface(const MiaCall& call, MiaOutputs& out) {
    const auto& [state, p, x, in] = call;
    const HitScope hit(state);
    const MiaSurface surface(call);
    state->normal = surface.bumped;
    state->dot_nd = dot(state->normal, state->dir);
    const MiaLevels levels(call, surface);
    const MiaDirect direct = directLight(call, surface, levels);
    const MiaIndirect around = indirectLight(call, surface, levels);
    const miScalar highlights = levels.highlights;

    out.diffuse = termOf(direct.diffuse, levels.diffuse);
    out.spec = termOf(direct.highlights, levels.reflection * highlights);
    if (!isBlack(levels.baseReflection))
        out.spec = termOf(out.spec, termOf(direct.baseHighlights, levels.baseReflection * highlights));
    out.tran = termOf(direct.back + around.back, levels.translucency);
    out.indirect_raw = around.raw;
    out.ao_raw = around.openness;
    out.indirect_post_ao = around.occluded;
    out.indirect_result = around.occluded * levels.diffuse;
    out.refl = reflection(call, surface, levels, around);
    miScalar behind = 1;
    out.refr = refraction(call, surface, levels, behind);
    out.add_result = in.color(p.additional_color) * 1;
    out.result = out.diffuse.result + out.spec.result + out.refl.result + out.refr.result + out.tran.result +
                 out.indirect_result + out.add_result;
    if (in.isOn(p.propagate_alpha)) out.result.a = 1 - std::min(1.0f, largest(levels.refraction)) * (1 - behind);
}

/* What lies behind a surface that is partly cut out, as if it were not there. */
miColor seenThroughCutout(miState* state) {
    const HitScope hit(state);
    miColor color = {0, 0, 0, 0};
    state->refraction_volume = state->volume;
    if (!mi_trace_transparent(&color, state)) mi_trace_environment(&color, state, &state->dir);
    return color;
}

bool isCutOut(const MiaCall& call) {
    const auto& [state, p, x, in] = call;
    if (!(in(p.cutout_opacity) > 0)) return true;
    return in.isOn(p.backface_cull) && state->type == miRAY_EYE && isInside(state);
}

bool shade(const MiaCall& call, MiaOutputs& out) {
    const auto& [state, p, x, in] = call;
    if (isCutOut(call)) {
        out.result = {0, 0, 0, 0};
        const bool seen = mi_trace_continue(&out.result, state);
        out.opacity_raw = out.opacity_result = out.result;
        return seen;
    }
    out.opacity = in.share(p.cutout_opacity);
    shadeSurface(call, out);
    if (out.opacity == 1) return true;
    out.opacity_raw = seenThroughCutout(state);
    out.opacity_result = out.opacity_raw * (1 - out.opacity);
    const miScalar alpha = mix(out.opacity_raw.a, out.result.a, out.opacity);
    out.result = out.result * out.opacity + out.opacity_result;
    out.result.a = alpha;
    return true;
}

/* Light on its way through. Where shadows have segments, that which ends here was inside if the light leaves here. */
bool letLightThrough(const MiaCall& call, miColor& light) {
    const auto& [state, p, x, in] = call;
    const bool hasSegments = state->options->shadow == 's';
    if (hasSegments && !mi_trace_shadow_seg(&light, state)) return false;
    const miScalar opacity = in.share(p.cutout_opacity);
    miColor clear = kBlack;
    if (!in.isOn(p.do_refractive_caustics))
        clear = in.reflectance(p.refr_color) * (in.share(p.transparency) * clearShare(call));
    const bool wasInside = hasSegments && !in.isOn(p.thin_walled) && dot(state->normal_geom, state->dir) < 0;
    if (wasInside) clear = clear * insideReach(call).transmission(state->dist);
    light = light * (kWhite * (1 - opacity) + clear * opacity);
    return !isBlack(light);
}

/* Surface, shadow and photon shader. */
bool call(const MiaCall& call, miColor& result, MiaOutputs* outputs) {
    if (call.state->type == miRAY_SHADOW) return letLightThrough(call, result);
    if (miRAY_PHOTON(call.state->type)) return scatterPhoton(call, result);
    if (!shadesSurface(call.state)) return false;
    MiaOutputs own{};
    const bool seen = shade(call, own);
    if (outputs)
        *outputs = own;
    else
        result = own.result;
    return seen;
}

bool mia(miColor& result, miState* state, MiaMaterial& p) { return call({state, p, nullptr}, result, nullptr); }

bool miaX(MiaOutputs& outputs, miState* state, MiaMaterialX& p) {
    const MiaCall x(state, p, &p);
    return call(x, outputs.result, x.in.isOn(p.multiple_outputs) ? &outputs : nullptr);
}

}  // namespace

MATERIALS_SHADER(mia_material, miColor, MiaMaterial, mia)
MATERIALS_SHADER(mia_material_x, MiaOutputs, MiaMaterialX, miaX)

}  // namespace materials
