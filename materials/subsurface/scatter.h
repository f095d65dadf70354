/* Light that comes out of a surface near where it went in. */
#pragma once

#include "lights/light_list.h"

namespace materials {

/*
 * Where light comes from below the surface: the object's own surface around the hit, found by probe rays and lit there
 * and then. Lengths are in internal space.
 */
struct Scattering {
    const LightList& lights;
    int samples;      /* as in the parameter: the number of probes is a quarter of it */
    miScalar falloff; /* a place at distance r counts (1 - r / radius) ^ falloff */
    miScalar bias;    /* -1 to 1: below 0 light from the viewer's side counts more, above 0 less */

    /* From the front: the mean of the light on the surface within the radius, as far as it faces the same way. Even light comes back as it is. */
    miColor front(miState* state, miScalar radius) const;

    /*
     * From the back: the light on the surface that lies behind, within the radius around the normal. It fades with the
     * thickness, and is gone at `depth`.
     */
    miColor back(miState* state, miScalar radius, miScalar depth) const;

    /* Of all lights on the surface as it is in the state. */
    miColor irradiance(miState* state) const;

private:
    int probes(const miState* state) const;
};

/*
 * Distance, in radii, for a random number from 0 to below 1: distributed as (1 - x) ^ falloff over the disk, with a
 * falloff from 0 on.
 */
miScalar scatterDistance(miScalar random, miScalar falloff);

}  // namespace materials
