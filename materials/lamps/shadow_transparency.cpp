/* mib_shadow_transparency: light through a surface, for the lights that are let through. */
#include "lights/light_list.h"
#include "module/export.h"

#include <algorithm>

namespace materials {

namespace {

struct ShadowTransparency {
    miColor color, transp;
    miInteger mode;
    LightArray lights;
};

bool shadowTransparency(miColor& result, miState* state, ShadowTransparency& p) {
    const Parameters in(state);
    const LightList lights(state, p.mode, p.lights);
    const bool isListed = std::find(lights.begin(), lights.end(), state->light_instance) != lights.end();
    /* A scene that names no lights means all of them. */
    const bool namesNone = in(p.mode) == 0 && lights.begin() == lights.end();
    const miColor through = isListed || namesNone ? in.reflectance(p.transp) * clamped(in(p.color).a, 0, 1) : kBlack;
    const auto filter = [&] { result = {result.r * through.r, result.g * through.g, result.b * through.b, result.a}; };
    if (state->options->shadow == 's' && !isBlack(through) && !mi_trace_shadow_seg(&result, state)) return false;
    filter();
    return !isBlack(result);
}

}  // namespace

MATERIALS_SHADER(mib_shadow_transparency, miColor, ShadowTransparency, shadowTransparency)

}  // namespace materials
