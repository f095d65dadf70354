/* The sea at a place: height, slopes, movement sideways and folding of all waves of a table, in one pass.
 *
 * Source: F. J. Gerstner's waves, as in J. Tessendorf, "Simulating Ocean Water", 2001: water that rests at (x, z) moves
 * to x - sum k/|k| a q sin(t), and up by sum a cos(t), t = k x - w time + phase. q, the peaking, makes crests sharp and
 * troughs flat; where the sum of q k a goes past 1 the surface folds over.
 */
#pragma once

#include "SDK/ocean/ocean_waves.h"

namespace lumo {

/* Half axes, m, of what a pixel sees of the plane. A wave counts by how much of it is left after a blur with a bell of
 * this deviation; zero sees everything sharp. */
struct OceanFootprint {
    miScalar alongX = 0, alongZ = 0, acrossX = 0, acrossZ = 0;
};

struct OceanPoint {
    miScalar height = 0;             /* m */
    miScalar slopeX = 0, slopeZ = 0; /* of the height */
    miScalar moveX = 0, moveZ = 0;   /* sideways, m */
    miScalar stretch = 1;            /* area of the surface over that at rest: below 0 it has folded over */
    OceanWaves::Slopes hidden;       /* variances of what the footprint left out */
};

/* Of the water that rests at (x, z), m: its height and where it goes; slopes are those over the place at rest. */
OceanPoint oceanParticle(const OceanWaves& waves, double x, double z, const OceanFootprint& footprint);

/* What is seen at the place (x, z): the surface as a height over the plane, with the exact slopes of that. Waves that
 * fold over stay as steep as they may be. `particle`, if given, is what oceanParticle says of (x, z). */
OceanPoint oceanSurface(const OceanWaves& waves, double x, double z, const OceanFootprint& footprint,
                        OceanPoint* particle = nullptr);

/* Mean of max(0, v) for values v that are spread around `mean` by the normal distribution. */
miScalar meanAbove(miScalar mean, miScalar deviation);

}  // namespace lumo
