// Curves in the parameter space of surfaces.
#pragma once

#include "database/elements.h"
#include "surfaces/basis_pieces.h"
#include "surfaces/plane_division.h"

namespace lumorender {

/// A piecewise rational curve in the parameter space of a surface.
class ParameterCurve {
public:
    ParameterCurve(const CurveSource& curve, const PolygonGroupSource& group);

    PlanePoint at(double parameter) const;
    int degree() const { return degree_; }
    /// Parameters between two others, in their order, at which the curve may have a corner.
    std::vector<double> cornersBetween(double from, double to) const;

private:
    std::vector<BasisPiece> pieces_;
    std::vector<double> points_;  ///< Bezier points of the pieces: weight, and x and y times the weight
    std::vector<double> specials_;
    int degree_;
};

}  // namespace lumorender
