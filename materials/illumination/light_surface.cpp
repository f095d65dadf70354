/* mia_light_surface: surfaces that are seen as lamps, and may light things otherwise than they look. */
#include "lights/light_list.h"
#include "module/export.h"

namespace materials {

namespace {

struct LightSurface {
    miColor color;
    miScalar intensity, fg_contrib, refl_contrib;
    LightArray lights;
};

/* The color of a light as if a ray had met it. */
miColor colorOf(miState* state, miTag light) {
    miTag shader = miNULLTAG;
    miColor color = kBlack;
    if (!mi_query(miQ_LIGHT_SHADER, state, light, &shader) || shader == miNULLTAG) return kBlack;
    const miTag before = state->light_instance;
    state->light_instance = light;
    if (!mi_call_shader_x(&color, miSHADER_LIGHT, state, shader, nullptr)) color = kBlack;
    state->light_instance = before;
    return finite(color);
}

bool lightSurface(miColor& result, miState* state, LightSurface& p) {
    if (!shadesSurface(state)) return false;
    const Parameters in(state);
    miScalar share = in.within(p.intensity, 0, miHUGE_SCALAR);
    if (state->type == miRAY_FINALGATHER) share *= in.within(p.fg_contrib, 0, miHUGE_SCALAR);
    if (state->type == miRAY_REFLECT) share *= in.within(p.refl_contrib, 0, miHUGE_SCALAR);
    miColor light = kBlack;
    bool hasLights = false;
    for (const miTag tag : LightList(state, p.lights)) {
        light += colorOf(state, tag);
        hasLights = true;
    }
    const miColor color = in.color(p.color);
    result = (hasLights ? color * light : color) * share;
    return true;
}

}  // namespace

MATERIALS_SHADER(mia_light_surface, miColor, LightSurface, lightSurface)

}  // namespace materials
