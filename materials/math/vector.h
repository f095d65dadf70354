/* Arithmetic on vectors and frames of three axes. */
#pragma once

#include "shader.h"

#include <cmath>

namespace materials {

constexpr miScalar kPi = 3.14159265358979f;

inline miVector operator+(const miVector& a, const miVector& b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
inline miVector operator-(const miVector& a, const miVector& b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
inline miVector operator-(const miVector& a) { return {-a.x, -a.y, -a.z}; }
inline miVector operator*(const miVector& a, miScalar factor) { return {a.x * factor, a.y * factor, a.z * factor}; }
inline miVector operator*(miScalar factor, const miVector& a) { return a * factor; }

inline miScalar dot(const miVector& a, const miVector& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
inline miScalar length(const miVector& a) { return std::sqrt(dot(a, a)); }
inline bool isFinite(const miVector& a) { return std::isfinite(a.x + a.y + a.z); }

inline miVector cross(const miVector& a, const miVector& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

/* Of length 1; `otherwise` where the vector has no direction. */
inline miVector unit(const miVector& a, const miVector& otherwise = {0, 0, 0}) {
    const miScalar size = length(a);
    return size > 0 && std::isfinite(size) ? a * (1 / size) : otherwise;
}

/* Two numbers in [0, 1) on the unit disc, evenly, with neighbours as neighbours: P. Shirley, K. Chiu, "A Low Distortion
 * Map between Disk and Square", 1997. */
inline miVector onDisc(const double* point) {
    const auto a = static_cast<miScalar>(2 * point[0] - 1), b = static_cast<miScalar>(2 * point[1] - 1);
    if (a == 0 && b == 0) return {0, 0, 0};
    const bool wide = std::fabs(a) > std::fabs(b);
    const miScalar radius = wide ? a : b, angle = kPi / 4 * (wide ? b / a : 2 - a / b);
    return {radius * std::cos(angle), radius * std::sin(angle), 0};
}

inline miVector mirrored(const miVector& dir, const miVector& normal) { return dir - normal * (2 * dot(dir, normal)); }

/* Three unit vectors at right angles. */
struct Frame {
    miVector u, v, n;

    miVector toWorld(const miVector& a) const { return u * a.x + v * a.y + n * a.z; }
    miVector toLocal(const miVector& a) const { return {dot(a, u), dot(a, v), dot(a, n)}; }
};

/* Source: Duff et al., "Building an Orthonormal Basis, Revisited", JCGT 6(1), 2017. */
inline Frame frameAround(const miVector& n) {
    const miScalar sign = std::copysign(1.0f, n.z);
    const miScalar a = -1 / (sign + n.z), b = n.x * n.y * a;
    return {{1 + sign * n.x * n.x * a, sign * b, -sign * n.x}, {b, sign + n.y * n.y * a, -n.y}, n};
}

/* With u as near to `along` as possible; any frame where that has no direction in the plane. */
inline Frame frameAround(const miVector& n, const miVector& along) {
    const miVector inPlane = along - n * dot(along, n);
    if (!(dot(inPlane, inPlane) > 1e-8f * dot(along, along)) || !isFinite(inPlane)) return frameAround(n);
    const miVector u = unit(inPlane);
    return {u, cross(n, u), n};
}

}  // namespace materials
