// Vectors and row-vector matrices in double precision, for values that are worked out independently of the program.
#pragma once

#include <fmt/format.h>

#include <array>
#include <cmath>
#include <string>

namespace rendertest {

struct V3 {
    double x = 0, y = 0, z = 0;
};

inline V3 operator+(V3 a, V3 b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
inline V3 operator-(V3 a, V3 b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
inline V3 operator*(double s, V3 a) { return {s * a.x, s * a.y, s * a.z}; }
inline double dot(V3 a, V3 b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
inline V3 cross(V3 a, V3 b) { return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x}; }
inline double length(V3 a) { return std::sqrt(dot(a, a)); }
inline V3 unit(V3 a) { return (1 / length(a)) * a; }

/// p' = p M: three rows for the axes, and the translation.
struct Placing {
    V3 x{1, 0, 0}, y{0, 1, 0}, z{0, 0, 1}, t;

    V3 vector(V3 v) const { return v.x * x + v.y * y + v.z * z; }
    V3 point(V3 p) const { return vector(p) + t; }
    Placing then(const Placing& b) const { return {b.vector(x), b.vector(y), b.vector(z), b.point(t)}; }

    Placing inverse() const {
        const V3 a = cross(y, z), b = cross(z, x), c = cross(x, y);
        const double det = dot(x, a);
        Placing m{{a.x / det, b.x / det, c.x / det},
                  {a.y / det, b.y / det, c.y / det},
                  {a.z / det, b.z / det, c.z / det},
                  {}};
        m.t = -1 * m.vector(t);
        return m;
    }

    /// Normals stay at right angles to surfaces: the inverse, transposed. Lengths follow the scale.
    V3 normal(V3 n) const {
        const Placing i = inverse();
        return {dot(i.x, n), dot(i.y, n), dot(i.z, n)};
    }

    /// As the scene language has it.
    std::string text() const {
        return fmt::format(
            "{:.9g} {:.9g} {:.9g} 0  {:.9g} {:.9g} {:.9g} 0  {:.9g} {:.9g} {:.9g} 0  {:.9g} {:.9g} {:.9g} 1", x.x, x.y,
            x.z, y.x, y.y, y.z, z.x, z.y, z.z, t.x, t.y, t.z);
    }
};

inline Placing moved(V3 by) {
    Placing m;
    m.t = by;
    return m;
}

inline Placing scaled(V3 by) { return {{by.x, 0, 0}, {0, by.y, 0}, {0, 0, by.z}, {}}; }

/// Right-handed turn around an axis, in degrees.
inline Placing turned(V3 axis, double degrees) {
    const V3 a = unit(axis);
    const double angle = degrees * std::acos(-1.0) / 180, c = std::cos(angle), s = std::sin(angle);
    const auto turn = [&](V3 v) { return c * v + s * cross(a, v) + ((1 - c) * dot(a, v)) * a; };
    return {turn({1, 0, 0}), turn({0, 1, 0}), turn({0, 0, 1}), {}};
}

}  // namespace rendertest
