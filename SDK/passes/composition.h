/* How the terms of a surface become its result: what bc_construct and bc_composite do, for callers in the library. */
#pragma once

#include "SDK/color/color.h"
#include "SDK/framework/float4.h"
#include "SDK/lumo.h"
#include "binding/renderer.h"

namespace lumo {

struct CompositionMode {
    miUint perLight, perSample, mask;
};

/* Modes 0 to 5. */
inline constexpr CompositionMode kCompositionRules[] = {
    {1, 1, 0x74F},  // normal: light with shadows
    {1, 0, 0x797},  // light without shadows
    {1, 1, 0x020},  // the shadow ratio alone
    {0, 0, 0x001},  // ambient alone
    {1, 0, 0x617},  // no highlights, no mirrors, no shadows
    {1, 0, 0x180},  // highlights and mirrors alone, no shadows
};

/* Mode 6: what final gathering wants to see, where it asks. */
inline CompositionMode gatheringMode(miState* state) {
    miInteger gathering = 0;
    const bool inside = mi_query(miQ_FINALGATHER_STATE, state, miNULLTAG, &gathering) && gathering != 0;
    constexpr miUint always = kTermIndirect | kTermReflection | kTermRefraction;
    return inside ? CompositionMode{1, 1, 0x44B | always} : CompositionMode{0, 1, always};
}

inline CompositionMode compositionModeOf(miInteger mode, miState* state) {
    if (mode == 6) return gatheringMode(state);
    return kCompositionRules[mode >= 0 && mode < 6 ? mode : 0];
}

inline void setRgb(miColor& target, const miColor& value) { target = {value.r, value.g, value.b, target.a}; }
inline void setRgb(miColor& target, miScalar value) { target = {value, value, value, target.a}; }

/* True when the surface cuts a hole, and nothing else is to be written. */
inline bool writeMatte(SurfaceShaderReturnType& result, miInteger matteMode, miScalar opacity) {
    if (matteMode == 0)
        setRgb(result.matteOpacity, kBlackHole);
    else if (matteMode == 1)
        setRgb(result.matteOpacity, opacity);
    else if (matteMode == 2)
        setRgb(result.matteOpacity, (1 - result.transparency) * opacity);
    return matteMode == 0;
}

/* Everything that lies on the surface and is seen less the more transparent it is; then what shines by itself. */
inline miColor bodyColor(miUint mask, const miColor& ambient, const miColor& incandescence, const miColor& indirect,
                         const miColor* base, const miColor* scatter, const miColor& transparency) {
    miColor color = mask & kTermDirect ? base[0] : mask & kTermDirectNoShadow ? base[1] : kBlack;
    const miScalar alpha = color.a;
    if (mask & kTermIndirect) color = color + indirect;
    if (scatter && (mask & kTermScatter)) color = color + *scatter;
    if (mask & kTermAmbient) color = color + ambient;
    color = color * (1 - transparency);
    if (mask & kTermIncandescence) color = color + incandescence;
    color.a = alpha;
    return color;
}

/* What shines from the surface adds to the color and glows by its own factor. */
inline void addShine(miColor& color, miColor& glow, const miColor& shine, miScalar glowScale) {
    setRgb(color, color + shine);
    setRgb(glow, glow + shine * glowScale);
}

inline CompositionState compositionFor(miInteger mode, miState* state) {
    const CompositionMode values = compositionModeOf(mode, state);
    return {mode, values.perLight, values.perSample, values.mask};
}

/* The parameters are those of bc_composite. Inlined, so that what a material does not have costs nothing. */
[[gnu::always_inline]] inline void composite(const CompositionState* composition, SurfaceShaderReturnType* result,
                                             const miColor* ambient, const miColor* incandescence,
                                             const miColor* indirect, const miColor* base, miScalar scalar,
                                             const miColor* specular, const miColor* reflection,
                                             const miColor* refraction, const miColor* scatter,
                                             const miColor* transparency, miScalar glowScale,
                                             miScalar glowSpecularScale, miBoolean hide, miInteger matteMode,
                                             miScalar matteOpacity) {
    const miUint mask = composition->mask;
    SurfaceShaderReturnType& out = *result;

    // The shadow mode gives its only value in place of the matte.
    if (composition->mode == 2) {
        setRgb(out.matteOpacity, scalar);
        return;
    }
    if (writeMatte(out, matteMode, matteOpacity)) return;

    // Put together in registers: the result may lie anywhere, and its words would go there and back.
    miColor color = bodyColor(mask, *ambient, *incandescence, *indirect, base, scatter, *transparency);
    miColor glow = color * glowScale;
    if (specular && (mask & (kTermSpecular | kTermSpecularNoShadow)))
        addShine(color, glow, specular[mask & kTermSpecular ? 0 : 1], glowSpecularScale);
    if (reflection && (mask & kTermReflection)) addShine(color, glow, *reflection, glowSpecularScale);

    // Hiding is for the eye only: the glow has been taken already. Refraction has no glow of its own.
    if (hide)
        setRgb(color, 0);
    else if (mask & kTermRefraction)
        setRgb(color, color + *refraction);
    out.color = color;
    setRgb(out.glowColor, glow);

    // Values that lie in registers go there from them; by way of memory, as a color, they would be waited for.
    const auto record = [mask](miUint bit, miColor& term, const miColor* value) {
        if (value && (mask & bit)) store4(&term.r, Float4{value->r, value->g, value->b, value->a});
    };
    record(kTermAmbient, out.term0, ambient);
    record(kTermIncandescence, out.term1, incandescence);
    record(kTermIndirect, out.term2, indirect);
    record(kTermDirect, out.term3, base);
    record(kTermDirectNoShadow, out.term4, base + 1);
    if (mask & kTermShadowRatio) setRgb(out.term5, scalar);
    record(kTermSpecular, out.term6, specular);
    // The first color here too, although the second one was added above: readers of the record rely on it.
    record(kTermSpecularNoShadow, out.term7, specular);
    record(kTermReflection, out.term8, reflection);
    record(kTermRefraction, out.term9, refraction);
    record(kTermScatter, out.term10, scatter);
    setRgb(out.opacity, 1 - *transparency);
}

}  // namespace lumo
