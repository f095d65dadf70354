/* How an architectural material shares the light out. */
#pragma once

#include "architectural/mia_surface.h"

namespace materials {

/*
 * Reflection takes its share first, then transparency, and diffuse light gets what is left: for parameters in their
 * ranges no channel gives back more than comes in.
 */
struct MiaLevels {
    MiaLevels(const MiaCall& call, const MiaSurface& surface);

    miColor diffuse;
    miColor reflection;     /* of the layer on top */
    miColor baseReflection; /* of the second layer */
    miColor refraction;
    miColor translucency;
    miScalar highlights; /* times the levels of reflection */
};

/* What of the transparency is not translucency. */
miScalar clearShare(const MiaCall& call);

}  // namespace materials
