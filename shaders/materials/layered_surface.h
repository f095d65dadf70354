/* What nodes have in common whose result is a surface made of other shaders' colors. */
#pragma once

#include "SDK/passes/color_operation.h"
#include "SDK/surface/surface_shadow.h"

namespace lumo {

/* A surface without light of its own. The opacity is what its transparency leaves. */
inline SurfaceShaderReturnType surfaceOf(const miColor& color, const miColor& transparency, const miColor& glow) {
    SurfaceShaderReturnType surface{};
    surface.color = color;
    surface.glowColor = {glow.r, glow.g, glow.b, 0};
    surface.transparency = transparency;
    surface.opacity = {1 - transparency.r, 1 - transparency.g, 1 - transparency.b, 0};
    surface.matteOpacity = surface.opacity;
    return surface;
}

enum MatteMode : miInteger { kMatteHole = 0, kMatteSolid = 1, kMatteGain = 2 };

/* The matte of a surface that gives the picture this alpha: a hole, `opacity` instead, or times `opacity`. */
inline miColor matteFrom(miInteger mode, miScalar opacity, miScalar alpha) {
    if (mode == kMatteHole) return {kBlackHole, kBlackHole, kBlackHole, 0};
    const miScalar matte = mode == kMatteSolid ? opacity : alpha * opacity;
    return {matte, matte, matte, 0};
}

/* The shadow of a surface of this transparency, the same at all angles. */
inline void castPlainShadow(miState* state, miColor* light, Vexabase& record, const miColor& transparency) {
    struct Source {
        const miColor& color;
        miColor transparency() const { return color; }
        static miScalar shadowAttenuation() { return 0; }
        static miScalar transparencyDepth() { return 0; }
    };
    passShadow(light, state, record, Source{transparency}, true);
}

}  // namespace lumo
