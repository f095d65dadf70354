// Cutting ears: corners whose triangle with their neighbours lies inside the ring and contains no other corner.
#include "geometry/triangulator.h"

#include <algorithm>
#include <limits>

namespace lumorender {

namespace {

constexpr std::uint32_t kNone = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint64_t kLook = 4;  ///< what one at a corner costs that may lie in an ear, in steps along the ring

}  // namespace

/// Small polygons are searched corner by corner, large ones by place. A polygon that crosses itself everywhere has no ears
/// to be found: looking for them ends when it has cost much more than any polygon that does not.
void Triangulator::prepareSearch(Index ring, Index count) {
    constexpr Index kSmall = 64;
    constexpr std::uint64_t kFew = 10'000'000;
    looks_ = 0;
    mostLooks_ = std::min(kFew + std::uint64_t{2} * count * count, patience_);
    grid_.clear();
    if (count <= kSmall) return;
    CornerGrid::Box box{nodes_[ring].x, nodes_[ring].y, nodes_[ring].x, nodes_[ring].y};
    Index node = ring;
    do {
        const Node& p = nodes_[node];
        box = {std::min(box.left, p.x), std::min(box.low, p.y), std::max(box.right, p.x), std::max(box.high, p.y)};
        node = p.next;
    } while (node != ring);
    grid_.start(box, count);
    do {
        grid_.add(node, nodes_[node].x, nodes_[node].y);
        node = nodes_[node].next;
    } while (node != ring);
}

/// False where the ring crosses itself, so that an ear had to be cut by force.
bool Triangulator::cutEars(Index ring) {
    Index count = 0;
    Index node = ring;
    do {
        classify(node);
        ++count;
        node = nodes_[node].next;
    } while (node != ring);
    prepareSearch(ring, count);

    bool proper = true;
    for (; count > 3; --count) {
        Index ear = findEar(node, count, Strictness::Proper);
        if (ear == kNone) ear = findEar(node, count, Strictness::Touching);
        if (ear == kNone) {
            ear = findEar(node, count, Strictness::Anything);
            proper = false;
        }
        // What follows the ear is left alone for one turn: cutting neighbours in a row gives long thin triangles.
        node = nodes_[nodes_[ear].next].next;
        cut(ear);
    }
    triangles_.push_back({nodes_[nodes_[node].previous].corner, nodes_[node].corner, nodes_[nodes_[node].next].corner});
    roughPolygons_ += isGivenUp() ? 1 : 0;
    return proper;
}

/// The first ear from `start` on. With `Anything` there always is one.
Triangulator::Index Triangulator::findEar(Index start, Index count, Strictness strictness) const {
    const bool takesAnything = strictness == Strictness::Anything;
    Index node = start;
    for (Index i = 0; i < count && !isGivenUp(); ++i, node = nodes_[node].next)
        if (++looks_; isEar(node, strictness)) return node;
    return takesAnything ? start : kNone;
}

bool Triangulator::isEar(Index node, Strictness strictness) const {
    if (nodes_[node].reflex) return false;
    if (strictness == Strictness::Anything) return true;
    const Index before = nodes_[node].previous, after = nodes_[node].next;
    return isFree(node, strictness) && opensTowards(before, after) && opensTowards(after, before);
}

/// Whether a corner lies in the ear's triangle. Only reflex corners can; `Touching` lets them lie on the cut.
bool Triangulator::blocks(Index corner, const std::array<Index, 3>& ear, Strictness strictness) const {
    const auto [a, b, c] = ear;
    if (samePlace(corner, a) || samePlace(corner, b) || samePlace(corner, c)) return false;
    const double onCut = turn(c, a, corner);
    const bool behindCut = strictness == Strictness::Proper ? onCut < 0 : onCut <= 0;
    return !behindCut && turn(a, b, corner) >= 0 && turn(b, c, corner) >= 0;
}

/// True where no other corner lies in the ear's triangle.
bool Triangulator::isFree(Index node, Strictness strictness) const {
    const std::array<Index, 3> ear{nodes_[node].previous, node, nodes_[node].next};
    const Node &a = nodes_[ear[0]], &b = nodes_[ear[1]], &c = nodes_[ear[2]];
    const CornerGrid::Box box{std::min({a.x, b.x, c.x}), std::min({a.y, b.y, c.y}), std::max({a.x, b.x, c.x}),
                              std::max({a.y, b.y, c.y})};
    const auto isOutside = [&](Index other) {
        looks_ += kLook;
        const Node& p = nodes_[other];
        const bool beside = p.x < box.left || p.x > box.right || p.y < box.low || p.y > box.high;
        return !p.reflex || beside || !blocks(other, ear, strictness);
    };
    if (grid_.isUsed()) return grid_.all(box, [&](Index other) { return isOutside(other) && !isGivenUp(); });
    for (Index other = c.next; other != ear[0]; other = nodes_[other].next)
        if (!isOutside(other)) return false;
    return true;
}

void Triangulator::cut(Index ear) {
    const Index before = nodes_[ear].previous, after = nodes_[ear].next;
    triangles_.push_back({nodes_[before].corner, nodes_[ear].corner, nodes_[after].corner});
    nodes_[before].next = after;
    nodes_[after].previous = before;
    nodes_[ear].reflex = false;  // and so in nobody's way
    classify(before);
    classify(after);
}

}  // namespace lumorender
