#include "surfaces/plane_division.h"

#include <cmath>
#include <deque>

namespace lumorender {

namespace {

/// Twice the area of a triangle of the unit square below which its corners are in line.
constexpr double kFlat = 1e-14;

constexpr std::size_t next(std::size_t i) { return (i + 1) % 3; }
constexpr std::size_t before(std::size_t i) { return (i + 2) % 3; }

}  // namespace

PlaneDivision::PlaneDivision() : points_{{-9, -9}, {10, -9}, {10, 10}, {-9, 10}}, triangleOf_{0, 0, 0, 1} {
    triangles_.push_back({{0, 1, 2}, {kNone, kNone, 1}, {}});
    triangles_.push_back({{0, 2, 3}, {0, kNone, kNone}, {}});
}

/// Above zero where c lies to the left of the way from a to b.
double PlaneDivision::turn(std::uint32_t a, std::uint32_t b, const PlanePoint& c) const {
    const PlanePoint &p = points_[a], &q = points_[b];
    return (q.x - p.x) * (c.y - p.y) - (q.y - p.y) * (c.x - p.x);
}

/// Walks from the last place towards the point.
std::uint32_t PlaneDivision::locate(const PlanePoint& point) const {
    std::uint32_t triangle = last_;
    for (std::size_t step = 0; step < triangles_.size() + 10; ++step) {
        const Triangle& t = triangles_[triangle];
        // Another edge first each time: walks do not go round in circles.
        std::uint32_t beside = kNone;
        for (std::size_t k = 0; k < 3 && beside == kNone; ++k) {
            const std::size_t i = (k + step) % 3;
            if (turn(t.points[i], t.points[next(i)], point) < 0) beside = t.beside[i];
        }
        if (beside == kNone) return triangle;
        triangle = beside;
    }
    return triangle;
}

std::uint32_t PlaneDivision::newPoint(const PlanePoint& point) {
    points_.push_back(point);
    triangleOf_.push_back(0);
    return static_cast<std::uint32_t>(points_.size()) - 1;
}

void PlaneDivision::set(std::uint32_t triangle, const Triangle& content) {
    if (triangle == triangles_.size()) triangles_.emplace_back();
    triangles_[triangle] = content;
    for (const std::uint32_t point : content.points) triangleOf_[point] = triangle;
}

/// The triangle's neighbour is another one now.
void PlaneDivision::relink(std::uint32_t triangle, std::uint32_t from, std::uint32_t to) {
    if (triangle == kNone) return;
    for (std::uint32_t& beside : triangles_[triangle].beside)
        if (beside == from) {
            beside = to;
            return;
        }
}

std::uint32_t PlaneDivision::add(const PlanePoint& point) {
    const std::uint32_t triangle = last_ = locate(point);
    const Triangle t = triangles_[triangle];
    for (const std::uint32_t corner : t.points)
        if (std::hypot(points_[corner].x - point.x, points_[corner].y - point.y) < 1e-10) return corner;
    for (std::size_t i = 0; i < 3; ++i)
        if (turn(t.points[i], t.points[next(i)], point) < kFlat) return splitEdge({triangle, i}, point);
    return splitTriangle(triangle, point);
}

std::uint32_t PlaneDivision::splitTriangle(std::uint32_t triangle, const PlanePoint& point) {
    const Triangle t = triangles_[triangle];
    const std::uint32_t p = newPoint(point), second = static_cast<std::uint32_t>(triangles_.size()), third = second + 1;
    set(triangle, {{t.points[0], t.points[1], p}, {t.beside[0], second, third}, {t.fixed[0], false, false}});
    set(second, {{t.points[1], t.points[2], p}, {t.beside[1], third, triangle}, {t.fixed[1], false, false}});
    set(third, {{t.points[2], t.points[0], p}, {t.beside[2], triangle, second}, {t.fixed[2], false, false}});
    relink(t.beside[1], triangle, second);
    relink(t.beside[2], triangle, third);
    legalize({{triangle, 0}, {second, 0}, {third, 0}});
    return p;
}

std::uint32_t PlaneDivision::splitEdge(Side side, const PlanePoint& point) {
    const std::size_t i = side.edge;
    const Triangle t = triangles_[side.triangle];
    const std::uint32_t other = t.beside[i];
    const std::uint32_t p = newPoint(point), second = static_cast<std::uint32_t>(triangles_.size()), third = second + 1;
    const std::uint32_t a = t.points[i], b = t.points[next(i)], c = t.points[before(i)];
    const bool fixed = t.fixed[i];
    const std::uint32_t acrossA = other == kNone ? kNone : third, acrossB = other;
    set(side.triangle, {{a, p, c}, {acrossA, second, t.beside[before(i)]}, {fixed, false, t.fixed[before(i)]}});
    set(second, {{p, b, c}, {acrossB, t.beside[next(i)], side.triangle}, {fixed, t.fixed[next(i)], false}});
    relink(t.beside[next(i)], side.triangle, second);
    std::vector<Side> sides = {{side.triangle, 2}, {second, 1}};
    if (other != kNone) {
        const Triangle u = triangles_[other];
        const std::size_t k = edgeTowards(other, side.triangle);
        const std::uint32_t d = u.points[before(k)];
        set(other, {{p, d, b}, {third, u.beside[before(k)], second}, {false, u.fixed[before(k)], fixed}});
        set(third, {{p, a, d}, {side.triangle, u.beside[next(k)], other}, {fixed, u.fixed[next(k)], false}});
        // u runs from b to a: behind a comes d.
        relink(u.beside[next(k)], other, third);
        sides.push_back({other, 1});
        sides.push_back({third, 1});
    }
    legalize(std::move(sides));
    return p;
}

std::size_t PlaneDivision::edgeTowards(std::uint32_t triangle, std::uint32_t other) const {
    const Triangle& t = triangles_[triangle];
    for (std::size_t i = 0; i < 3; ++i)
        if (t.beside[i] == other) return i;
    return 0;
}

/// The point opposite lies in the circle around the triangle.
bool PlaneDivision::isBad(Side side) const {
    const Triangle& t = triangles_[side.triangle];
    const std::uint32_t other = t.beside[side.edge];
    if (other == kNone || t.fixed[side.edge]) return false;
    const PlanePoint& d = points_[triangles_[other].points[before(edgeTowards(other, side.triangle))]];
    double m[3][3];
    for (std::size_t i = 0; i < 3; ++i) {
        m[i][0] = points_[t.points[i]].x - d.x;
        m[i][1] = points_[t.points[i]].y - d.y;
        m[i][2] = m[i][0] * m[i][0] + m[i][1] * m[i][1];
    }
    const double inside = m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) -
                          m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
                          m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
    return inside > 1e-12 && isConvex(side);
}

