/* Directions at right angles to another one. */
#pragma once

#include <cmath>

#include <shader.h>

namespace lumo {

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

}  // namespace lumo
