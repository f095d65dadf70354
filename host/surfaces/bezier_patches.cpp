#include "surfaces/bezier_patches.h"

#include <algorithm>
#include <array>

namespace lumorender {

namespace {

constexpr std::size_t kValues = 6;  // a value, du, dv, duu, dvv, duv
constexpr std::size_t kMostSize = 4 + 3 * (15 + 64);

V3d vectorAt(const PolygonGroupSource& group, int index) {
    const auto i = static_cast<std::size_t>(index);
    return index >= 0 && i < group.vectors.size() ? wide(group.vectors[i]) : V3d(0);
}

const VertexSource& vertexOf(const PolygonGroupSource& group, const ControlPoint& point) {
    return group.vertices[static_cast<std::size_t>(point.vertex)];
}

void append(std::vector<double>& numbers, const V3d& v, double weight) {
    numbers.insert(numbers.end(), {v.x * weight, v.y * weight, v.z * weight});
}

V3d vectorOf(const double* numbers) { return {numbers[0], numbers[1], numbers[2]}; }

std::size_t leastOf(const SurfaceSource& surface, const PolygonGroupSource& group, std::uint8_t VertexSource::* count) {
    std::size_t least = 255;
    for (const ControlPoint& point : surface.points)
        least = std::min<std::size_t>(least, vertexOf(group, point).*count);
    return least;
}

}  // namespace

BezierNet::BezierNet(const DirectionSource& u, const DirectionSource& v, std::size_t size,
                     const std::vector<double>& numbers)
    : u_(piecesOf(u)), v_(piecesOf(v)), degreeU_(u.basis.degree), degreeV_(v.basis.degree), size_(size) {
    const std::size_t columns = controlPointsOf(u);
    const auto nu = static_cast<std::size_t>(degreeU_) + 1, nv = static_cast<std::size_t>(degreeV_) + 1;
    points_.assign(u_.size() * v_.size() * nu * nv * size_, 0.0);
    double* to = points_.data();
    std::vector<double> row(nu * size_);
    for (const BasisPiece& pieceV : v_)
        for (const BasisPiece& pieceU : u_)
            for (std::size_t j = 0; j < nv; ++j) {
                // First along v at every column, then along u.
                std::fill(row.begin(), row.end(), 0.0);
                for (std::size_t k = 0; k < nv; ++k) {
                    const double weight = pieceV.toBezier[j * nv + k];
                    const double* from =
                        numbers.data() + ((pieceV.firstPoint + k) * columns + pieceU.firstPoint) * size_;
                    for (std::size_t i = 0; i < row.size(); ++i) row[i] += weight * from[i];
                }
                for (std::size_t i = 0; i < nu; ++i, to += size_)
                    for (std::size_t k = 0; k < nu; ++k)
                        for (std::size_t n = 0; n < size_; ++n)
                            to[n] += pieceU.toBezier[i * nu + k] * row[k * size_ + n];
            }
}

void BezierNet::evaluate(std::size_t pieceU, std::size_t pieceV, double u, double v, int derivatives,
                         double* result) const {
    const Bernstein inU(degreeU_, u), inV(degreeV_, v);
    const auto nu = static_cast<std::size_t>(degreeU_) + 1, nv = static_cast<std::size_t>(degreeV_) + 1;
    const double* const net = points_.data() + (pieceV * u_.size() + pieceU) * nu * nv * size_;
    const auto sumsOf = [&](std::size_t number) {
        std::array<double, kValues> sums = {};
        const double* point = net + number;
        for (int j = 0; j <= degreeV_; ++j) {
            double value = 0, first = 0, second = 0;  // along u
            for (int i = 0; i <= degreeU_; ++i, point += size_) {
                value += inU.value(i) * *point;
                first += inU.first(i) * *point;
                second += inU.second(i) * *point;
            }
            const double terms[kValues] = {value * inV.value(j),  first * inV.value(j),  value * inV.first(j),
                                           second * inV.value(j), value * inV.second(j), first * inV.first(j)};
            for (std::size_t k = 0; k < kValues; ++k) sums[k] += terms[k];
        }
        return sums;
    };
    // Quotient rule: A = w P.
    const std::array<double, kValues> weight = sumsOf(0);
    const double w = 1 / weight[0];
    const std::size_t count = size_ - 1;
    for (std::size_t n = 0; n < count; ++n) {
        const std::array<double, kValues> a = sumsOf(n + 1);
        const auto out = [&](std::size_t k) -> double& { return result[k * count + n]; };
        const double p = out(0) = a[0] * w;
        if (derivatives == 0) continue;
        const double pu = out(1) = (a[1] - weight[1] * p) * w;
        const double pv = out(2) = (a[2] - weight[2] * p) * w;
        if (derivatives == 2) continue;
        out(3) = (a[3] - 2 * weight[1] * pu - weight[3] * p) * w;
        out(4) = (a[4] - 2 * weight[2] * pv - weight[4] * p) * w;
        out(5) = (a[5] - weight[1] * pv - weight[2] * pu - weight[5] * p) * w;
    }
}

BezierNet FreeFormPatches::netOf(const SurfaceSource& surface, const PolygonGroupSource& group, std::size_t motions,
                                 std::size_t textures) {
    std::vector<double> numbers;
    for (const ControlPoint& point : surface.points) {
        const double weight = surface.u.rational ? static_cast<double>(point.weight) : 1;
        const VertexSource& vertex = vertexOf(group, point);
        numbers.push_back(weight);
        append(numbers, vectorAt(group, vertex.position), weight);
        const std::size_t firstTexture = vertex.firstExtra + vertex.derivatives;
        for (std::size_t i = 0; i < motions; ++i)
            append(numbers, vectorAt(group, group.extras[firstTexture + 3 * vertex.textures + i]), weight);
        for (std::size_t i = 0; i < textures; ++i)
            append(numbers, vectorAt(group, group.extras[firstTexture + 3 * i]), weight);
    }
    return BezierNet(surface.u, surface.v, 4 + 3 * (motions + textures), numbers);
}

FreeFormPatches::FreeFormPatches(const SurfaceSource& surface, const PolygonGroupSource& group)
    : net_(netOf(surface, group, leastOf(surface, group, &VertexSource::motions),
                 leastOf(surface, group, &VertexSource::textures))),
      ownMotions_(leastOf(surface, group, &VertexSource::motions)),
      ownTextures_(leastOf(surface, group, &VertexSource::textures)),
      motions_(ownMotions_) {
    for (const OverlaySource& source : surface.overlays) {
        std::vector<double> numbers;
        for (const ControlPoint& point : source.points) {
            const double weight = source.u.rational ? static_cast<double>(point.weight) : 1;
            numbers.push_back(weight);
            append(numbers, vectorAt(group, vertexOf(group, point).position), weight);
        }
        const bool isTexture = source.kind == OverlaySource::Kind::Texture;
        overlays_.push_back({BezierNet(source.u, source.v, 4, numbers), isTexture});
        ++(isTexture ? textures_ : motions_);
    }
    // Textures of control points count where the surface has none of its own.
    if (textures_ == 0) textures_ = ownTextures_;
    hasTextures_ = textures_ > 0;
    motions_ = std::min<std::size_t>(motions_, 15);
    derivatives_ = surface.secondDerivatives ? (surface.firstDerivatives ? 5 : 3) : (surface.firstDerivatives ? 2 : 0);
}

PatchPlace FreeFormPatches::placeOf(double parameterU, double parameterV) const {
    const auto find = [](const std::vector<BasisPiece>& pieces, double parameter, double& t) {
        std::size_t i = 0;
        while (i + 1 < pieces.size() && parameter >= pieces[i].high) ++i;
        t = std::clamp((parameter - pieces[i].low) / (pieces[i].high - pieces[i].low), 0.0, 1.0);
        return i;
    };
    PatchPlace place;
    const std::size_t column = find(net_.piecesU(), parameterU, place.u);
    place.patch = static_cast<std::uint32_t>(find(net_.piecesV(), parameterV, place.v) * columns() + column);
    return place;
}

V3d FreeFormPatches::normalNear(PatchPlace place) const {
    const auto at = [&](double inward) {
        std::array<double, 3 * kMostSize> values;
        net_.evaluate(place.patch % columns(), place.patch / columns(), place.u + (0.5 - place.u) * inward,
                      place.v + (0.5 - place.v) * inward, 2, values.data());
        const std::size_t count = net_.size() - 1;
        return normalOf(vectorOf(&values[count]), vectorOf(&values[2 * count]));
    };
    // Where a border is drawn together to a point the normal is that beside it.
    for (const double inward : {0.0, 1e-6, 1e-3})
        if (const V3d normal = at(inward); !isZero(normal)) return normal;
    return V3d(0);
}

PatchPoint FreeFormPatches::at(const PatchPlace& place) const {
    std::array<double, 3 * kMostSize> values;
    net_.evaluate(place.patch % columns(), place.patch / columns(), place.u, place.v, 2, values.data());
    const std::size_t count = net_.size() - 1;
    PatchPoint point;
    point.position = vectorOf(values.data());
    point.normal = normalOf(vectorOf(&values[count]), vectorOf(&values[2 * count]));
    if (isZero(point.normal)) point.normal = normalNear(place);
    return point;
}

/// The pieces of textures may be others than those of the surface. At their ends the piece on the patch's side counts.
void FreeFormPatches::evaluateOverlay(const Overlay& overlay, const PatchPlace& place, V3d& result) const {
    const auto find = [](const std::vector<BasisPiece>& pieces, double parameter, double inside, double& t) {
        const bool fromBelow = inside < parameter;
        std::size_t i = 0;
        while (i + 1 < pieces.size() && (fromBelow ? parameter > pieces[i].high : parameter >= pieces[i].high)) ++i;
        t = std::clamp((parameter - pieces[i].low) / (pieces[i].high - pieces[i].low), 0.0, 1.0);
        return i;
    };
    double u, v;
    const std::size_t i = find(overlay.net.piecesU(), parameterU(place), parameter(pieceU(place), 0.5), u);
    const std::size_t j = find(overlay.net.piecesV(), parameterV(place), parameter(pieceV(place), 0.5), v);
    double values[3];
    overlay.net.evaluate(i, j, u, v, 0, values);
    result = vectorOf(values);
}

void FreeFormPatches::detail(const PatchPlace& place, PatchDetail& detail) const {
    std::array<double, kValues * kMostSize> values;
    net_.evaluate(place.patch % columns(), place.patch / columns(), place.u, place.v, 5, values.data());
    const std::size_t count = net_.size() - 1;
    const double scaleU = 1 / (pieceU(place).high - pieceU(place).low),
                 scaleV = 1 / (pieceV(place).high - pieceV(place).low);
    const double scales[] = {scaleU, scaleV, scaleU * scaleU, scaleV * scaleV, scaleU * scaleV};
    for (std::size_t i = 0; i < miDERIVATIVES; ++i)
        detail.derivatives[i] = vectorOf(&values[(i + 1) * count]) * scales[i];

    detail.motions.assign(motions_, V3d(0));
    detail.textures.assign(textures(), V3d(0));
    for (std::size_t i = 0; i < ownMotions_; ++i) detail.motions[i] = vectorOf(&values[3 + 3 * i]);
    std::size_t texture = 0, motion = ownMotions_;
    for (const Overlay& overlay : overlays_) {
        std::vector<V3d>& list = overlay.isTexture ? detail.textures : detail.motions;
        std::size_t& next = overlay.isTexture ? texture : motion;
        if (next < list.size()) evaluateOverlay(overlay, place, list[next++]);
    }
    if (texture > 0) return;
    for (std::size_t i = 0; hasTextures_ && i < ownTextures_; ++i)
        detail.textures[i] = vectorOf(&values[3 + 3 * (ownMotions_ + i)]);
    if (hasTextures_) return;
    // A surface without textures is one unit wide and high.
    const auto share = [](const std::vector<BasisPiece>& pieces, double parameter) {
        return (parameter - pieces.front().low) / (pieces.back().high - pieces.front().low);
    };
    detail.textures[0] = {share(net_.piecesU(), parameterU(place)), share(net_.piecesV(), parameterV(place)), 0};
}

}  // namespace lumorender
