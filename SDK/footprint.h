/* How large a piece of surface one sample stands for, so that textures can be filtered. */
#pragma once

#include "vexabase.h"

namespace lumo {

/* A quick estimate for samples that hardly matter: distance from the camera, the larger half axis for all words. */
Footprint roughFootprint(miState* state, miScalar pixelSize);

/* For an eye ray of a pinhole (or orthographic) camera. `pixelSize` is a pixel's width at distance 1. */
Footprint primaryFootprint(miState* state, miScalar pixelSize);

/* For a ray that came by reflection or refraction: the pixel's cone has opened over the whole path. Curvature of the
 * surfaces on the way is not taken into account. */
Footprint secondaryFootprint(miState* state, miScalar pixelSize);

}  // namespace lumo
