/* Finding where light entered a surface, by rays through it around the shaded point. */
#pragma once

#include "SDK/scatter/scatter_light.h"
#include "SDK/scatter/scatter_profile.h"

#include <algorithm>

namespace lumo {

/* Light that comes out at a point, channel by channel, for a surface of albedo 1. */
struct ScatterSums {
    double light[3] = {0, 0, 0};
    double weight[3] = {0, 0, 0}; /* the same if the light were 1 everywhere: 1 on a plane */

    void add(const double (&w)[3], const miColor& entered) {
        const miScalar e[3] = {entered.r, entered.g, entered.b};
        for (int c = 0; c < 3; ++c) {
            light[c] += w[c] * static_cast<double>(e[c]);
            weight[c] += w[c];
        }
    }

    /* In folds and thin sheets a profile finds more surface than a plane has. What comes out is no brighter than what
     * went in nevertheless. */
    miColor bounded() const {
        const auto channel = [this](int c) { return static_cast<miScalar>(light[c] / std::max(weight[c], 1.0)); };
        return {channel(0), channel(1), channel(2), 0};
    }
};

/* `count` rays, at least 1. False when none of them met the surface although it is there: probes cannot see it. */
bool probeScatter(miState* state, const ScatterSurface& surface, const EntryScope& lights,
                  const ScatterProfile& profile, miUint count, ScatterSums& sums);

}  // namespace lumo
