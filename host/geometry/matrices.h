// Affine matrices in double precision for row vectors (p' = p M), as the renderer keeps them.
#pragma once

#include "geometry/scene_geometry.h"

#include <array>

namespace lumorender {

using AffineMatrix = std::array<double, 16>;

AffineMatrix identityMatrix();

/// Widens a matrix. One whose corner element is not 1 is scaled so that it is; a projective part is dropped.
AffineMatrix affineMatrix(const miScalar* m);

/// First `a`, then `b`.
AffineMatrix product(const double* a, const double* b);

/// False, and `inverse` untouched, where the matrix has no inverse worth the name: not finite, or flat in relation to
/// the lengths of its axes. Uniformly tiny scales are fine.
bool invert(const double* m, AffineMatrix& inverse);

/// Of the linear part; negative for mirroring matrices.
double determinant(const double* m);

/// Linear between two matrices, which is how the ray tracing kernels move instances.
AffineMatrix interpolate(const double* open, const double* close, double t);

Placement placementOf(const AffineMatrix& localToWorld, const AffineMatrix& worldToLocal);

inline miGeoVector transformVector(const miGeoVector& v, const double* m) {
    return {v.x * m[0] + v.y * m[4] + v.z * m[8], v.x * m[1] + v.y * m[5] + v.z * m[9],
            v.x * m[2] + v.y * m[6] + v.z * m[10]};
}

inline miGeoVector transformPoint(const miGeoVector& p, const double* m) {
    return {p.x * m[0] + p.y * m[4] + p.z * m[8] + m[12], p.x * m[1] + p.y * m[5] + p.z * m[9] + m[13],
            p.x * m[2] + p.y * m[6] + p.z * m[10] + m[14]};
}

/// Normals go by the transposed inverse: pass the inverse of the matrix that points go by. Changes their length.
inline miGeoVector transformNormal(const miGeoVector& n, const double* inverse) {
    return {n.x * inverse[0] + n.y * inverse[1] + n.z * inverse[2],
            n.x * inverse[4] + n.y * inverse[5] + n.z * inverse[6],
            n.x * inverse[8] + n.y * inverse[9] + n.z * inverse[10]};
}

}  // namespace lumorender
