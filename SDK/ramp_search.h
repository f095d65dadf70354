/* Finds the entries of a ramp on both sides of a position. */
#pragma once

#include "lumo_ramps.h"

namespace lumo {

/* Numbers of the entries that a position lies between. The position is above lower's and not above upper's; but where
 * there is no entry below, or none at or above it, both are the same entry, that at the ramp's end. */
struct RampBracket {
    int lower, upper;
};

/* The ramp must have at least one entry. */
RampBracket rampBracket(const LumoRamp& ramp, float t);

/* The entries before lower and after upper; lower and upper themselves where the ramp ends there. */
RampBracket rampNeighbours(const LumoRamp& ramp, RampBracket inner);

}  // namespace lumo
