/* Layers of light below and on a surface, and how they become one color. */
#pragma once

#include "module/term.h"
#include "rays/gathered_light.h"
#include "subsurface/scatter.h"

namespace materials {

/* What misss_fast_shader_x tells of itself. */
struct SubsurfaceOutputs {
    miColor result;
    Term diffuse;
    miColor specular;
    Term front, back;
};

static_assert(sizeof(SubsurfaceOutputs) == 11 * 16);

/*
 * Puts the layers together: their sum, or by `screen` 1 - (1 - a) (1 - b) (1 - c) of colors cut off at 0 and 1, which
 * stays below 1. What that takes off goes off the levels, so that the results still add up to it.
 * Without diffuse light and highlights where only the scattered light is wanted.
 */
void composeLayers(SubsurfaceOutputs& out, bool screen, bool scatteredOnly);

/* A radius of scattering in internal space. */
inline miScalar sceneLength(miScalar length, miScalar conversion) {
    return conversion > 0 ? length / conversion : length;
}

/* The color that a shader with this tag answers; black without one. */
miColor colorOf(miState* state, miTag shader);

/* Calls a bump shader, which leaves its normal in the state. */
void bend(miState* state, miTag bump);

}  // namespace materials
