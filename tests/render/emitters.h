// Lights as many small pieces, for numeric integration.
#pragma once

#include "space.h"

#include <algorithm>
#include <vector>

namespace rendertest {

/// Normals are of unit length.
struct LightPiece {
    V3 place, normal;
    double area = 0;
};

struct Emitter {
    std::vector<LightPiece> pieces;
    bool isFlat = false;  ///< samples lie all over flat ones, on others where they face the lit point

    Emitter in(const Placing& space) const {
        const Placing inverse = space.inverse();
        Emitter placed = *this;
        for (LightPiece& p : placed.pieces)
            p = {space.point(p.place),
                 unit({dot(inverse.x, p.normal), dot(inverse.y, p.normal), dot(inverse.z, p.normal)}), p.area};
        return placed;
    }
};

/// `piece(u, v)` at the middles of the cells of the unit square.
template <class PieceAt>
std::vector<LightPiece> lightPieces(int nu, int nv, PieceAt piece) {
    std::vector<LightPiece> pieces;
    for (int i = 0; i < nu; ++i)
        for (int j = 0; j < nv; ++j) pieces.push_back(piece((i + .5) / nu, (j + .5) / nv));
    return pieces;
}

inline V3 around(V3 x, V3 y, double turns) {
    const double angle = 2 * std::acos(-1.) * turns;
    return std::cos(angle) * x + std::sin(angle) * y;
}

inline Emitter rectangleEmitter(V3 centre, V3 u, V3 v) {
    const V3 normal = unit(cross(u, v));
    return {
        lightPieces(100, 100,
                    [&](double s, double t) { return LightPiece{centre + (s - .5) * u + (t - .5) * v, normal, 1}; }),
        true};
}

/// x and y: radii at right angles.
inline Emitter discEmitter(V3 centre, V3 x, V3 y) {
    const V3 normal = unit(cross(x, y));
    return {
        lightPieces(100, 200, [&](double s, double t) { return LightPiece{centre + s * around(x, y, t), normal, s}; }),
        true};
}

inline Emitter sphereEmitter(V3 centre, double radius) {
    return {lightPieces(300, 400, [&](double s, double t) {
        const double polar = std::acos(-1.) * s;
        const V3 n = std::sin(polar) * around({1, 0, 0}, {0, 1, 0}, t) + std::cos(polar) * V3{0, 0, 1};
        return LightPiece{centre + radius * n, n, std::sin(polar)};
    })};
}

/// x and y: radii at right angles to the axis. Without caps.
inline Emitter cylinderEmitter(V3 centre, V3 axis, V3 x, V3 y) {
    return {lightPieces(100, 1000, [&](double s, double t) {
        const V3 outwards = around(x, y, t);
        return LightPiece{centre + (s - .5) * axis + outwards, unit(outwards), 1};
    })};
}

/// The mean over the samples' places of emission(cosine at the light) x cosine / distance^2, on a surface whose normal
/// is +z.
template <class Emission>
double meanLight(const Emitter& light, V3 point, Emission emission) {
    double sum = 0, area = 0;
    for (const LightPiece& p : light.pieces) {
        const V3 way = p.place - point;
        const double d2 = dot(way, way), distance = std::sqrt(d2), cosine = -dot(p.normal, way) / distance;
        if (!light.isFlat && cosine <= 0) continue;
        sum += p.area * emission(cosine) * std::max(0., way.z / distance) / d2;
        area += p.area;
    }
    return sum / area;
}

}  // namespace rendertest
