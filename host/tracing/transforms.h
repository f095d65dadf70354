// Points, vectors and normals through matrices in double precision (row vectors: p' = p M).
#pragma once

#include "mi/types.h"

#include <cmath>

namespace lumorender {

using Matrix4 = double[16];

struct Vector3 {
    double x = 0, y = 0, z = 0;
};

inline Vector3 fromVector(const miVector& v) { return {v.x, v.y, v.z}; }

inline miVector toVector(const Vector3& v) {
    return {static_cast<float>(v.x), static_cast<float>(v.y), static_cast<float>(v.z)};
}

inline Vector3 transformVector(const Vector3& v, const double* m) {
    return {v.x * m[0] + v.y * m[4] + v.z * m[8], v.x * m[1] + v.y * m[5] + v.z * m[9],
            v.x * m[2] + v.y * m[6] + v.z * m[10]};
}

/// Divides by the fourth component, which is 1 for all but projective matrices.
inline Vector3 transformPoint(const Vector3& p, const double* m) {
    const Vector3 r = transformVector(p, m);
    const double w = p.x * m[3] + p.y * m[7] + p.z * m[11] + m[15];
    const double s = w == 0 ? 1 : 1 / w;
    return {(r.x + m[12]) * s, (r.y + m[13]) * s, (r.z + m[14]) * s};
}

/// A normal goes by the transpose of the inverse: pass the matrix that leads the other way.
inline Vector3 transformNormal(const Vector3& n, const double* inverse) {
    return {n.x * inverse[0] + n.y * inverse[1] + n.z * inverse[2],
            n.x * inverse[4] + n.y * inverse[5] + n.z * inverse[6],
            n.x * inverse[8] + n.y * inverse[9] + n.z * inverse[10]};
}

inline Vector3 normalised(const Vector3& v) {
    const double length = std::sqrt(v.x * v.x + v.y * v.y + v.z * v.z);
    if (length == 0) return v;
    const double s = 1 / length;
    return {v.x * s, v.y * s, v.z * s};
}

/// Linear between two placements, as the ray tracing kernels move their instances.
inline void interpolate(Matrix4& result, const double* open, const double* close, double t) {
    for (int i = 0; i < 16; ++i) result[i] = open[i] + t * (close[i] - open[i]);
}

/// Inverse of a matrix without projection; the identity where it has none.
inline void invertAffine(Matrix4& result, const double* m) {
    const double c00 = m[5] * m[10] - m[6] * m[9];
    const double c01 = m[6] * m[8] - m[4] * m[10];
    const double c02 = m[4] * m[9] - m[5] * m[8];
    const double det = m[0] * c00 + m[1] * c01 + m[2] * c02;
    const double s = det == 0 ? 0 : 1 / det;
    const double inverse[9] = {c00 * s, (m[2] * m[9] - m[1] * m[10]) * s, (m[1] * m[6] - m[2] * m[5]) * s,
                               c01 * s, (m[0] * m[10] - m[2] * m[8]) * s, (m[2] * m[4] - m[0] * m[6]) * s,
                               c02 * s, (m[1] * m[8] - m[0] * m[9]) * s,  (m[0] * m[5] - m[1] * m[4]) * s};
    for (int row = 0; row < 4; ++row)
        for (int column = 0; column < 4; ++column)
            result[4 * row + column] =
                row < 3 && column < 3 && det != 0 ? inverse[3 * row + column] : (row == column ? 1.0 : 0.0);
    if (det == 0) return;
    for (int column = 0; column < 3; ++column)
        result[12 + column] = -(m[12] * inverse[column] + m[13] * inverse[3 + column] + m[14] * inverse[6 + column]);
}

}  // namespace lumorender
