/* Arithmetic on colors, channel by channel, alpha included. */
#pragma once

#include <algorithm>

#include "SDK/lumo.h"

namespace lumo {

inline constexpr miColor kBlack = {0, 0, 0, 0};

constexpr miColor operator+(const miColor& a, const miColor& b) { return {a.r + b.r, a.g + b.g, a.b + b.b, a.a + b.a}; }
constexpr miColor operator-(const miColor& a, const miColor& b) { return {a.r - b.r, a.g - b.g, a.b - b.b, a.a - b.a}; }
constexpr miColor operator*(const miColor& a, const miColor& b) { return {a.r * b.r, a.g * b.g, a.b * b.b, a.a * b.a}; }
constexpr miColor operator*(const miColor& a, miScalar s) { return {a.r * s, a.g * s, a.b * s, a.a * s}; }
constexpr miColor operator/(const miColor& a, miScalar s) { return {a.r / s, a.g / s, a.b / s, a.a / s}; }
constexpr miColor operator-(miScalar s, const miColor& a) { return {s - a.r, s - a.g, s - a.b, s - a.a}; }

constexpr miColor withAlphaOne(const miColor& c) { return {c.r, c.g, c.b, 1}; }

constexpr miScalar luminance(const miColor& c) { return 0.3f * c.r + 0.59f * c.g + 0.11f * c.b; }

inline void scaleRgb(miColor& color, miScalar factor) {
    color.r *= factor;
    color.g *= factor;
    color.b *= factor;
}

inline miScalar largestChannel(const miColor& c) { return std::max({c.r, c.g, c.b}); }

/* So dark that it is not worth a ray. NaN is not black: it stays visible. */
inline bool isBlack(const miColor& c) { return c.r < VEXA_EPS && c.g < VEXA_EPS && c.b < VEXA_EPS; }

}  // namespace lumo
