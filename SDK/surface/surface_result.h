/* What engines and nodes read from the result of a surface. */
#pragma once

#include "SDK/color/color.h"
#include "SDK/lumo.h"

namespace lumo {

/* What the surface gives to the alpha of the picture: its own matte and, where refracted rays saw in place of
 * compositing what lies behind, the alpha of that. The mark of a black hole is no opacity: the picture gets an alpha of
 * 0 there. */
inline miColor matteOf(const SurfaceShaderReturnType& surface) {
    if (surface.matteOpacity.r == kBlackHole) return kBlack;
    return surface.matteOpacity + (1 - surface.opacity - surface.transparency) * surface.term9.a;
}

}  // namespace lumo
