// Bases of all kinds brought into one form: pieces that are Bezier curves.
#pragma once

#include "database/surface_source.h"

#include <vector>

namespace lumorender {

/// A piece of a curve, or of one direction of a surface, between two parameters.
struct BasisPiece {
    double low = 0, high = 0;
    std::size_t firstPoint = 0;    ///< the first of the degree + 1 control points that matter here
    std::vector<double> toBezier;  ///< (degree + 1)^2: a row for each Bezier point, with weights of the control points
};

/// The pieces within the range of the direction that have a length, in order.
std::vector<BasisPiece> piecesOf(const DirectionSource& direction);

/// How many control points the direction has.
std::size_t controlPointsOf(const DirectionSource& direction);

/// The Bernstein polynomials of a degree, with their first and second derivatives, at t.
class Bernstein {
public:
    Bernstein(int degree, double t);

    double value(int i) const { return values_[i]; }
    double first(int i) const { return first_[i]; }
    double second(int i) const { return second_[i]; }

private:
    static constexpr int kMost = 32;
    double values_[kMost], first_[kMost], second_[kMost];
};

}  // namespace lumorender
