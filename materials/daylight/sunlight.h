/* Direct light of the sun. */
#pragma once

#include "shader.h"

namespace materials {

/* Of the disc that is seen. */
constexpr miScalar kSunRadius = .004654f;

/*
 * Light that falls on a surface which faces the sun, in lux for each primary of Rec. 709 (its luminance is the
 * illuminance).
 * height: sine of the sun's height above the horizon; none below it
 * turbidity: of the air; 2 is clear, 10 thick haze
 */
miColor sunlight(miScalar height, miScalar turbidity);

}  // namespace materials
