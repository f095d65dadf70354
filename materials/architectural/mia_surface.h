/* Normals and lobes of an architectural material at a hit. */
#pragma once

#include "architectural/mia_parameters.h"

#include "lobes/facets.h"

#include <optional>

namespace materials {

struct MiaSurface {
    explicit MiaSurface(const MiaCall& call);

    miVector view;    /* towards the viewer */
    miVector smooth;  /* with the bump that everything has */
    miVector bumped;  /* of highlights, reflection and refraction */
    miVector diffuse; /* of diffuse light */
    miVector base;    /* of the second layer of reflection */

    miScalar cosine() const { return clamped(std::fabs(dot(bumped, view)), 0, 1); }
};

/* The lobe of a gloss around a normal, with the material's anisotropy. */
Facets facetsOf(const MiaCall& call, const miVector& normal, miScalar gloss);

}  // namespace materials
