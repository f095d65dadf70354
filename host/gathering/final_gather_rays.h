// The rays of final gathering.
#pragma once

#include "gathering/final_gather.h"
#include "mi/state.h"

namespace lumorender {

/// What rays from a place met.
struct Gathered {
    double rgb[3] = {0, 0, 0};  ///< average over the rays
    double meanDistance = 0;    ///< harmonic; infinite where nothing was met
};

/// Sends rays, spread with the cosine around `normal` (unit length, one of the two sides of the state's surface).
/// The rays of all samples of a pixel are one low-discrepancy sequence. Allocates nothing.
Gathered gatherRays(miState* state, const miVector& normal, const GatherSettings& settings);

}  // namespace lumorender
