/* How far rays of an architectural material see. */
#pragma once

#include "architectural/mia_parameters.h"

#include "rays/reach.h"

namespace materials {

inline Reach reachOf(const Parameters& in, const miBoolean& on, const miScalar& dist, const miBoolean& colored,
                     const miColor& color) {
    if (!in.isOn(on)) return {};
    return {in.within(dist, 0, miHUGE_SCALAR), in.isOn(colored), in.color(color)};
}

inline Reach insideReach(const MiaCall& call) {
    const auto& p = call.p;
    return reachOf(call.in, p.refr_falloff_on, p.refr_falloff_dist, p.refr_falloff_color_on, p.refr_falloff_color);
}

}  // namespace materials
