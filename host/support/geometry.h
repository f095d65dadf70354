// Vectors and matrices. What is computed in double precision uses Imath's types; vectors in single precision are those
// of the renderer's interface, which states and records are made of. Matrices are for row vectors (p' = p M), as the
// renderer keeps them, and without a projective part.
#pragma once

#include "mi/types.h"

#include <ImathMatrix.h>
#include <ImathVec.h>

#include <cmath>
#include <numbers>

namespace lumorender {

using Imath::M44d;  // the identity unless said otherwise
using Imath::V3d;   // holds nothing unless said otherwise: `= {}` does not make it zero, V3d(0) does

inline V3d wide(const miVector& v) { return {v.x, v.y, v.z}; }

inline miVector narrow(const V3d& v) {
    return {static_cast<float>(v.x), static_cast<float>(v.y), static_cast<float>(v.z)};
}

inline miVector operator+(const miVector& a, const miVector& b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
inline miVector operator-(const miVector& a, const miVector& b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
inline miVector operator-(const miVector& v) { return {-v.x, -v.y, -v.z}; }
inline miVector operator*(const miVector& v, float factor) { return {v.x * factor, v.y * factor, v.z * factor}; }

/// The functions below take either type.
template <class V>
concept Vector = requires(V v) {
    v.x;
    v.y;
    v.z;
};

template <Vector V>
auto dot(const V& a, const V& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

template <Vector V>
V cross(const V& a, const V& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

template <Vector V>
auto length(const V& a) {
    return std::sqrt(dot(a, a));
}

/// The vector with length 1; the zero vector stays as it is.
template <Vector V>
V unit(const V& a) {
    const auto size = length(a);
    return size > 0 ? a * (1 / size) : a;
}

template <Vector V>
bool isFinite(const V& a) {
    return std::isfinite(a.x) && std::isfinite(a.y) && std::isfinite(a.z);
}

template <Vector V>
bool isZero(const V& a) {
    return a.x == 0 && a.y == 0 && a.z == 0;
}

/// Some unit vector at a right angle to `normal`, which has length 1.
template <Vector V>
V perpendicular(const V& normal) {
    const V axis = std::abs(normal.x) < decltype(V::x)(0.6) ? V{1, 0, 0} : V{0, 1, 0};
    return unit(cross(axis, normal));
}

/// Direction of a ray that comes in along `dir` and is reflected at a plane with unit normal `normal`; either side.
inline miVector mirrored(const miVector& dir, const miVector& normal) { return dir - normal * (2 * dot(dir, normal)); }

/// Three unit vectors at right angles; a right-handed system.
struct Frame {
    miVector u, v, w;

    miVector toWorld(float x, float y, float z) const { return u * x + v * y + w * z; }
};

/// A frame with w = `axis` (unit length) and any u, v.
/// Source: Duff et al., "Building an Orthonormal Basis, Revisited", JCGT 6(1), 2017.
inline Frame frameAround(const miVector& axis) {
    const float sign = std::copysign(1.0f, axis.z);
    const float a = -1 / (sign + axis.z);
    const float b = axis.x * axis.y * a;
    return {{1 + sign * axis.x * axis.x * a, sign * b, -sign * axis.x}, {b, sign + axis.y * axis.y * a, -axis.y}, axis};
}

/// Widens a matrix. One whose corner element is not 1 is scaled so that it is; a projective part is dropped.
M44d affineMatrix(const miScalar* m);

void narrow(const M44d& m, miMatrix& result);

/// False, and `inverse` untouched, where the matrix has no inverse worth the name: not finite, or flat in relation to
/// the lengths of its axes. Uniformly tiny scales are fine.
bool invert(const M44d& m, M44d& inverse);

/// The unit square to the unit disc, evenly, with neighbours as neighbours: P. Shirley, K. Chiu, "A Low Distortion Map
/// between Disk and Square", 1997.
inline Imath::V2d onDisc(const Imath::V2d& square) {
    const double a = 2 * square.x - 1, b = 2 * square.y - 1;
    if (a == 0 && b == 0) return {0, 0};
    const bool wide = std::abs(a) > std::abs(b);
    const double radius = wide ? a : b, angle = std::numbers::pi / 4 * (wide ? b / a : 2 - a / b);
    return {radius * std::cos(angle), radius * std::sin(angle)};
}

/// Linear between two matrices, which is how the ray tracing kernels move instances.
inline M44d interpolate(const M44d& open, const M44d& close, double t) { return open + (close - open) * t; }

/// On the way from one matrix to the other, at t 0..1: the rotation turns at constant speed, by half a turn at most, while
/// stretch and place change linearly. Linear where the matrices have no rotations (flat ones), or one is mirrored.
/// Source: Shoemake and Duff, "Matrix Animation and Polar Decomposition", Graphics Interface 1992.
M44d turned(const M44d& open, const M44d& close, double t);

/// Number i of the images of the axes, or (3) of the origin.
inline V3d row(const M44d& m, int i) { return {m[i][0], m[i][1], m[i][2]}; }

inline V3d transformVector(const V3d& v, const M44d& m) {
    V3d result;
    m.multDirMatrix(v, result);
    return result;
}

inline V3d transformPoint(const V3d& p, const M44d& m) { return transformVector(p, m) + row(m, 3); }

/// Normals go by the transposed inverse: pass the inverse of the matrix that points go by. Changes their length.
inline V3d transformNormal(const V3d& n, const M44d& inverse) {
    return {n.dot(row(inverse, 0)), n.dot(row(inverse, 1)), n.dot(row(inverse, 2))};
}

/// The factor by which a matrix changes lengths, in the mean of all directions: the root of how it changes volumes.
inline double meanScale(const M44d& m) { return std::cbrt(std::abs(dot(row(m, 0), cross(row(m, 1), row(m, 2))))); }

/// Mirroring matrices turn triangles inside out.
inline bool mirrors(const M44d& m) { return dot(row(m, 0), cross(row(m, 1), row(m, 2))) < 0; }

}  // namespace lumorender
