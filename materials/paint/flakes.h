/* Metal flakes in paint. */
#pragma once

#include "math/vector.h"

namespace materials {

/*
 * Flakes as cells of a noise in object space. Each is a small flat mirror whose normal is the surface's, tilted by a
 * random slope in the tangent plane.
 */
struct Flakes {
    miScalar density;  /* share of the surface that they cover, 0 to 1 */
    miScalar strength; /* largest slope of their normals */
    miScalar scale;    /* their size in object space */

    /* What the surface is like at the hit. */
    struct Look {
        miVector normal; /* of the flake, or of the surface */
        miScalar share;  /* of the place that is flakes: 0 or 1 near by */
        miScalar slope;  /* mean square slope per axis by which normals stray from `normal` */
    };

    /*
     * The flake at the hit. Where a pixel holds many of them, their mean takes their place: from one flake in a pixel on
     * the share goes to the density and the slope to that of all, which is reached at four.
     */
    Look at(const miState* state, const miVector& normal) const;

    /* The flake itself, without regard to pixels; `place` in cells. */
    Look flakeAt(const miVector& place, const miVector& normal) const;

    /* Mean square slope per axis of all flakes: that of a disk of the radius `strength`. */
    miScalar meanSlope() const { return strength * strength / 4; }
};

/*
 * Highlight of flakes in the mirror direction of light: (mirrored view . light) ^ exponent for one flake; of many, the
 * mean of that over their slopes.
 */
miScalar flakeHighlight(const Flakes::Look& look, miScalar exponent, const miVector& view, const miVector& light);

}  // namespace materials
