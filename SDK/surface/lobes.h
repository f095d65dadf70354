/* Highlights, and the directions around the one that a surface mirrors or refracts to. */
#pragma once

#include <cmath>

#include "SDK/color/color.h"
#include "SDK/lumo.h"

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

/* Two unit vectors at right angles to each other and to `direction`; the x and y axes for what is no direction. */
inline void tangentsOf(const miVector& direction, miVector& u, miVector& v) {
    const miVector axis = std::fabs(direction.x) < 0.5f ? miVector{1, 0, 0} : miVector{0, 1, 0};
    mi_vector_prod(&u, &axis, &direction);
    const miScalar length = mi_vector_norm(&u);
    if (!(length > 0) || !std::isfinite(length)) {
        u = {1, 0, 0};
        v = {0, 1, 0};
        return;
    }
    mi_vector_div(&u, length);
    mi_vector_prod(&v, &direction, &u);
    mi_vector_normalize(&v);
}

/* Highlights that are seen in mirrors and through glass are scaled by their own factor; not above 0 there are none. */
inline miScalar highlightOnRay(miScalar highlight, miScalar secondaryScale, const miState* state) {
    if (state->type == miRAY_EYE) return highlight;
    return secondaryScale <= 0 ? 0 : highlight * secondaryScale;
}

inline miColor tinted(miScalar highlight, const miColor& color) { return highlight <= 0 ? kBlack : color * highlight; }

}  // namespace lumo
