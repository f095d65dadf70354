/* What every shading engine does before it calls a surface. */
#pragma once

#include "SDK/framework/vexabase.h"

namespace lumo {

/* Which rays an engine shades. */
enum class EngineRays { kAll, kEyeOnly };

/* Makes texture coordinates available and fills the record's footprint. `record` is the state's own. */
void prepareShading(miState* state, Vexabase& record, EngineRays rays);

/* A quick estimate for samples that hardly matter: distance from the camera, the larger half axis for all words. */
Footprint roughFootprint(miState* state, miScalar pixelSize);

/* For an eye ray of a pinhole (or orthographic) camera. `pixelSize` is a pixel's width at distance 1. */
Footprint primaryFootprint(miState* state, miScalar pixelSize);

/* For a ray that came by reflection or refraction: the pixel's cone has opened over the whole path. Curvature of the
 * surfaces on the way is not taken into account. */
Footprint secondaryFootprint(miState* state, miScalar pixelSize);

}  // namespace lumo
