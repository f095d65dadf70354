// Operators on the renderer's vectors, for formulas that should look like formulas.
#pragma once

#include "shader.h"

#include <cmath>

namespace lumorender::vectors {

inline miVector operator+(const miVector& a, const miVector& b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }

inline miVector operator-(const miVector& a, const miVector& b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }

inline miVector operator-(const miVector& v) { return {-v.x, -v.y, -v.z}; }

inline miVector operator*(float factor, const miVector& v) { return {factor * v.x, factor * v.y, factor * v.z}; }

inline float dot(const miVector& a, const miVector& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }

inline miVector cross(const miVector& a, const miVector& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

/// Unit length; the zero vector stays as it is.
inline miVector normalized(miVector v) {
    mi_vector_normalize(&v);
    return v;
}

/// Direction of a ray that comes in along `dir` and is reflected at a plane with unit normal `normal`; either side.
inline miVector mirrored(const miVector& dir, const miVector& normal) { return dir - 2 * dot(dir, normal) * normal; }

/// Three unit vectors at right angles; a right-handed system.
struct Frame {
    miVector u, v, w;

    miVector toWorld(float x, float y, float z) const { return x * u + y * v + z * w; }
};

/// A frame with w = `axis` (unit length) and any u, v.
/// Source: Duff et al., "Building an Orthonormal Basis, Revisited", JCGT 6(1), 2017.
inline Frame frameAround(const miVector& axis) {
    const float sign = std::copysign(1.0f, axis.z);
    const float a = -1 / (sign + axis.z);
    const float b = axis.x * axis.y * a;
    return {{1 + sign * axis.x * axis.x * a, sign * b, -sign * axis.x}, {b, sign + axis.y * axis.y * a, -axis.y}, axis};
}

}  // namespace lumorender::vectors
