/* Colors by CIE's numbers. */
#pragma once

#include "math/color.h"

namespace materials {

/* XYZ in the primaries of Rec. 709; what they cannot show is cut off at 0. */
inline miColor colorOfXyz(double x, double y, double z) {
    return positive({static_cast<miScalar>(3.2404542 * x - 1.5371385 * y - .4985314 * z),
                     static_cast<miScalar>(-.9692660 * x + 1.8760108 * y + .0415560 * z),
                     static_cast<miScalar>(.0556434 * x - .2040259 * y + 1.0572252 * z), 1});
}

/* Of a luminance and a chromaticity (x, y); y is not 0. */
inline miColor colorOfChromaticity(double luminance, double x, double y) {
    const double scale = luminance / y;
    return colorOfXyz(x * scale, luminance, (1 - x - y) * scale);
}

/* Of colors in these primaries. */
inline miScalar luminanceOf(const miColor& color) { return .2126f * color.r + .7152f * color.g + .0722f * color.b; }

}  // namespace materials
