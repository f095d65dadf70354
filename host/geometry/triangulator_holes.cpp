// Bridges that turn a polygon with holes into one ring: from the rightmost corner of each hole to a corner of the ring
// that it can see. The idea is D. Eberly's, "Triangulation by Ear Clipping"; unlike there, corners that bridges have
// doubled are told apart by the direction in which they open.
#include "geometry/triangulator.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace lumorender {

namespace {

constexpr std::uint32_t kNone = std::numeric_limits<std::uint32_t>::max();

struct Point {
    double x, y;
};

double turnOf(const Point& a, const Point& b, const Point& c) {
    return (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x);
}

/// Inside or on the border, whichever way the triangle turns.
bool triangleContains(const Point& a, const Point& b, const Point& c, const Point& p) {
    const double u = turnOf(a, b, p), v = turnOf(b, c, p), w = turnOf(c, a, p);
    return (u >= 0 && v >= 0 && w >= 0) || (u <= 0 && v <= 0 && w <= 0);
}

}  // namespace

/// True where the straight way to `target` starts into the polygon's inside.
bool Triangulator::opensTowards(Index node, Index target) const {
    const Index before = nodes_[node].previous, after = nodes_[node].next;
    if (turn(before, node, after) > 0) return turn(node, target, before) >= 0 && turn(node, after, target) >= 0;
    return turn(node, target, after) < 0 || turn(node, before, target) < 0;
}

/// False where this has cost so much that the holes that are left stay closed: those on the left.
bool Triangulator::joinHoles(Index ring, std::vector<Index>& holes) {
    for (Index& hole : holes) {
        Index rightmost = hole;
        for (Index node = nodes_[hole].next; node != hole; node = nodes_[node].next)
            if (nodes_[node].x > nodes_[rightmost].x) rightmost = node;
        hole = rightmost;
    }
    // From right to left, so that whatever a hole sees to its right is part of the ring already.
    std::sort(holes.begin(), holes.end(), [&](Index a, Index b) { return nodes_[a].x > nodes_[b].x; });
    looks_ = 0;
    mostLooks_ = patience_;
    for (const Index hole : holes) {
        if (isGivenUp()) return false;
        const Index outer = bridgeTo(hole, ring);
        if (outer != kNone) addBridge(outer, hole);
    }
    return true;
}

/// The corner of the ring to which the hole can be joined, or none where the hole lies outside.
Triangulator::Index Triangulator::bridgeTo(Index hole, Index ring) const {
    // The nearest edge to the right at the same height; inside the ring such an edge leads upwards.
    const Point from = {nodes_[hole].x, nodes_[hole].y};
    double nearest = std::numeric_limits<double>::infinity();
    Index corner = kNone;
    Index node = ring;
    do {
        const Node &a = nodes_[node], &b = nodes_[a.next];
        if (a.y <= from.y && b.y >= from.y && a.y < b.y) {
            const double x = a.x + (from.y - a.y) / (b.y - a.y) * (b.x - a.x);
            if (x >= from.x && x < nearest) {
                nearest = x;
                corner = a.x > b.x ? node : a.next;
            }
        }
        ++looks_;
        node = nodes_[node].next;
    } while (node != ring);
    if (corner == kNone) return kNone;

    // Between the hole and that edge other corners may stand in the way; the one closest to the line of sight is free.
    const Point edge = {nearest, from.y}, end = {nodes_[corner].x, nodes_[corner].y};
    double flattest = std::numeric_limits<double>::infinity(), closest = flattest;
    Index best = corner;
    do {
        const Point p = {nodes_[node].x, nodes_[node].y};
        const double dx = p.x - from.x, dy = std::abs(p.y - from.y);
        if (dx >= 0 && (samePlace(node, corner) || triangleContains(from, edge, end, p)) && opensTowards(node, hole)) {
            const double slope = dx > 0 ? dy / dx : (dy > 0 ? std::numeric_limits<double>::max() : 0);
            if (slope < flattest || (slope == flattest && dx < closest)) {
                flattest = slope;
                closest = dx;
                best = node;
            }
        }
        ++looks_;
        node = nodes_[node].next;
    } while (node != ring);
    return best;
}

Triangulator::Index Triangulator::appendCopy(Index node) {
    const Node copy = nodes_[node];
    nodes_.push_back(copy);
    return static_cast<Index>(nodes_.size() - 1);
}

/// Goes from the outer corner to the hole, around it, and back the same way.
void Triangulator::addBridge(Index outer, Index hole) {
    const Index outerAgain = appendCopy(outer), holeAgain = appendCopy(hole);
    const Index last = nodes_[hole].previous, after = nodes_[outer].next;
    nodes_[outer].next = hole;
    nodes_[hole].previous = outer;
    nodes_[last].next = holeAgain;
    nodes_[holeAgain].previous = last;
    nodes_[holeAgain].next = outerAgain;
    nodes_[outerAgain].previous = holeAgain;
    nodes_[outerAgain].next = after;
    nodes_[after].previous = outerAgain;
}

}  // namespace lumorender
