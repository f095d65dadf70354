/* How much smooth surfaces reflect. */
#pragma once

#include "math/color.h"

#include <cmath>

namespace materials {

/*
 * Reflected share of unpolarized light at a dielectric.
 * cosine: of the angle between ray and normal, 0 to 1; ior: index behind the surface by that before it, above 0.
 * 1 where the light is totally reflected.
 */
inline miScalar dielectricFresnel(miScalar cosine, miScalar ior) {
    const miScalar squaredCosOut = 1 - (1 - cosine * cosine) / (ior * ior);
    if (!(squaredCosOut > 0)) return 1;
    const miScalar out = std::sqrt(squaredCosOut);
    const miScalar across = (cosine - ior * out) / (cosine + ior * out);
    const miScalar along = (ior * cosine - out) / (ior * cosine + out);
    return 0.5f * (across * across + along * along);
}

/* From `facing` (cosine 1) to `grazing` (cosine 0); exponent 5 and grazing 1 are Schlick's approximation. */
inline miScalar angleCurve(miScalar cosine, miScalar facing, miScalar grazing, miScalar exponent) {
    return mix(facing, grazing, std::pow(1 - cosine, exponent));
}

/* From `base` where the surface faces the viewer to `edge`; a larger factor is a narrower edge. */
inline miScalar edgeWeight(miScalar cosine, miScalar base, miScalar edge, miScalar factor) {
    return mix(edge, base, factor > 0 ? std::pow(cosine, 1 / factor) : 1);
}

}  // namespace materials