bool PlaneDivision::isConvex(Side side) const {
    const Triangle& t = triangles_[side.triangle];
    const std::uint32_t other = t.beside[side.edge];
    const std::uint32_t a = t.points[side.edge], b = t.points[next(side.edge)], c = t.points[before(side.edge)];
    const std::uint32_t d = triangles_[other].points[before(edgeTowards(other, side.triangle))];
    return turn(a, d, points_[c]) > kFlat && turn(d, b, points_[c]) > kFlat;
}

/// The two triangles at the edge get the other diagonal. It is edge 1 of the first one, which keeps the edge's start.
void PlaneDivision::flip(Side side) {
    const Triangle t = triangles_[side.triangle];
    const std::size_t i = side.edge;
    const std::uint32_t other = t.beside[i];
    const Triangle u = triangles_[other];
    const std::size_t k = edgeTowards(other, side.triangle);
    const std::uint32_t a = t.points[i], b = t.points[next(i)], c = t.points[before(i)], d = u.points[before(k)];
    set(side.triangle,
        {{a, d, c}, {u.beside[next(k)], other, t.beside[before(i)]}, {u.fixed[next(k)], false, t.fixed[before(i)]}});
    set(other, {{d, b, c},
                {u.beside[before(k)], t.beside[next(i)], side.triangle},
                {u.fixed[before(k)], t.fixed[next(i)], false}});
    relink(u.beside[next(k)], other, side.triangle);
    relink(t.beside[next(i)], side.triangle, other);
}

void PlaneDivision::legalize(std::vector<Side> sides) {
    while (!sides.empty()) {
        const Side side = sides.back();
        sides.pop_back();
        if (!isBad(side)) continue;
        const std::uint32_t other = triangles_[side.triangle].beside[side.edge];
        flip(side);
        for (const std::size_t edge : {std::size_t{0}, std::size_t{2}}) sides.push_back({side.triangle, edge});
        for (const std::size_t edge : {std::size_t{0}, std::size_t{1}}) sides.push_back({other, edge});
    }
}

