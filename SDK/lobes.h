/* Directions around the one that a surface mirrors or refracts to. */
#pragma once

#include "lumo.h"

namespace lumo {

/* How rays are spread; kinds and widths are those of ReflectionSettings. */
struct Lobe {
    miInteger kind = kLobeCone;
    miScalar width[2] = {0, 0};
    miScalar blur = 0;                                                 /* not above 0: not spread */
    miVector tangent = {0, 0, 0}, normal = {0, 0, 0}, dir = {0, 0, 0}; /* of the facets, and the ray that meets them */
};

/* A point of the unit square becomes a direction around `center`. Unit lengths. */
miVector lobeDirection(const Lobe& lobe, const miVector& center, const double point[2]);

}  // namespace lumo
