/* Surfaces with a diffuse, a glossy and a specular part, which reflect and let through. */
#pragma once

#include "lights/light_list.h"
#include "lobes/facets.h"

namespace materials {

struct DgsSurface {
    miColor diffuse = kBlack, glossy = kBlack, specular = kBlack; /* shares of light */
    miScalar shinyU = 0, shinyV = 0;                              /* exponents of the glossy lobe */
    miScalar transp = 0;                                          /* what goes through; the rest is mirrored */
    miScalar ior = 1;                                             /* 1 is a sheet */
    bool tracesDiffuse = false; /* one ray for the light around, in place of what is gathered */

    /* Of lights, of what is around and of what lies behind. Leaves the state as it was. */
    miColor shaded(miState* state, const LightList& lights) const;

    /* The glossy lobe around the state's normal. */
    Facets lobe(const miState* state) const;
};

}  // namespace materials
