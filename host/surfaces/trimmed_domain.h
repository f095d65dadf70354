// The part of a surface that its trimming curves leave.
#pragma once

#include "surfaces/bezier_patches.h"
#include "surfaces/edge_measure.h"
#include "surfaces/parameter_curve.h"
#include "surfaces/plane_division.h"

#include <functional>

namespace lumorender {

/// How finely curves of a surface are to be divided.
struct CurveRules {
    /// By number of the curve in the group.
    std::function<Approximation(const CurveSource& curve)> rules;
    const EdgeMeasure* measure = nullptr;
};

/// Triangles of a surface, as far as it is within its loops, and not within holes. None crosses from one patch to
/// another.
class TrimmedDomain {
public:
    /// @param partsU, partsV  how many parts each patch is divided into, at least
    TrimmedDomain(const SurfaceSource& surface, const PolygonGroupSource& group, const FreeFormPatches& patches,
                  const CurveRules& rules, int partsU, int partsV);

    /// Of one patch.
    struct Piece {
        std::vector<PatchPlace> places;
        std::vector<std::array<std::uint32_t, 3>> triangles;
    };
    std::vector<Piece> pieces() const;

private:
    struct Loop {
        LoopSource::Kind kind;
        std::vector<PlanePoint> points;
    };

    const SurfaceSource& surface_;
    const PolygonGroupSource& group_;
    const FreeFormPatches& patches_;
    const CurveRules& rules_;
    std::vector<double> columns_, rows_;  ///< ends of patches, 0 to 1
    std::vector<Loop> loops_;
    PlaneDivision division_;

    PlanePoint inSquare(const PlanePoint& parameters) const;
    V3d positionAt(const PlanePoint& point) const;
    PatchPlace placeOf(const PlanePoint& point, std::uint32_t patch) const;
    std::uint32_t patchAt(const PlanePoint& point) const;
    void addNet(int partsU, int partsV);
    void addLoop(const LoopSource& source);
    void addPart(const ParameterCurve& curve, const Approximation& rules, double from, double to, int level,
                 std::vector<PlanePoint>& points) const;
    float needOf(const ParameterCurve& curve, const Approximation& rules, double from, double to, int level) const;
    PlanePoint middleOf(const PlaneDivision::Triangle& triangle) const;
    bool isInside(const PlanePoint& point) const;
    std::vector<bool> chooseTriangles() const;
};

}  // namespace lumorender
