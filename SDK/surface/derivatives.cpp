/* get_derivs: directions along the surface. */
#include "SDK/lumo.h"

#include "SDK/surface/lobes.h"

namespace lumo {
namespace {

bool isDirection(const miVector& v) {
    const miScalar length = mi_vector_norm(&v);
    return length > 0 && std::isfinite(length);
}

}  // namespace
}  // namespace lumo

miBoolean get_derivs(const miState* state, miVector* u, miVector* v) {
    if (const miVector* derivs = state->derivs) {
        *u = derivs[0];
        *v = derivs[1];
        mi_vector_normalize(u);
        mi_vector_normalize(v);
        // Parallel derivatives, as at a pole, tell one direction only.
        miVector across;
        mi_vector_prod(&across, u, v);
        if (lumo::isDirection(*u) && lumo::isDirection(*v) && mi_vector_norm(&across) > 1e-4f) return miTRUE;
    }
    lumo::tangentsOf(state->normal, *u, *v);
    return miFALSE;
}
