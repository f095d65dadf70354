/* Indirect light. */
#pragma once

#include "math/color.h"

namespace materials {

/* Gathered light on the front of the surface, as a white matte one sends it back; black where none is gathered. */
inline miColor gatheredLight(miState* state) {
    miColor color = kBlack;
    return mi_compute_avg_radiance(&color, state, 'f', nullptr) ? color : kBlack;
}

}  // namespace materials
