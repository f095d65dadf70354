// What a pixel covers of the texture on a surface.
#pragma once

#include "image/texture.h"
#include "mi/state.h"

namespace lumorender {

/// The change of the first texture coordinates over one pixel, from the way that the ray has come: the pixel gets wider
/// with it, by reflections and refractions as by straight rays. False where that says nothing: beside surfaces, on
/// those without texture coordinates, and for rays that no pixel sees.
bool pixelFootprint(Footprint& result, const miState* state);

/// From now on the running lens shader's rays have pixels that are turned by the matrix, too, up to the end of its own
/// ray. Without effect for states of other shaders: mirrors and refractions are followed without being told.
void turnFootprints(const miState* state, const miScalar* matrix);

/// Where the camera would see a point, in world space, if no lens shader had turned the state's ray. The point itself
/// where none did, or none said how.
miVector beforeLens(const miState* state, const miVector& point);

}  // namespace lumorender
