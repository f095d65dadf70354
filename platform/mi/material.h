/* The material record: the shaders of a surface. */
#pragma once

#include "types.h"

/* Each tag names a function, or the first of a list of functions; 0 = none. */
typedef struct miMaterial {
    miBoolean opaque; /* shadow rays need no shader call to know the surface blocks them */
    miTag shader;
    miTag displace;
    miTag shadow;
    miTag volume;
    miTag environment;
    miTag contour;
    miTag photon;
    miTag photonvol;
    miTag lightmap;
    miTag spare;
    miUint2 builtin_index;
    miUint2 spare1;
    miTag bsdf;
    miUint spare2;
} miMaterial;
