/* What every shading engine does before it calls a surface. */
#pragma once

#include "SDK/framework/vexabase.h"

namespace lumo {

/* Which rays an engine shades. */
enum class EngineRays { kAll, kEyeOnly };

/* Makes texture coordinates available and fills the record's footprint. `record` is the state's own. */
void prepareShading(miState* state, Vexabase& record, EngineRays rays);

/* Footprints are made where they stay: handed over they would be waited for.
 * A quick estimate for samples that hardly matter: distance from the camera, the larger half axis for all words. */
void roughFootprint(miState* state, miScalar pixelSize, Footprint& footprint);

/* For an eye ray of a pinhole (or orthographic) camera. `pixelSize` is a pixel's width at distance 1. */
void primaryFootprint(miState* state, miScalar pixelSize, Footprint& footprint);

/* For a ray that came by reflection or refraction: the pixel's cone has opened over the whole path. Curvature of the
 * surfaces on the way is not taken into account. */
void secondaryFootprint(miState* state, miScalar pixelSize, Footprint& footprint);

}  // namespace lumo
