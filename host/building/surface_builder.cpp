#include "building/surface_builder.h"

#include "building/misuse.h"
#include "elements/free_form_rules.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace lumorender {

namespace {

void refuseIf(const std::string& problem) {
    if (!problem.empty()) refuse("{}", problem);
}

/// The control points that go with the parameters.
void checkPoints(const std::vector<ControlPoint>& points, const DirectionSource& u, const DirectionSource& v) {
    if (u.parameters.empty() || v.parameters.empty()) refuse("parameters of both directions are needed");
    const long expected = pointsOf(u.basis, u.parameters.size()) * pointsOf(v.basis, v.parameters.size());
    if (static_cast<long>(points.size()) != expected)
        refuse("there are {} control points, {} go with these parameters", points.size(), expected);
}

void shareRational(DirectionSource& u, DirectionSource& v) { u.rational = v.rational = u.rational || v.rational; }

}  // namespace

void SurfaceBuilder::addBasis(BasisSource basis) {
    const int most = kHighestDegree;
    if (basis.degree < 1 || basis.degree > most) refuse("the degree {} is not 1 to {}", basis.degree, most);
    const auto size = static_cast<std::size_t>((basis.degree + 1) * (basis.degree + 1));
    if (basis.kind == BasisSource::Kind::Matrix) {
        if (basis.step < 1 || basis.step > most + 1) refuse("the step {} is not 1 to {}", basis.step, most + 1);
        if (basis.matrix.size() != size)
            refuse("the matrix has {} numbers, {} go with the degree", basis.matrix.size(), size);
    }
    std::erase_if(bases_, [&](const BasisSource& each) { return each.name == basis.name; });
    bases_.push_back(std::move(basis));
}

const BasisSource& SurfaceBuilder::basis(std::string_view name) const {
    for (const BasisSource& each : bases_)
        if (each.name == name) return each;
    refuse("there is no basis \"{}\"", name);
}

void SurfaceBuilder::beginCurve(std::string_view name, std::string_view basisName, bool rational) {
    if (isOpen()) refuse("a curve or surface is open already");
    const BasisSource& its = basis(basisName);
    curve_.emplace();
    curve_->name = name;
    curve_->direction.basis = its;
    curve_->direction.rational = rational || its.rational;
}

void SurfaceBuilder::endCurve(PolygonGroupSource& group, std::vector<float> parameters) {
    if (!curve_) refuse("no curve is open");
    CurveSource curve = *std::exchange(curve_, std::nullopt);
    curve.direction.parameters = std::move(parameters);
    refuseIf(problemOfParameters(curve.direction));
    refuseIf(useWholeRange(curve.direction));
    const long expected = pointsOf(curve.direction.basis, curve.direction.parameters.size());
    if (static_cast<long>(curve.points.size()) != expected)
        refuse("there are {} control points, {} go with these parameters", curve.points.size(), expected);
    group.surfaces.curves.push_back(std::move(curve));
}

void SurfaceBuilder::beginSurface(std::string_view name, miTag material, std::uint32_t label,
                                  const std::string& where) {
    if (isOpen()) refuse("a curve or surface is open already");
    surface_.emplace();
    surface_->name = name;
    surface_->where = where;
    surface_->material = material;
    surface_->label = label;
}

SurfaceSource& SurfaceBuilder::surface() {
    if (!surface_) refuse("no surface is open");
    return *surface_;
}

void SurfaceBuilder::setDirection(bool isV, std::string_view basisName, float low, float high,
                                  std::vector<float> parameters, bool rational) {
    SurfaceSource& open = surface();
    DirectionSource direction;
    direction.basis = basis(basisName);
    direction.rational = rational || direction.basis.rational;
    direction.parameters = std::move(parameters);
    refuseIf(problemOfParameters(direction));
    refuseIf(useRange(direction, low, high));
    if (open.overlays.empty())
        (isV ? open.v : open.u) = std::move(direction);
    else
        (isV ? open.overlays.back().v : open.overlays.back().u) = std::move(direction);
}

void SurfaceBuilder::addDerivative(int order) {
    if (order != 1 && order != 2) refuse("{} is neither the first derivative nor the second", order);
    (order == 1 ? surface().firstDerivatives : surface().secondDerivatives) = true;
}

void SurfaceBuilder::beginOverlay(OverlaySource::Kind kind, bool volume) {
    constexpr std::size_t kMost = 64;
    if (surface().overlays.size() >= kMost) refuse("a surface has at most {} textures", kMost);
    OverlaySource& overlay = surface().overlays.emplace_back();
    overlay.kind = kind;
    overlay.volume = volume;
}

void SurfaceBuilder::addPoint(const PolygonGroupSource& group, int vertex, double weight) {
    if (!isOpen()) refuse("no curve or surface is open");
    const std::size_t count = group.vertices.size();
    if (vertex < 0 || static_cast<std::size_t>(vertex) >= count)
        refuse("there is no vertex {}, the group has {}", vertex, count);
    const auto narrowed = static_cast<float>(weight);
    if (!(narrowed > 0) || !std::isfinite(narrowed)) refuse("the weight {} is not above 0", weight);
    std::vector<ControlPoint>& points = curve_                       ? curve_->points
                                        : surface_->overlays.empty() ? surface_->points
                                                                     : surface_->overlays.back().points;
    points.push_back({vertex, narrowed});
}

void SurfaceBuilder::addPiece(const PolygonGroupSource& group, LoopSource::Kind kind, bool begins,
                              std::string_view curve, float low, float high) {
    std::vector<LoopSource>& loops = surface().loops;
    const auto& curves = group.surfaces.curves;
    const auto found =
        std::find_if(curves.begin(), curves.end(), [&](const CurveSource& each) { return each.name == curve; });
    if (found == curves.end()) refuse("there is no curve \"{}\" in the group", curve);
    if (!std::isfinite(low) || !std::isfinite(high) || low == high)
        refuse("the range {} to {} of a curve is none", low, high);
    CurvePiece piece;
    piece.curve = static_cast<int>(found - curves.begin());
    piece.low = std::clamp(low, found->direction.low, found->direction.high);
    piece.high = std::clamp(high, found->direction.low, found->direction.high);
    if (begins || loops.empty()) {
        LoopSource& loop = loops.emplace_back();
        loop.kind = kind;
        loop.where = surface_->where;
    }
    loops.back().pieces.push_back(piece);
}

void SurfaceBuilder::endSurface(PolygonGroupSource& group) {
    surface();
    SurfaceSource surface = *std::exchange(surface_, std::nullopt);
    checkPoints(surface.points, surface.u, surface.v);
    shareRational(surface.u, surface.v);
    for (OverlaySource& overlay : surface.overlays) {
        checkPoints(overlay.points, overlay.u, overlay.v);
        shareRational(overlay.u, overlay.v);
    }
    group.surfaces.surfaces.push_back(std::move(surface));
}

}  // namespace lumorender
