/* How much of a surface a pixel covers. */
#pragma once

#include "shader.h"

namespace materials {

/* Length of the way from the eye, through mirrors and glass. */
miScalar wayFromEye(const miState* state);

/*
 * Width of a pixel at the hit, across the ray, in internal space. Mirrors count as flat. Rays that gather light count as
 * wider than anything.
 */
miScalar pixelWidth(const miState* state);

}  // namespace materials
