/* Rays through surfaces. */
#pragma once

#include "rays/reflections.h"

namespace materials {

/*
 * What is seen through a surface with this lobe.
 *
 * A solid bends rays; where it reflects them totally, the ray goes on inside and brings what it meets there. A sheet lets
 * them go straight on, spread by the lobe. The reach is that of rays inside the solid.
 */
struct Transmission {
    RayLimits limits;
    Reach reach;
    bool isSheet = false;
    miScalar ior = 1; /* of the solid, above 0 */

    struct Seen {
        miColor color;
        miScalar alpha;
    };

    /* lobe: null for a smooth surface; level: what the result will be multiplied by */
    Seen traced(miState* state, const miVector& normal, const Facets* lobe, const miColor& level) const;
};

/* Is the ray inside a solid, on its way out? */
inline bool isInside(const miState* state) { return state->inv_normal != miFALSE; }

/*
 * Snell's law. ratio: index of the medium that the ray is in by that of the one behind; the normal is on the ray's side.
 * False where the ray is totally reflected.
 */
bool refracted(miVector& result, const miVector& dir, const miVector& normal, miScalar ratio);

}  // namespace materials
