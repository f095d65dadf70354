// Cutting ears: corners whose triangle with their neighbours lies inside the ring and contains no other corner.
#include "geometry/triangulator.h"

#include <algorithm>
#include <limits>

namespace lumorender {

namespace {

constexpr std::uint32_t kNone = std::numeric_limits<std::uint32_t>::max();

}  // namespace

/// False where the ring crosses itself, so that an ear had to be cut by force.
bool Triangulator::cutEars(Index ring) {
    Index count = 0;
    Index node = ring;
    do {
        classify(node);
        ++count;
        node = nodes_[node].next;
    } while (node != ring);

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
    return proper;
}

/// The first ear from `start` on. With `Anything` there always is one.
Triangulator::Index Triangulator::findEar(Index start, Index count, Strictness strictness) const {
    Index node = start;
    for (Index i = 0; i < count; ++i, node = nodes_[node].next)
        if (isEar(node, strictness)) return node;
    return strictness == Strictness::Anything ? start : kNone;
}

bool Triangulator::isEar(Index node, Strictness strictness) const {
    if (nodes_[node].reflex) return false;
    if (strictness == Strictness::Anything) return true;
    const Index before = nodes_[node].previous, after = nodes_[node].next;
    return isFree(node, strictness) && opensTowards(before, after) && opensTowards(after, before);
}

/// True where no other corner lies in the ear's triangle. Only reflex corners can; `Touching` lets them lie on the cut.
bool Triangulator::isFree(Index node, Strictness strictness) const {
    const Index a = nodes_[node].previous, b = node, c = nodes_[node].next;
    const double left = std::min({nodes_[a].x, nodes_[b].x, nodes_[c].x});
    const double right = std::max({nodes_[a].x, nodes_[b].x, nodes_[c].x});
    const double low = std::min({nodes_[a].y, nodes_[b].y, nodes_[c].y});
    const double high = std::max({nodes_[a].y, nodes_[b].y, nodes_[c].y});
    for (Index other = nodes_[c].next; other != a; other = nodes_[other].next) {
        const Node& p = nodes_[other];
        if (!p.reflex || p.x < left || p.x > right || p.y < low || p.y > high) continue;
        if (samePlace(other, a) || samePlace(other, b) || samePlace(other, c)) continue;
        const double onCut = turn(c, a, other);
        const bool behindCut = strictness == Strictness::Proper ? onCut < 0 : onCut <= 0;
        if (!behindCut && turn(a, b, other) >= 0 && turn(b, c, other) >= 0) return false;
    }
    return true;
}

void Triangulator::cut(Index ear) {
    const Index before = nodes_[ear].previous, after = nodes_[ear].next;
    triangles_.push_back({nodes_[before].corner, nodes_[ear].corner, nodes_[after].corner});
    nodes_[before].next = after;
    nodes_[after].previous = before;
    classify(before);
    classify(after);
}

}  // namespace lumorender
