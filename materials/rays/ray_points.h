/* Points for rays of a lobe. */
#pragma once

#include "math/color.h"

namespace materials {

/* More rays than anybody can wait for. */
constexpr int kMostRays = 1024;

/* A quarter of the rays at each further level: a blur in a blur shows less. One is the least. */
inline int raysAtLevel(const miState* state, int wanted) {
    const int level = state->reflection_level + state->refraction_level;
    const int rays = std::clamp(wanted, 1, kMostRays);
    return level > 0 ? std::max(1, rays >> std::min(2 * level, 16)) : rays;
}

/*
 * Mean of `trace(const double point[2])`, a color, over `rays` points of the unit square. All samples of a pixel share
 * one sequence of points.
 */
template <class Trace>
miColor meanOverPoints(miState* state, int rays, const Trace& trace) {
    const auto count = static_cast<miUint>(rays);
    double point[2] = {.5, .5};
    int taken = 0;
    miColor sum = kBlack;
    while (mi_sample(point, &taken, state, 2, &count)) sum += trace(point);
    return taken > 0 ? sum * (1 / static_cast<miScalar>(taken)) : trace(point);
}

}  // namespace materials
