// What all textures do alike with coordinates and components.
#pragma once

#include "mi/types.h"

#include <algorithm>
#include <cmath>

namespace lumorender {

/// The coordinate within the first repetition: [0, 1).
inline float repeated(float coordinate) {
    if (!std::isfinite(coordinate)) return 0;
    const float fraction = coordinate - std::floor(coordinate);
    return fraction < 1 ? fraction : 0;  // tiny negative numbers round up to 1
}

/// The pixel that a coordinate in [0, 1) falls into.
inline int pixelOf(float coordinate, int size) {
    return std::min(static_cast<int>(coordinate * static_cast<float>(size)), size - 1);
}

/// The coordinate of that pixel's center.
inline float centerOfPixel(float coordinate, int size) {
    return (static_cast<float>(pixelOf(coordinate, size)) + 0.5f) / static_cast<float>(size);
}

/// A derivative that filters can work with: beyond a whole texture per pixel there is nothing more to average.
inline float usableDerivative(float derivative) {
    return std::isfinite(derivative) ? std::clamp(derivative, -1.0f, 1.0f) : 0;
}

/// Colors that were stored raised to 1 / gamma.
inline void linearise(miColor& color, float gamma) {
    if (gamma == 1) return;
    for (float* value : {&color.r, &color.g, &color.b}) *value = std::pow(std::max(*value, 0.0f), gamma);
}

/// Colors from what a texture has.
inline miColor colorOf(const float* values, int components) {
    switch (components) {
        case 1: return {values[0], values[0], values[0], 1};
        case 2: return {values[0], values[0], values[0], values[1]};
        case 3: return {values[0], values[1], values[2], 1};
        default: return {values[0], values[1], values[2], values[3]};
    }
}

}  // namespace lumorender
