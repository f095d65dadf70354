// Joining the borders of patches.
#include "support/abort.h"
#include "support/neighbour_grid.h"
#include "surfaces/tessellator.h"

#include <ImathBox.h>

#include <algorithm>
#include <cmath>
#include <unordered_map>

namespace lumorender {

double Tessellator::size() const {
    Imath::Box3d box;
    for (const Place& place : places_)
        if (isFinite(place.position)) box.extendBy(place.position);
    return box.isEmpty() ? 1 : std::max(length(box.size()), 1e-30);
}

/// Ends of borders that are at one point become one place.
void Tessellator::joinPlaces(double tolerance) {
    NeighbourGrid<std::uint32_t> grid(tolerance);
    std::vector<bool> seen(vertices_.size(), false);
    for (const std::uint32_t border : borders_)
        for (const std::uint32_t end : edges_[border].ends) {
            if (seen[end]) continue;
            seen[end] = true;
            std::uint32_t& place = vertices_[end].place;
            const V3d& point = position(place);
            const auto isHere = [&](std::uint32_t other) {
                const V3d way = position(other) - point;
                return dot(way, way) <= tolerance * tolerance;
            };
            if (const std::uint32_t* found = grid.find(point, isHere))
                place = *found;
            else
                grid.add(point, place);
        }
}

/// The nearest place of the line to a point: how far along it, and how far away.
Tessellator::NearPlace Tessellator::nearestPlace(const Edge& edge, const V3d& point) const {
    const Vertex &a = vertices_[edge.ends[0]], &b = vertices_[edge.ends[1]];
    const auto away = [&](double t) {
        const PatchPlace place{a.at.patch, a.at.u + (b.at.u - a.at.u) * t, a.at.v + (b.at.v - a.at.v) * t};
        return length(patchesOf(a.surface).at(place).position - point);
    };
    constexpr int kSamples = 16;
    double best = 0, least = away(0);
    for (int i = 1; i <= kSamples; ++i)
        if (const double distance = away(1.0 * i / kSamples); distance < least) {
            least = distance;
            best = 1.0 * i / kSamples;
        }
    // Golden sections of the two parts around the best sample.
    double low = std::max(best - 1.0 / kSamples, 0.0), high = std::min(best + 1.0 / kSamples, 1.0);
    for (int i = 0; i < 50; ++i) {
        constexpr double kSection = 0.3819660112501051;
        const double first = low + (high - low) * kSection, second = high - (high - low) * kSection;
        (away(first) < away(second) ? high : low) = away(first) < away(second) ? second : first;
    }
    const double t = (low + high) / 2;
    return {t, away(t)};
}

/// Ends of other borders that lie on a border which has no partner divide it there, until none does: borders that are the
/// same line have partners then, wherever their patches end.
void Tessellator::cutBorders(double tolerance) {
    constexpr int kMostRounds = 200;
    for (int round = 0; round < kMostRounds; ++round) {
        throwIfAborted();
        std::vector<std::uint32_t> single;
        for (const std::uint32_t border : borders_)
            if (edges_[border].master == border && !edges_[border].joined) single.push_back(border);
        std::vector<std::uint32_t> places;
        for (const std::uint32_t border : single)
            for (const std::uint32_t end : edges_[border].ends) places.push_back(vertices_[end].place);
        std::sort(places.begin(), places.end());
        places.erase(std::unique(places.begin(), places.end()), places.end());
        std::stable_sort(places.begin(), places.end(),
                         [this](std::uint32_t a, std::uint32_t b) { return position(a).x < position(b).x; });
        bool any = false;
        for (const std::uint32_t border : single) any = chooseCut(border, places, tolerance) || any;
        if (!any) return;
        divideTriangles();
        evaluateNewVertices();
        std::vector<std::uint32_t> left;
        for (const std::uint32_t border : borders_) {
            const Edge& edge = edges_[border];
            if (edge.middle == kNone)
                left.push_back(border);
            else
                left.insert(left.end(), {edge.halves, edge.halves + 1});
        }
        borders_ = std::move(left);
        joinBorders(tolerance);
    }
}

/// Of places in the order of their x.
bool Tessellator::chooseCut(std::uint32_t border, const std::vector<std::uint32_t>& places, double tolerance) {
    Edge& edge = edges_[border];
    Imath::Box3d box;
    for (const std::uint32_t end : edge.ends) box.extendBy(position(vertices_[end].place));
    for (const PatchPoint& point : shapeOf(edge).inner) box.extendBy(point.position);
    // The line may leave the box of five of its points a little.
    const double margin = tolerance + length(box.size()) / 4;
    double nearest = 1;
    const auto first = std::lower_bound(places.begin(), places.end(), box.min.x - margin,
                                        [this](std::uint32_t place, double x) { return position(place).x < x; });
    for (auto at = first; at != places.end() && position(*at).x <= box.max.x + margin; ++at) {
        const std::uint32_t place = *at;
        const V3d& point = position(place);
        bool isNear = vertices_[edge.ends[0]].place != place && vertices_[edge.ends[1]].place != place;
        for (int i = 0; i < 3; ++i)
            isNear = isNear && point[i] >= box.min[i] - margin && point[i] <= box.max[i] + margin;
        if (!isNear) continue;
        const NearPlace found = nearestPlace(edge, point);
        if (found.distance > tolerance || found.share < 1e-6 || found.share > 1 - 1e-6) continue;
        // The one in the middle first.
        if (const double off = std::abs(found.share - 0.5); off < nearest) {
            nearest = off;
            edge.share = found.share;
            edge.cut = place;
            edge.need = 2;
        }
    }
    return nearest < 1;
}

/// Lines are the same where the middle points of each lie on the other one, as far as the tolerance goes.
Tessellator::Direction Tessellator::compare(const Edge& edge, const EdgeShape& shape, const Edge& other,
                                            const EdgeShape& otherShape, double tolerance) const {
    const auto place = [this](const Edge& e, int end) { return vertices_[e.ends[end]].place; };
    const auto isSame = [&](int from, int step) {
        bool same = true;
        for (int i = 0; i < 3; ++i) {
            const V3d way = shape.inner[i].position - otherShape.inner[from + step * i].position;
            same = same && dot(way, way) <= tolerance * tolerance;
        }
        // The same line with other parameters.
        for (int i = 0; i < 3 && !same; ++i)
            if (nearestPlace(other, shape.inner[i].position).distance > tolerance ||
                nearestPlace(edge, otherShape.inner[i].position).distance > tolerance)
                return false;
        return true;
    };
    if (place(edge, 0) == place(other, 0) && place(edge, 1) == place(other, 1) && isSame(0, 1)) return Direction::Same;
    if (place(edge, 0) == place(other, 1) && place(edge, 1) == place(other, 0) && isSame(2, -1))
        return Direction::Opposite;
    return Direction::Different;
}

void Tessellator::joinBorders(double tolerance) {
    struct Candidate {
        std::uint32_t edge;
        EdgeShape shape;
    };
    std::unordered_map<std::uint64_t, std::vector<Candidate>> masters;
    for (const std::uint32_t number : borders_) {
        Edge& edge = edges_[number];
        if (edge.master != number) continue;
        const std::uint32_t a = vertices_[edge.ends[0]].place, b = vertices_[edge.ends[1]].place;
        auto& candidates = masters[std::uint64_t{std::min(a, b)} << 32 | std::max(a, b)];
        const EdgeShape shape = shapeOf(edge);
        const auto found = std::find_if(candidates.begin(), candidates.end(), [&](const Candidate& candidate) {
            const Direction direction = compare(edge, shape, edges_[candidate.edge], candidate.shape, tolerance);
            edge.reversed = direction == Direction::Opposite;
            return direction != Direction::Different;
        });
        if (found == candidates.end() || edge.joined) {
            candidates.push_back({number, shape});
            continue;
        }
        edge.master = found->edge;
        Edge& master = edges_[found->edge];
        edge.joined = master.joined = true;
        const std::uint32_t surface = vertices_[edge.ends[0]].surface;
        if (vertices_[master.ends[0]].surface != surface) master.other = surface;
    }
}

}  // namespace lumorender
