#include "surfaces/parameter_curve.h"

#include "support/geometry.h"

#include <algorithm>

namespace lumorender {

ParameterCurve::ParameterCurve(const CurveSource& curve, const PolygonGroupSource& group)
    : pieces_(piecesOf(curve.direction)), degree_(curve.direction.basis.degree) {
    const auto n = static_cast<std::size_t>(degree_) + 1;
    const auto vectorOf = [&](int vertex) -> const miVector& {
        return group.vectors[static_cast<std::size_t>(group.vertices[static_cast<std::size_t>(vertex)].position)];
    };
    for (const BasisPiece& piece : pieces_)
        for (std::size_t j = 0; j < n; ++j) {
            double sums[3] = {};
            for (std::size_t k = 0; k < n; ++k) {
                const ControlPoint& point = curve.points[piece.firstPoint + k];
                const V3d place = wide(vectorOf(point.vertex));
                const double weight =
                    piece.toBezier[j * n + k] * (curve.direction.rational ? static_cast<double>(point.weight) : 1);
                sums[0] += weight;
                sums[1] += weight * place.x;
                sums[2] += weight * place.y;
            }
            points_.insert(points_.end(), sums, sums + 3);
        }
    for (const int vertex : curve.specials) specials_.push_back(static_cast<double>(vectorOf(vertex).x));
}

PlanePoint ParameterCurve::at(double parameter) const {
    std::size_t i = 0;
    while (i + 1 < pieces_.size() && parameter >= pieces_[i].high) ++i;
    const BasisPiece& piece = pieces_[i];
    const Bernstein values(degree_, std::clamp((parameter - piece.low) / (piece.high - piece.low), 0.0, 1.0));
    const double* point = points_.data() + 3 * i * (static_cast<std::size_t>(degree_) + 1);
    double sums[3] = {};
    for (int k = 0; k <= degree_; ++k, point += 3)
        for (int n = 0; n < 3; ++n) sums[n] += values.value(k) * point[n];
    return {sums[1] / sums[0], sums[2] / sums[0]};
}

std::vector<double> ParameterCurve::cornersBetween(double from, double to) const {
    const double low = std::min(from, to), high = std::max(from, to);
    std::vector<double> corners;
    const auto add = [&](double parameter) {
        if (parameter > low && parameter < high) corners.push_back(parameter);
    };
    for (const BasisPiece& piece : pieces_) add(piece.low);
    for (const double special : specials_) add(special);
    std::sort(corners.begin(), corners.end());
    if (from > to) std::reverse(corners.begin(), corners.end());
    return corners;
}

}  // namespace lumorender
