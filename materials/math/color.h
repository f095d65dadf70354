/* Arithmetic on the red, green and blue of colors. Results are opaque: what alpha means, shaders say at their end. */
#pragma once

#include "shader.h"

#include <algorithm>
#include <cmath>

namespace materials {

constexpr miColor kBlack = {0, 0, 0, 1};
constexpr miColor kWhite = {1, 1, 1, 1};
constexpr miColor kNothing = {0, 0, 0, 0};

/* What is no number becomes the lower bound. */
inline miScalar clamped(miScalar value, miScalar low, miScalar high) {
    return value > low ? (value < high ? value : high) : low;
}

inline miScalar mix(miScalar a, miScalar b, miScalar share) { return a + (b - a) * share; }

inline miColor gray(miScalar value) { return {value, value, value, 1}; }
inline miColor operator+(const miColor& a, const miColor& b) { return {a.r + b.r, a.g + b.g, a.b + b.b, 1}; }
inline miColor operator-(const miColor& a, const miColor& b) { return {a.r - b.r, a.g - b.g, a.b - b.b, 1}; }
inline miColor operator*(const miColor& a, const miColor& b) { return {a.r * b.r, a.g * b.g, a.b * b.b, 1}; }
inline miColor operator*(const miColor& a, miScalar factor) { return {a.r * factor, a.g * factor, a.b * factor, 1}; }
inline miColor operator*(miScalar factor, const miColor& a) { return a * factor; }
inline miColor& operator+=(miColor& a, const miColor& b) { return a = a + b; }

inline miColor mix(const miColor& a, const miColor& b, miScalar share) { return a + (b - a) * share; }

inline bool isBlack(const miColor& a) { return a.r == 0 && a.g == 0 && a.b == 0; }
inline miScalar largest(const miColor& a) { return std::max({a.r, a.g, a.b}); }

inline miScalar finite(miScalar value) { return std::isfinite(value) ? value : 0; }
inline miColor finite(const miColor& a) { return {finite(a.r), finite(a.g), finite(a.b), finite(a.a)}; }
inline miColor positive(const miColor& a) {
    return {std::max(a.r, 0.0f), std::max(a.g, 0.0f), std::max(a.b, 0.0f), a.a};
}

/* 0 where the divisor is. */
inline miScalar quotient(miScalar a, miScalar b) { return b != 0 ? a / b : 0; }
inline miColor quotient(const miColor& a, const miColor& b) {
    return {quotient(a.r, b.r), quotient(a.g, b.g), quotient(a.b, b.b), 1};
}

/* Channel by channel; for bases from 0 to 1. */
inline miColor power(const miColor& a, miScalar exponent) {
    return {std::pow(a.r, exponent), std::pow(a.g, exponent), std::pow(a.b, exponent), 1};
}

}  // namespace materials