/// The side from one point to another, or none.
PlaneDivision::Side PlaneDivision::find(std::uint32_t from, std::uint32_t to) const {
    std::uint32_t triangle = triangleOf_[from];
    const std::uint32_t first = triangle;
    do {
        const Triangle& t = triangles_[triangle];
        const std::size_t i = t.points[0] == from ? 0 : t.points[1] == from ? 1 : 2;
        if (t.points[next(i)] == to) return {triangle, i};
        triangle = t.beside[before(i)];
    } while (triangle != first && triangle != kNone);
    return {kNone, 0};
}

void PlaneDivision::fix(Side side) {
    triangles_[side.triangle].fixed[side.edge] = true;
    const std::uint32_t other = triangles_[side.triangle].beside[side.edge];
    if (other != kNone) triangles_[other].fixed[edgeTowards(other, side.triangle)] = true;
}

PlaneDivision::Exit PlaneDivision::exitFrom(std::uint32_t from, std::uint32_t to) const {
    const PlanePoint &start = points_[from], &end = points_[to];
    const auto isAhead = [&](const PlanePoint& p) {
        return (p.x - start.x) * (end.x - start.x) + (p.y - start.y) * (end.y - start.y) > 0;
    };
    std::uint32_t triangle = triangleOf_[from];
    const std::uint32_t first = triangle;
    do {
        const Triangle& t = triangles_[triangle];
        const std::size_t i = t.points[0] == from ? 0 : t.points[1] == from ? 1 : 2;
        const std::uint32_t right = t.points[next(i)], left = t.points[before(i)];
        const double toRight = turn(from, to, points_[right]), toLeft = turn(from, to, points_[left]);
        if (std::abs(toRight) <= kFlat && isAhead(points_[right])) return {{kNone, 0}, right};
        if (std::abs(toLeft) <= kFlat && isAhead(points_[left])) return {{kNone, 0}, left};
        if (toRight < 0 && toLeft > 0) return {{triangle, next(i)}, kNone};
        triangle = t.beside[before(i)];
    } while (triangle != first && triangle != kNone);
    return {};
}

void PlaneDivision::addLine(std::uint32_t from, std::uint32_t to) {
    while (from != to) {
        if (const Side side = find(from, to); side.triangle != kNone) return fix(side);
        Exit exit = exitFrom(from, to);
        std::deque<std::array<std::uint32_t, 2>> crossed;
        std::uint32_t end = to;
        // On through the triangles between, up to the end, a point on the line or a line that is crossed.
        while (exit.point == kNone) {
            if (exit.side.triangle == kNone) return;  // rounding hides where the line goes
            const Triangle t = triangles_[exit.side.triangle];
            const std::uint32_t a = t.points[exit.side.edge], b = t.points[next(exit.side.edge)];
            if (t.fixed[exit.side.edge]) {
                const double before = turn(from, to, points_[a]), behind = turn(from, to, points_[b]);
                const double share = before / (before - behind);
                const PlanePoint cross{points_[a].x + (points_[b].x - points_[a].x) * share,
                                       points_[a].y + (points_[b].y - points_[a].y) * share};
                const std::uint32_t point = splitEdge(exit.side, cross);
                addLine(from, point);
                return addLine(point, to);
            }
            crossed.push_back({a, b});
            const std::uint32_t across = t.beside[exit.side.edge];
            const std::size_t k = edgeTowards(across, exit.side.triangle);
            const std::uint32_t opposite = triangles_[across].points[before(k)];
            const double side = turn(from, to, points_[opposite]);
            if (opposite == to || std::abs(side) <= kFlat)
                exit.point = opposite;
            else
                exit.side = {across, side > 0 ? next(k) : before(k)};
        }
        end = exit.point;
        // What crosses is turned until nothing does.
        for (std::size_t patience = 50 * (crossed.size() + 10); !crossed.empty() && patience > 0; --patience) {
            const auto [a, b] = crossed.front();
            crossed.pop_front();
            // Nothing goes all round the points outside of the square: from those inside every edge is found.
            const Side side = a < 4 ? find(b, a) : find(a, b);
            if (side.triangle == kNone) continue;
            if (!isConvex(side)) {
                crossed.push_back({a, b});
                continue;
            }
            const Triangle t = triangles_[side.triangle];
            const std::uint32_t other = t.beside[side.edge];
            const std::uint32_t c = t.points[before(side.edge)];
            const std::uint32_t d = triangles_[other].points[before(edgeTowards(other, side.triangle))];
            flip(side);
            const bool isPart = c == from || c == end || d == from || d == end;
            if (!isPart && turn(from, end, points_[c]) * turn(from, end, points_[d]) < 0) crossed.push_back({d, c});
        }
        if (const Side side = find(from, end); side.triangle != kNone) fix(side);
        from = end;
    }
}

}  // namespace lumorender
