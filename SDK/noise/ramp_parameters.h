/* Ramps among a shader's parameters. */
#pragma once

#include "SDK/framework/parameter_array.h"
#include "SDK/lumo.h"

namespace lumo {

using ScalarRampParameter = ParameterArray<RampScalarEntry>;
using ColorRampParameter = ParameterArray<RampColorEntry>;

/* The ramp's red, green and blue at a position; alpha, and all of it where the ramp has no entries, from `otherwise`.
 */
inline miColor rampColor(const LumoRamp& ramp, miScalar position, const miColor& otherwise) {
    if (ramp.count < 1) return otherwise;
    miColor color = otherwise;
    ramp_get_interp_color(&ramp, position, &color);
    color.a = otherwise.a;
    return color;
}

}  // namespace lumo
