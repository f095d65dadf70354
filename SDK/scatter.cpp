/* compute_scatter, destroy_scatter: light that entered a surface elsewhere. Surfaces take part already; the light
 * itself is still to come, and so is whatever a cache will hold. */
#include "lumo.h"

#include "color.h"

miBoolean compute_scatter(miColor* result, miState*, const ScatterSettings*, ScatterCache* const*)
{
    *result = lumo::kBlack;
    return miFALSE;
}

void destroy_scatter(ScatterCache*) {}
