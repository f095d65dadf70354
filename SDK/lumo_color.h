/* Part of SDK/lumo.h: conversions of colors. */
#ifndef LUMO_SDK_LUMO_COLOR_H
#define LUMO_SDK_LUMO_COLOR_H

#include "lumo_base.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Hue, saturation and value (a hexcone; A. R. Smith, Color Gamut Transform Pairs, 1978) in the red, green and blue of a
 * color; alpha is copied. Hue goes once around in [0, 1). `hsv` and `rgb` may be the same color. */

/* A hue of 1 and more is wrapped. A negative one, infinity or NaN is not: where there is saturation it leaves red,
 * green and blue of *rgb as they were. */
LUMO_API void hsv_to_rgb(const miColor* hsv, miColor* rgb);

/* Value is the largest channel, also a negative one. A color whose largest channel, or whose range of channels, is not
 * above 1e-5 counts as gray: hue and saturation are 0. */
LUMO_API void rgb_to_hsv(const miColor* rgb, miColor* hsv);

#ifdef __cplusplus
} /* extern "C" */
#endif
#endif
