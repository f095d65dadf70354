// Free-form curves and surfaces of a group, put together by calls.
#pragma once

#include "database/elements.h"

#include <optional>
#include <string_view>
#include <vector>

namespace lumorender {

/// All calls throw Misuse where they are out of order or name what is not there; a curve or surface is left out then as
/// soon as it ends.
class SurfaceBuilder {
public:
    void addBasis(BasisSource basis);
    void clearBases() { bases_.clear(); }

    void beginCurve(std::string_view name, std::string_view basis, bool rational);
    void endCurve(PolygonGroupSource& group, std::vector<float> parameters);

    void beginSurface(std::string_view name, miTag material, std::uint32_t label, const std::string& where);
    /// Of the surface, or of the texture or motion that was begun last.
    void setDirection(bool isV, std::string_view basis, float low, float high, std::vector<float> parameters,
                      bool rational);
    void addDerivative(int order);
    void beginOverlay(OverlaySource::Kind kind, bool volume);
    /// A part of a loop, or with `begins` of the next one.
    void addPiece(const PolygonGroupSource& group, LoopSource::Kind kind, bool begins, std::string_view curve,
                  float low, float high);
    void endSurface(PolygonGroupSource& group);

    /// Of what is open.
    void addPoint(const PolygonGroupSource& group, int vertex, double weight);

    bool isOpen() const { return curve_ || surface_; }

private:
    const BasisSource& basis(std::string_view name) const;
    SurfaceSource& surface();

    std::vector<BasisSource> bases_;
    std::optional<CurveSource> curve_;
    std::optional<SurfaceSource> surface_;
};

}  // namespace lumorender
