/* Reflection rays. */
#pragma once

#include "lobes/facets.h"
#include "rays/reach.h"
#include "rays/ray_points.h"

namespace materials {

/* What decides whether rays are traced, and how many. */
struct RayLimits {
    int samples = 0;     /* of a lobe; 0: one ray in its middle */
    int depth = 0;       /* levels of this kind of ray; 0 or less: those of the render options */
    miScalar cutoff = 0; /* rays that count for less than this share of the pixel are not traced */
};

/*
 * What a surface with this lobe mirrors.
 *
 * lobe     of facets; null for a smooth mirror
 * level    the color that the result will be multiplied by: decides how much the rays count
 * The environment stands in for rays that are not traced, because of their number of levels or of how little they count,
 * and for what lies beyond the reach unless that has a color of its own.
 */
struct Reflections {
    RayLimits limits;
    Reach reach;
    bool singleEnvironment = false;    /* one look at the environment serves all rays of the lobe that meet nothing */
    miScalar gloss = 1;                /* which that look is told, for surroundings that blur */
    miTag environment = miNULLTAG;     /* a shader in place of the surroundings of the ray */
    miColor environmentColor = kWhite; /* times what it answers */

    miColor traced(miState* state, const miVector& normal, const Facets* lobe, const miColor& level) const;
};

/* Kept on the side of the true surface on which the ray came. */
miVector aboveSurface(const miState* state, const miVector& dir);

}  // namespace materials
