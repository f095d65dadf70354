#include "geometry/hair.h"
#include "geometry/placement_at.h"

#include <algorithm>
#include <cmath>

namespace lumorender {

namespace {

/// Bernstein's polynomials and their derivatives, or those of a straight line.
struct CurveWeights {
    int count;
    double values[4], slopes[4];

    CurveWeights(bool curved, double u) : count(curved ? 4 : 2) {
        const double w = 1 - u;
        if (!curved) {
            values[0] = w, values[1] = u;
            slopes[0] = -1, slopes[1] = 1;
            return;
        }
        values[0] = w * w * w, values[1] = 3 * u * w * w, values[2] = 3 * u * u * w, values[3] = u * u * u;
        slopes[0] = -3 * w * w, slopes[1] = 3 * w * (w - 2 * u), slopes[2] = 3 * u * (2 * w - u), slopes[3] = 3 * u * u;
    }
};

V3d position(const CurvePoint& p) { return {p.x, p.y, p.z}; }

/// The vertex of straight hairs at a time.
V3d vertexAt(const Hair& hair, std::uint32_t point, double time) {
    if (!hair.moves() || !(time > 0)) return position(hair.points[0][point]);
    const auto parts = hair.points.size() - 1;
    const auto part = std::min(static_cast<std::size_t>(time * static_cast<double>(parts)), parts - 1);
    const V3d from = position(hair.points[part][point]), to = position(hair.points[part + 1][point]);
    return from + (to - from) * (time * static_cast<double>(parts) - static_cast<double>(part));
}

/// Straight pieces end in round caps, which lie on their neighbours. Each counts up to the plane halfway between the
/// two directions; the first and the last end with the hair.
bool isBetweenNeighbours(const Hair& hair, std::uint32_t piece, double time, const V3d& p, double radius) {
    const std::uint32_t first = hair.starts[piece];
    const V3d a = vertexAt(hair, first, time), b = vertexAt(hair, first + 1, time);
    const V3d along = unit(b - a);
    const double fromStart = dot(p - a, along), toEnd = dot(b - p, along);
    if (fromStart > 2 * radius && toEnd > 2 * radius) return true;
    const V3d before = hair.isFirst(piece) ? along : unit(a - vertexAt(hair, first - 1, time));
    const V3d behind = hair.isLast(piece) ? along : unit(vertexAt(hair, first + 2, time) - b);
    return dot(p - a, along + before) >= 0 && dot(p - b, along + behind) < 0;
}

/// The kernels draw curves with straight parts: moves u to where the curve passes the point (Newton's method).
void improvePlace(const Hair& hair, const V3d& point, Hit& hit, HairPlace& place) {
    for (int step = 0; step < 3; ++step) {
        const double change = dot(point - place.center, place.tangent) / dot(place.tangent, place.tangent);
        const double u = std::clamp(static_cast<double>(hit.u) + std::clamp(change, -0.1, 0.1), 0.0, 1.0);
        if (!(std::abs(u - static_cast<double>(hit.u)) > 1e-6)) return;
        hit.u = static_cast<float>(u);
        place = hairPlace(hair, hit.primitive, u, hit.time);
    }
}

}  // namespace

HairPlace hairPlace(const Hair& hair, std::uint32_t piece, double u, double time) {
    const CurveWeights weights(hair.curved, u);
    const std::uint32_t first = hair.starts[piece];
    HairPlace place{V3d(0), V3d(0), V3d(0), 0};
    const auto add = [&](const std::vector<CurvePoint>& points, double share) {
        for (int i = 0; i < weights.count; ++i) {
            const CurvePoint& p = points[first + static_cast<std::uint32_t>(i)];
            place.center += position(p) * (weights.values[i] * share);
            place.tangent += position(p) * (weights.slopes[i] * share);
            place.radius += static_cast<double>(p.radius) * weights.values[i] * share;
        }
    };
    if (hair.moves() && time > 0) {
        const auto parts = hair.points.size() - 1;
        const auto part = std::min(static_cast<std::size_t>(time * static_cast<double>(parts)), parts - 1);
        const double share = time * static_cast<double>(parts) - static_cast<double>(part);
        add(hair.points[part], 1 - share);
        add(hair.points[part + 1], share);
    } else {
        add(hair.points[0], 1);
    }
    if (hair.isRibbon())
        for (int i = 0; i < weights.count; ++i)
            place.normal += wide(hair.normals[first + static_cast<std::uint32_t>(i)]) * weights.values[i];
    // Where two of the points lie on each other the curve stands still: it goes on from the first to the last.
    if (isZero(place.tangent)) {
        const auto& points = hair.points[0];
        place.tangent = position(points[first + hair.stride()]) - position(points[first]);
        if (isZero(place.tangent)) place.tangent = V3d(0, 0, 1);
    }
    return place;
}

HairFrame::HairFrame(const Hair& hair, const HairPlace& place, const V3d& dir) {
    const V3d tangent = unit(place.tangent);
    across = cross(hair.isRibbon() ? -place.normal : dir, tangent);
    if (!(length(across) > 1e-9 * length(dir))) across = perpendicular(tangent);
    across = unit(across);
    facing = cross(across, tangent);
}

bool meetHair(const Ray& ray, Hit& hit) {
    const Hair& hair = *hit.instance->hair;
    const PlacementAt placement(*hit.instance, hit.time);
    const V3d org = placement.pointToLocal(wide(ray.org)), dir = placement.vectorToLocal(wide(ray.dir));
    HairPlace place = hairPlace(hair, hit.primitive, hit.u, hit.time);
    if (hair.curved) improvePlace(hair, org + dir * hit.dist, hit, place);
    const HairFrame frame(hair, place, dir);

    // Where the ray crosses the ribbon's plane; seen edge on, the kernels' distance stays.
    const double diameter = 2 * place.radius / length(dir);
    const double dist = dot(place.center - org, frame.facing) / dot(dir, frame.facing);
    if (std::abs(dist - hit.dist) <= diameter + 1e-5 * hit.dist) hit.dist = dist;
    if (!hair.isRibbon() && hit.dist > ray.far - diameter) return false;

    const V3d point = org + dir * hit.dist;
    if (!hair.curved && !isBetweenNeighbours(hair, hit.primitive, hit.time, point, place.radius)) return false;
    const double side = place.radius > 0 ? dot(point - place.center, frame.across) / place.radius : 0;
    hit.v = static_cast<float>(std::clamp(side / 2 + 0.5, 0.0, 1.0));
    hit.point = wide(ray.org) + wide(ray.dir) * hit.dist;
    return true;
}

double hairRadius(const Hit& hit) {
    const double scale = meanScale(hit.instance->placement->localToWorld);
    return scale * hairPlace(*hit.instance->hair, hit.primitive, hit.u, hit.time).radius;
}

}  // namespace lumorender
