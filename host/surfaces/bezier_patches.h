// Free-form surfaces: rational Bezier patches, whatever their bases are.
#pragma once

#include "database/elements.h"
#include "surfaces/basis_pieces.h"
#include "surfaces/patches.h"

namespace lumorender {

/// A rectangular net of polynomial patches with some numbers at each control point, the first of which is the weight.
class BezierNet {
public:
    /// @param numbers `size` of each control point, u running faster, already multiplied by the weight
    BezierNet(const DirectionSource& u, const DirectionSource& v, std::size_t size, const std::vector<double>& numbers);

    const std::vector<BasisPiece>& piecesU() const { return u_; }
    const std::vector<BasisPiece>& piecesV() const { return v_; }
    int degreeU() const { return degreeU_; }
    int degreeV() const { return degreeV_; }
    std::size_t size() const { return size_; }

    /// What is there divided by the weight, from the second number on, and its derivatives by the places 0..1 in the
    /// patch, of which 0, 2 or 5 are asked for: du dv duu dvv duv.
    void evaluate(std::size_t pieceU, std::size_t pieceV, double u, double v, int derivatives, double* result) const;

private:
    std::vector<BasisPiece> u_, v_;
    int degreeU_, degreeV_;
    std::size_t size_;
    std::vector<double> points_;  ///< Bezier points, patch by patch
};

class FreeFormPatches : public PatchSet {
public:
    FreeFormPatches(const SurfaceSource& surface, const PolygonGroupSource& group);

    /// Patches lie row by row, u running faster.
    std::uint32_t patches() const override {
        return static_cast<std::uint32_t>(net_.piecesU().size() * net_.piecesV().size());
    }
    PatchPoint at(const PatchPlace& place) const override;
    void detail(const PatchPlace& place, PatchDetail& detail) const override;
    std::size_t textures() const override { return hasTextures_ ? textures_ : 1; }
    std::size_t motions() const override { return motions_; }
    int derivatives() const override { return derivatives_; }

    const BezierNet& net() const { return net_; }
    /// The parameters of a place, and the place of parameters; what is outside is moved to the border.
    double parameterU(const PatchPlace& place) const { return parameter(pieceU(place), place.u); }
    double parameterV(const PatchPlace& place) const { return parameter(pieceV(place), place.v); }
    PatchPlace placeOf(double parameterU, double parameterV) const;
    const BasisPiece& pieceU(const PatchPlace& place) const { return net_.piecesU()[place.patch % columns()]; }
    const BasisPiece& pieceV(const PatchPlace& place) const { return net_.piecesV()[place.patch / columns()]; }
    std::size_t columns() const { return net_.piecesU().size(); }
    std::size_t rows() const { return net_.piecesV().size(); }

private:
    struct Overlay {
        BezierNet net;
        bool isTexture;
    };

    BezierNet net_;
    std::vector<Overlay> overlays_;
    std::size_t ownMotions_ = 0, ownTextures_ = 0;  ///< of the control points
    std::size_t motions_ = 0, textures_ = 0;
    bool hasTextures_ = false;
    int derivatives_ = 0;

    static double parameter(const BasisPiece& piece, double t) { return piece.low + t * (piece.high - piece.low); }
    static BezierNet netOf(const SurfaceSource& surface, const PolygonGroupSource& group, std::size_t motions,
                           std::size_t textures);
    void evaluateOverlay(const Overlay& overlay, const PatchPlace& place, V3d& result) const;
    V3d normalNear(PatchPlace place) const;
};

}  // namespace lumorender
