/* What shaders of sun and sky have in common. */
#pragma once

#include "math/chromaticity.h"
#include "math/vector.h"
#include "module/export.h"
#include "module/parameters.h"

namespace materials {

/* Haze 0 is the clearest air there is, 15 a sandstorm. */
inline miScalar turbidityOf(miScalar haze) { return 2 + clamped(haze, 0, 15); }

/* Directions of the world, in a space where z is up. */
inline miVector withZUp(const miVector& world, bool yIsUp) {
    return yIsUp ? miVector{world.x, -world.z, world.y} : world;
}

/* From lux or cd/m2 to values of pictures; nothing given stands for 80,000 to 1. */
inline miColor conversionOf(const Parameters& in, const miColor& given, const miScalar& multiplier) {
    const miColor conversion = in.reflectance(given);
    return (isBlack(conversion) ? gray(1 / 80000.0f) : conversion) * in.within(multiplier, 0, miHUGE_SCALAR);
}

/* shift: -1 is blue, 1 is red; saturation: 0 is gray, 1 leaves the color as it is */
inline miColor toned(const miColor& color, miScalar shift, miScalar saturation) {
    const miColor shifted = {color.r * (1 + shift), color.g, color.b * (1 - shift), 1};
    const miScalar luminance = luminanceOf(shifted);
    return positive(mix(gray(luminance), shifted, saturation));
}

/* Heights of horizons and their softness are given in tenths of the sine of an angle. */
inline miScalar sineOfHeight(miScalar given) { return clamped(given, -10, 10) / 10; }

}  // namespace materials
