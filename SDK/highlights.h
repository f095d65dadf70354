/* What all highlights have in common. */
#pragma once

#include "color.h"

namespace lumo {

/* Highlights that are seen in mirrors and through glass are scaled by their own factor; not above 0 there are none. */
inline miScalar highlightOnRay(miScalar highlight, miScalar secondaryScale, const miState* state) {
    if (state->type == miRAY_EYE) return highlight;
    return secondaryScale <= 0 ? 0 : highlight * secondaryScale;
}

inline miColor tinted(miScalar highlight, const miColor& color) { return highlight <= 0 ? kBlack : color * highlight; }

}  // namespace lumo
