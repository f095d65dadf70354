/* Vectors in double precision, for geometry that would lose its last digits in floats. */
#pragma once

#include <cmath>

#include <shader.h>

namespace lumo {

struct DoubleVector {
    double x = 0, y = 0, z = 0;

    DoubleVector() = default;
    constexpr DoubleVector(double ax, double ay, double az) : x(ax), y(ay), z(az) {}
    explicit DoubleVector(const miVector& v)
        : x(static_cast<double>(v.x)), y(static_cast<double>(v.y)), z(static_cast<double>(v.z)) {}

    miVector rounded() const { return {static_cast<miScalar>(x), static_cast<miScalar>(y), static_cast<miScalar>(z)}; }
};

constexpr DoubleVector operator+(const DoubleVector& a, const DoubleVector& b) {
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}
constexpr DoubleVector operator-(const DoubleVector& a, const DoubleVector& b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}
constexpr DoubleVector operator*(const DoubleVector& v, double s) { return {v.x * s, v.y * s, v.z * s}; }

constexpr double dot(const DoubleVector& a, const DoubleVector& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
constexpr DoubleVector cross(const DoubleVector& a, const DoubleVector& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

inline double length(const DoubleVector& v) { return std::sqrt(dot(v, v)); }

/* The vector itself when it has no length. */
inline DoubleVector normalised(const DoubleVector& v) {
    const double size = length(v);
    return size == 0 ? v : v * (1 / size);
}

}  // namespace lumo
