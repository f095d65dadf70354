/* mib_volume: fog that hides what is far; transmat: the hull of a volume, which is not seen. */
#include "math/color.h"
#include "module/export.h"
#include "module/parameters.h"

namespace materials {

namespace {

struct Fog {
    miColor color;
    miScalar max;
    miBoolean lightrays;
};

struct Nothing {};

/* Linear up to `max`, where it is full; of even density all along without it. The color's alpha is the most of it. */
bool fog(miColor& result, miState* state, Fog& p) {
    const Parameters in(state);
    const bool isLight = state->type == miRAY_LIGHT || state->type == miRAY_SHADOW;
    if (isLight && !in.isOn(p.lightrays)) return true;
    const miScalar max = in.within(p.max, 0, miHUGE_SCALAR);
    const bool isEndless = !(state->dist > 0);
    const miScalar hidden = max > 0 && !isEndless ? clamped(static_cast<miScalar>(state->dist) / max, 0, 1) : 1;
    const miColor color = in.color(p.color);
    const miScalar share = hidden * clamped(color.a, 0, 1);
    const miScalar alpha = result.a;
    /* Light is only taken away: what fog sends to the eye is none of a lamp's. */
    result = isLight ? result * (1 - share) : mix(result, color, share);
    result.a = mix(alpha, 1, share);
    return true;
}

bool transparentHull(miColor& result, miState* state, Nothing&) {
    if (!shadesSurface(state)) return state->type == miRAY_SHADOW;
    return mi_trace_transparent(&result, state) != miFALSE;
}

}  // namespace

MATERIALS_SHADER(mib_volume, miColor, Fog, fog)
MATERIALS_SHADER(transmat, miColor, Nothing, transparentHull)

}  // namespace materials
