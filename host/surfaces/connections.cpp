#include "surfaces/connections.h"

#include "surfaces/parameter_curve.h"

#include <algorithm>

namespace lumorender {

namespace {

constexpr int kSamples = 64;

std::vector<V3d> lineOf(const CurvePiece& piece, const PolygonGroupSource& group, const FreeFormPatches& patches) {
    const ParameterCurve curve(group.surfaces.curves[static_cast<std::size_t>(piece.curve)], group);
    const double low = static_cast<double>(piece.low), high = static_cast<double>(piece.high);
    std::vector<V3d> line;
    for (int i = 0; i <= kSamples; ++i) {
        const PlanePoint point = curve.at(low + (high - low) * i / kSamples);
        line.push_back(patches.at(patches.placeOf(point.x, point.y)).position);
    }
    return line;
}

double distanceTo(const std::vector<V3d>& line, const V3d& point) {
    double least = 1e300;
    for (std::size_t i = 0; i + 1 < line.size(); ++i) {
        const V3d way = line[i + 1] - line[i];
        const double squared = dot(way, way);
        const double t = squared > 0 ? std::clamp(dot(point - line[i], way) / squared, 0.0, 1.0) : 0;
        least = std::min(least, length(line[i] + way * t - point));
    }
    return least;
}

}  // namespace

double gapOf(const ConnectionSource& connection, const PolygonGroupSource& group, const FreeFormPatches& first,
             const FreeFormPatches& second) {
    const std::vector<V3d> a = lineOf(connection.pieces[0], group, first);
    const std::vector<V3d> b = lineOf(connection.pieces[1], group, second);
    double most = 0;
    for (std::size_t i = 0; i < a.size(); ++i) most = std::max({most, distanceTo(b, a[i]), distanceTo(a, b[i])});
    return most;
}

}  // namespace lumorender
