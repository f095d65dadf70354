#include "surfaces/trimmed_domain.h"

#include "support/messages.h"
#include "surfaces/surface_rules.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <unordered_map>

namespace lumorender {

namespace {

/// Points of the unit square that are closer than this are one; ends of loops may be so far apart.
constexpr double kNear = 1e-9, kOpen = 1e-3;
constexpr std::size_t kMostPoints = 1 << 18;  ///< of a loop

PlanePoint mix(const PlanePoint& a, const PlanePoint& b, double t) {
    return {a.x + (b.x - a.x) * t, a.y + (b.y - a.y) * t};
}
double distance(const PlanePoint& a, const PlanePoint& b) { return std::hypot(a.x - b.x, a.y - b.y); }

/// What runs along a border of patches is to lie on it.
void snap(double& value, const std::vector<double>& lines) {
    for (const double line : lines)
        if (std::abs(value - line) < kNear) value = line;
}

/// Even and odd crossings of the ray to the right.
bool contains(const std::vector<PlanePoint>& loop, const PlanePoint& point) {
    bool inside = false;
    for (std::size_t i = 0, k = loop.size() - 1; i < loop.size(); k = i++) {
        const PlanePoint &a = loop[i], &b = loop[k];
        if ((a.y > point.y) != (b.y > point.y) && point.x < a.x + (b.x - a.x) * (point.y - a.y) / (b.y - a.y))
            inside = !inside;
    }
    return inside;
}

}  // namespace

TrimmedDomain::TrimmedDomain(const SurfaceSource& surface, const PolygonGroupSource& group,
                             const FreeFormPatches& patches, const CurveRules& rules, int partsU, int partsV)
    : surface_(surface), group_(group), patches_(patches), rules_(rules) {
    addNet(partsU, partsV);
    for (const LoopSource& loop : surface.loops) addLoop(loop);
    for (const int vertex : surface.specials) {
        const VertexSource& source = group.vertices[static_cast<std::size_t>(vertex)];
        const V3d place = wide(group.vectors[static_cast<std::size_t>(source.position)]);
        division_.add(inSquare({place.x, place.y}));
    }
}

/// Borders of patches, and of parts of them, are lines that no triangle crosses.
void TrimmedDomain::addNet(int partsU, int partsV) {
    const auto divide = [](const std::vector<BasisPiece>& pieces, int parts, std::vector<double>& ends) {
        const double low = pieces.front().low, size = pieces.back().high - low;
        std::vector<double> lines;
        for (const BasisPiece& piece : pieces) {
            ends.push_back((piece.low - low) / size);
            for (int i = 0; i < parts; ++i)
                lines.push_back((piece.low + (piece.high - piece.low) * i / parts - low) / size);
        }
        ends.push_back(1);
        lines.push_back(1);
        return lines;
    };
    const std::vector<double> u = divide(patches_.net().piecesU(), partsU, columns_);
    const std::vector<double> v = divide(patches_.net().piecesV(), partsV, rows_);
    std::vector<std::uint32_t> numbers;
    for (const double y : v)
        for (const double x : u) numbers.push_back(division_.add({x, y}));
    for (std::size_t j = 0; j < v.size(); ++j)
        for (std::size_t i = 0; i < u.size(); ++i) {
            if (i + 1 < u.size()) division_.addLine(numbers[j * u.size() + i], numbers[j * u.size() + i + 1]);
            if (j + 1 < v.size()) division_.addLine(numbers[j * u.size() + i], numbers[(j + 1) * u.size() + i]);
        }
}

PlanePoint TrimmedDomain::inSquare(const PlanePoint& parameters) const {
    const auto share = [](const std::vector<BasisPiece>& pieces, double value) {
        return std::clamp((value - pieces.front().low) / (pieces.back().high - pieces.front().low), 0.0, 1.0);
    };
    PlanePoint point{share(patches_.net().piecesU(), parameters.x), share(patches_.net().piecesV(), parameters.y)};
    snap(point.x, columns_);
    snap(point.y, rows_);
    return point;
}

std::uint32_t TrimmedDomain::patchAt(const PlanePoint& point) const {
    const auto find = [](const std::vector<double>& ends, double value) {
        std::size_t i = 0;
        while (i + 2 < ends.size() && value >= ends[i + 1]) ++i;
        return i;
    };
    return static_cast<std::uint32_t>(find(rows_, point.y) * patches_.columns() + find(columns_, point.x));
}

PatchPlace TrimmedDomain::placeOf(const PlanePoint& point, std::uint32_t patch) const {
    const std::size_t i = patch % patches_.columns(), j = patch / patches_.columns();
    const auto share = [](double value, double low, double high) {
        return value == high ? 1 : std::clamp((value - low) / (high - low), 0.0, 1.0);
    };
    return {patch, share(point.x, columns_[i], columns_[i + 1]), share(point.y, rows_[j], rows_[j + 1])};
}

V3d TrimmedDomain::positionAt(const PlanePoint& point) const {
    return patches_.at(placeOf(point, patchAt(point))).position;
}

/// What is straight among the parameters needs no points: edges of triangles are divided there, too.
float TrimmedDomain::needOf(const ParameterCurve& curve, const Approximation& rules, double from, double to,
                            int level) const {
    const PlanePoint a = inSquare(curve.at(from)), b = inSquare(curve.at(to));
    V3d along[5];
    double bent = 0, farthest = 0;
    for (int i = 0; i < 5; ++i) {
        const double t = i / 4.0;
        const PlanePoint point = inSquare(curve.at(from + (to - from) * t)), straight = mix(a, b, t);
        along[i] = positionAt(point);
        bent = std::max(bent, distance(point, straight));
        farthest = std::max(farthest, length(positionAt(straight) - along[i]));
    }
    if (bent < kNear) return 0;
    double turned = 0;
    for (int i = 0; i < 3; ++i) {
        const V3d here = along[i + 1] - along[i], then = along[i + 2] - along[i + 1];
        turned += std::atan2(length(cross(here, then)), dot(here, then)) * 180 / std::numbers::pi;
    }
    float most = 0;
    for (const ApproximationRule& rule : rules) {
        if (level < rule.least) most = std::max(most, 2.0F);
        if (level >= rule.most) continue;
        const auto measure = [&](const V3d& p, const V3d& q, float limit) {
            return limit > 0 ? (*rules_.measure)(p, q, rule, limit) : 0;
        };
        most = std::max({most, measure(along[0], along[4], rule.length),
                         measure(along[2], along[2] + V3d(farthest, 0, 0), rule.distance)});
        // The chords that are looked at leave out a quarter of the way.
        if (rule.angle > 0) most = std::max(most, static_cast<float>(turned * 4 / 3 / static_cast<double>(rule.angle)));
    }
    return most;
}

/// Points behind the first one of this part.
void TrimmedDomain::addPart(const ParameterCurve& curve, const Approximation& rules, double from, double to, int level,
                            std::vector<PlanePoint>& points) const {
    if (level < 24 && points.size() < kMostPoints && needOf(curve, rules, from, to, level) > 1) {
        const double middle = (from + to) / 2;
        addPart(curve, rules, from, middle, level + 1, points);
        return addPart(curve, rules, middle, to, level + 1, points);
    }
    const PlanePoint end = inSquare(curve.at(to));
    if (points.empty() || distance(points.back(), end) > kNear) points.push_back(end);
}

void TrimmedDomain::addLoop(const LoopSource& source) {
    Loop loop{source.kind, {}};
    double gap = 0;
    for (const CurvePiece& piece : source.pieces) {
        const CurveSource& given = group_.surfaces.curves[static_cast<std::size_t>(piece.curve)];
        const ParameterCurve curve(given, group_);
        const Approximation rules = rules_.rules(given);
        const double low = static_cast<double>(piece.low), high = static_cast<double>(piece.high);
        const PlanePoint start = inSquare(curve.at(low));
        if (!loop.points.empty()) gap = std::max(gap, distance(loop.points.back(), start));
        if (loop.points.empty() || distance(loop.points.back(), start) > kNear) loop.points.push_back(start);
        std::vector<double> ends = curve.cornersBetween(low, high);
        ends.insert(ends.begin(), low);
        ends.push_back(high);
        const int parts = partsOf(rules, 0, curve.degree(), ends.size() - 1);
        for (std::size_t i = 0; i + 1 < ends.size(); ++i)
            for (int k = 0; k < parts; ++k) {
                const auto at = [&](int n) { return ends[i] + (ends[i + 1] - ends[i]) * n / parts; };
                addPart(curve, rules, at(k), at(k + 1), 0, loop.points);
            }
    }
    const bool isClosed = source.kind != LoopSource::Kind::Special;
    if (isClosed) gap = std::max(gap, distance(loop.points.front(), loop.points.back()));
    if (gap > kOpen)
        warning("GEOM", "{}: the curves of this loop do not meet, they are joined by straight lines", source.where);
    if (isClosed && loop.points.size() > 1 && distance(loop.points.front(), loop.points.back()) <= kOpen)
        loop.points.pop_back();
    if (isClosed && loop.points.size() < 3) throw Failure(fmt::format("the loop of {} has no area", source.where));

    std::vector<std::uint32_t> numbers;
    for (PlanePoint& point : loop.points) numbers.push_back(division_.add(point));
    for (std::size_t i = 0; i + (isClosed ? 0 : 1) < numbers.size(); ++i)
        division_.addLine(numbers[i], numbers[(i + 1) % numbers.size()]);
    if (isClosed) loops_.push_back(std::move(loop));
}

bool TrimmedDomain::isInside(const PlanePoint& point) const {
    bool hasTrim = false, inside = false;
    for (const Loop& loop : loops_) {
        const bool within = contains(loop.points, point);
        if (loop.kind == LoopSource::Kind::Hole && within) return false;
        if (loop.kind == LoopSource::Kind::Hole) continue;
        hasTrim = true;
        inside = inside || within;
    }
    return inside || !hasTrim;
}

PlanePoint TrimmedDomain::middleOf(const PlaneDivision::Triangle& triangle) const {
    PlanePoint middle;
    for (const std::uint32_t point : triangle.points) {
        middle.x += division_.points()[point].x / 3;
        middle.y += division_.points()[point].y / 3;
    }
    return middle;
}

/// All triangles that no line parts are inside, or none.
std::vector<bool> TrimmedDomain::chooseTriangles() const {
    const auto& triangles = division_.triangles();
    const auto isAround = [](const PlaneDivision::Triangle& t) {
        return std::any_of(t.points.begin(), t.points.end(), [](std::uint32_t point) { return point < 4; });
    };
    std::vector<bool> seen(triangles.size(), false), chosen(triangles.size(), false);
    std::vector<std::uint32_t> region;
    for (std::uint32_t first = 0; first < triangles.size(); ++first) {
        if (seen[first] || isAround(triangles[first])) continue;
        region.assign(1, first);
        seen[first] = true;
        for (std::size_t i = 0; i < region.size(); ++i)
            for (std::size_t edge = 0; edge < 3; ++edge) {
                const PlaneDivision::Triangle& t = triangles[region[i]];
                const std::uint32_t beside = t.beside[edge];
                if (t.fixed[edge] || beside == PlaneDivision::kNone || seen[beside]) continue;
                seen[beside] = true;
                region.push_back(beside);
            }
        const PlaneDivision::Triangle& t = triangles[first];
        const bool inside = isInside(middleOf(t));
        for (const std::uint32_t triangle : region) chosen[triangle] = inside;
    }
    return chosen;
}

std::vector<TrimmedDomain::Piece> TrimmedDomain::pieces() const {
    const std::vector<bool> chosen = chooseTriangles();
    std::vector<Piece> pieces(patches_.patches());
    std::vector<std::unordered_map<std::uint32_t, std::uint32_t>> numbers(pieces.size());
    for (std::size_t i = 0; i < chosen.size(); ++i) {
        if (!chosen[i]) continue;
        const PlaneDivision::Triangle& t = division_.triangles()[i];
        const std::uint32_t patch = patchAt(middleOf(t));
        Piece& piece = pieces[patch];
        std::array<std::uint32_t, 3> corners;
        for (std::size_t k = 0; k < 3; ++k) {
            const auto [found, isNew] =
                numbers[patch].try_emplace(t.points[k], static_cast<std::uint32_t>(piece.places.size()));
            if (isNew) piece.places.push_back(placeOf(division_.points()[t.points[k]], patch));
            corners[k] = found->second;
        }
        piece.triangles.push_back(corners);
    }
    return pieces;
}

}  // namespace lumorender
