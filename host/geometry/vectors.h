// Arithmetic on the interface's vectors: double precision for geometry, single precision for surface attributes.
#pragma once

#include "mi/types.h"

#include <cmath>

namespace lumorender::vectors {

/// Either of the two vector types.
template <class V>
concept Vector = requires(V v) {
    v.x;
    v.y;
    v.z;
};

template <Vector V>
using Component = decltype(V::x);

inline miGeoVector wide(const miVector& v) { return {v.x, v.y, v.z}; }

inline miVector narrow(const miGeoVector& v) {
    return {static_cast<float>(v.x), static_cast<float>(v.y), static_cast<float>(v.z)};
}

template <Vector V>
V operator+(const V& a, const V& b) {
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}

template <Vector V>
V operator-(const V& a, const V& b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}

template <Vector V>
V operator-(const V& a) {
    return {-a.x, -a.y, -a.z};
}

template <Vector V>
V operator*(const V& a, Component<V> factor) {
    return {a.x * factor, a.y * factor, a.z * factor};
}

template <Vector V>
Component<V> dot(const V& a, const V& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

template <Vector V>
V cross(const V& a, const V& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

template <Vector V>
Component<V> length(const V& a) {
    return std::sqrt(dot(a, a));
}

/// The vector with length 1; the zero vector stays as it is.
template <Vector V>
V unit(const V& a) {
    const Component<V> size = length(a);
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
    const V axis = std::abs(normal.x) < Component<V>(0.6) ? V{1, 0, 0} : V{0, 1, 0};
    return unit(cross(axis, normal));
}

}  // namespace lumorender::vectors
