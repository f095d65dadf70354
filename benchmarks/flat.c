/* bench_flat: a material that costs nothing, so that what is measured is the host. */
#include "shader.h"

DLLEXPORT int bench_flat_version(void) { return 1; }

DLLEXPORT miBoolean bench_flat(miColor* result, miState* state, void* parameters) {
    (void)state;
    (void)parameters;
    result->r = result->g = result->b = result->a = 1.0f;
    return miTRUE;
}
