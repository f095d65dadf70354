/* Single rays of simple materials. */
#pragma once

#include "math/color.h"
#include "rays/hit_scope.h"

namespace materials {

/*
 * What trace(color) brings, a call of a trace function; the environment in direction `dir` where it traces nothing.
 * weight: share of the state's color that the ray counts for.
 */
template <class Trace>
miColor seenBy(miState* state, const miVector& dir, miScalar weight, const Trace& trace) {
    const HitScope hit(state);
    state->importance *= clamped(weight, 0, 1);
    miColor color = kNothing;
    if (!trace(&color)) {
        color = kNothing;
        mi_trace_environment(&color, state, &dir);
    }
    return finite(color);
}

}  // namespace materials
