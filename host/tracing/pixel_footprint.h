// What a pixel covers of the texture on a surface.
#pragma once

#include "image/texture.h"
#include "mi/state.h"

namespace lumorender {

/// The change of the first texture coordinates over one pixel, from the way that the ray has come: the pixel gets wider
/// with it, by reflections and refractions as by straight rays. False where that says nothing: beside surfaces, on
/// those without texture coordinates, and for rays that no pixel sees.
bool pixelFootprint(Footprint& result, const miState* state);

}  // namespace lumorender
