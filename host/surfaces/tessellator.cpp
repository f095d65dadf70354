#include "surfaces/tessellator.h"

#include "support/abort.h"

#include <tbb/parallel_for.h>

#include <algorithm>
#include <numbers>
#include <unordered_map>

namespace lumorender {

namespace {

/// Edges are halved so often at most, whatever is asked for.
constexpr int kMostPasses = 24;

std::uint64_t keyOf(std::uint32_t a, std::uint32_t b) { return std::uint64_t{std::min(a, b)} << 32 | std::max(a, b); }

double degreesBetween(const V3d& a, const V3d& b) {
    if (isZero(a) || isZero(b)) return 0;
    return std::atan2(length(cross(a, b)), dot(a, b)) * 180 / std::numbers::pi;
}

V3d nearestOn(const V3d& a, const V3d& b, const V3d& point) {
    const V3d way = b - a;
    const double squared = dot(way, way);
    const double t = squared > 0 ? std::clamp(dot(point - a, way) / squared, 0.0, 1.0) : 0;
    return a + way * t;
}

}  // namespace

std::uint32_t Tessellator::addSurface(const PatchSet& patches, Approximation rules, bool hasFreeBorders) {
    hasFreeBorders_ = hasFreeBorders_ || hasFreeBorders;
    Surface surface{&patches, std::move(rules), false};
    for (const ApproximationRule& rule : surface.rules)
        surface.looks = surface.looks || rule.distance > 0 || rule.angle > 0;
    surfaces_.push_back(std::move(surface));
    return static_cast<std::uint32_t>(surfaces_.size()) - 1;
}

std::uint32_t Tessellator::addVertex(std::uint32_t surface, const PatchPlace& at, std::uint32_t place) {
    const auto number = static_cast<std::uint32_t>(vertices_.size());
    if (place == kNone) {
        place = static_cast<std::uint32_t>(places_.size());
        places_.push_back({V3d(0), number});
    }
    vertices_.push_back({surface, place, at, V3d(0)});
    return number;
}

std::uint32_t Tessellator::addEdge(std::uint32_t a, std::uint32_t b) {
    const auto number = static_cast<std::uint32_t>(edges_.size());
    Edge& edge = edges_.emplace_back();
    edge.ends[0] = a;
    edge.ends[1] = b;
    edge.master = number;
    return number;
}

void Tessellator::addPiece(std::uint32_t surface, std::span<const PatchPlace> places,
                           std::span<const std::array<std::uint32_t, 3>> triangles) {
    const auto first = static_cast<std::uint32_t>(vertices_.size());
    for (const PatchPlace& place : places) addVertex(surface, place, kNone);
    struct Use {
        std::uint32_t edge;
        int count;
    };
    std::unordered_map<std::uint64_t, Use> uses;
    for (const auto& corners : triangles) {
        Triangle& triangle = triangles_.emplace_back();
        triangle.surface = surface;
        for (std::size_t i = 0; i < 3; ++i) triangle.vertices[i] = first + corners[i];
        for (std::size_t i = 0; i < 3; ++i) {
            const std::uint32_t a = triangle.vertices[i], b = triangle.vertices[(i + 1) % 3];
            auto [found, isNew] = uses.try_emplace(keyOf(a, b), Use{kNone, 0});
            if (isNew) found->second.edge = addEdge(a, b);
            ++found->second.count;
            triangle.edges[i] = found->second.edge;
            triangle.reversed[i] = edges_[found->second.edge].ends[0] != a;
        }
    }
    const std::size_t before = borders_.size();
    for (const auto& [key, use] : uses)
        if (use.count == 1) borders_.push_back(use.edge);
    // The order of a hash table is nobody's choice.
    std::sort(borders_.begin() + static_cast<std::ptrdiff_t>(before), borders_.end());
}

void Tessellator::evaluateNewVertices() {
    throwIfAborted();
    const std::size_t first = firstNewVertex_;
    std::vector<V3d> positions(vertices_.size() - first);
    tbb::parallel_for(first, vertices_.size(), [&](std::size_t i) {
        Vertex& vertex = vertices_[i];
        const PatchPoint point = patchesOf(vertex.surface).at(vertex.at);
        positions[i - first] = point.position;
        vertex.normal = point.normal;
    });
    for (std::size_t i = first; i < vertices_.size(); ++i)
        if (Place& place = places_[vertices_[i].place]; place.owner == i) place.position = positions[i - first];
    firstNewVertex_ = vertices_.size();
}

Tessellator::EdgeShape Tessellator::shapeOf(const Edge& edge) const {
    const Vertex &a = vertices_[edge.ends[0]], &b = vertices_[edge.ends[1]];
    EdgeShape shape;
    for (int i = 0; i < 3; ++i) {
        const double t = (i + 1) / 4.0;
        shape.inner[i] =
            patchesOf(a.surface).at({a.at.patch, a.at.u + (b.at.u - a.at.u) * t, a.at.v + (b.at.v - a.at.v) * t});
    }
    return shape;
}

void Tessellator::run(double tolerance) {
    evaluateNewVertices();
    // Single precision is what scenes give, and what there will be in the end.
    rounding_ = 1e-6 * size();
    const double rounding = rounding_;
    joinPlaces(std::max(tolerance, rounding));
    joinBorders(std::max(tolerance, 10 * rounding));
    if (hasFreeBorders_) cutBorders(std::max(tolerance, rounding));
    for (Edge& edge : edges_) edge.need = 0;
    firstNewEdge_ = 0;
    for (pass_ = 0; pass_ < kMostPasses; ++pass_)
        if (!refine()) break;
}

/// One pass over the edges that the pass before has made. False when nothing is left to divide.
bool Tessellator::refine() {
    throwIfAborted();
    tbb::parallel_for(firstNewEdge_, edges_.size(), [this](std::size_t i) {
        Edge& edge = edges_[i];
        if (edge.master == i && edge.middle == kNone) edge.need = needOf(edge);
    });
    const bool any = std::any_of(edges_.begin() + static_cast<std::ptrdiff_t>(firstNewEdge_), edges_.end(),
                                 [](const Edge& edge) { return edge.need > 1; });
    if (!any) return false;
    std::size_t most = mostTriangles_;
    for (const Surface& surface : surfaces_)
        for (const ApproximationRule& rule : surface.rules)
            if (rule.mostTriangles > 0) most = std::min(most, rule.mostTriangles);
    const bool fits = trianglesAfterwards() <= most;
    if (!fits) keepNeediest(most);
    firstNewEdge_ = edges_.size();
    divideTriangles();
    evaluateNewVertices();
    return fits;
}

std::size_t Tessellator::trianglesAfterwards() const {
    std::size_t count = triangles_.size();
    for (const Triangle& triangle : triangles_)
        for (const std::uint32_t edge : triangle.edges) count += isDivided(edge) ? 1 : 0;
    return count;
}

void Tessellator::keepNeediest(std::size_t most) {
    const std::size_t room = most > triangles_.size() ? (most - triangles_.size()) / 2 : 0;
    std::vector<float> needs;
    for (std::size_t i = firstNewEdge_; i < edges_.size(); ++i)
        if (edges_[i].need > 1) needs.push_back(edges_[i].need);
    const std::size_t count = std::min(room, needs.size() - 1);
    std::nth_element(needs.begin(), needs.begin() + static_cast<std::ptrdiff_t>(count), needs.end(),
                     std::greater<float>());
    coarse_ = needs[count];
    for (std::size_t i = firstNewEdge_; i < edges_.size(); ++i)
        if (!(edges_[i].need > coarse_)) edges_[i].need = 0;
}

/// Of the rule that asks for most, of the surfaces on both sides.
float Tessellator::needOf(const Edge& edge) const {
    const std::uint32_t first = vertices_[edge.ends[0]].surface;
    const bool closed = vertices_[edge.ends[0]].place == vertices_[edge.ends[1]].place;
    const bool looks = closed || surfaces_[first].looks || (edge.other != kNone && surfaces_[edge.other].looks);
    const EdgeShape shape = looks ? shapeOf(edge) : EdgeShape();
    float need = 0;
    for (const std::uint32_t surface : {first, edge.other}) {
        if (surface == kNone) continue;
        for (const ApproximationRule& rule : surfaces_[surface].rules) need = std::max(need, needBy(rule, edge, shape));
    }
    return need;
}

float Tessellator::needBy(const ApproximationRule& rule, const Edge& edge, const EdgeShape& shape) const {
    if (pass_ >= std::max(rule.least, rule.most)) return 0;
    const Vertex &from = vertices_[edge.ends[0]], &to = vertices_[edge.ends[1]];
    const V3d &a = position(from.place), &b = position(to.place);
    // A closed line, or a border that is drawn together to a point.
    const bool closed = from.place == to.place;
    if (closed && length(shape.inner[1].position - a) <= rounding_) return 0;
    if (pass_ < rule.least) return 2;
    float most = 0, least = 1e30F;
    const auto take = [&](float need) {
        most = std::max(most, need);
        least = std::min(least, need);
    };
    if (rule.length > 0) take(measure_(a, closed ? shape.inner[1].position : b, rule, rule.length));
    if (rule.distance > 0) {
        float farthest = 0;
        for (const PatchPoint& point : shape.inner)
            farthest =
                std::max(farthest, measure_(nearestOn(a, b, point.position), point.position, rule, rule.distance));
        take(farthest);
    }
    if (rule.angle > 0) {
        double turned =
            degreesBetween(from.normal, shape.inner[0].normal) + degreesBetween(shape.inner[2].normal, to.normal);
        for (int i = 0; i < 2; ++i) turned += degreesBetween(shape.inner[i].normal, shape.inner[i + 1].normal);
        take(static_cast<float>(turned / static_cast<double>(rule.angle)));
    }
    return most > 0 && rule.any ? least : most;
}

/// Each side has a vertex of its own in the middle; they are at one place.
void Tessellator::divideEdge(std::uint32_t number) {
    if (edges_[number].middle != kNone) return;
    const std::uint32_t master = edges_[number].master;
    if (master != number) divideEdge(master);
    const Edge edge = edges_[number];
    const Vertex a = vertices_[edge.ends[0]], b = vertices_[edge.ends[1]];
    std::uint32_t place = kNone;
    if (master != number)
        place = vertices_[edges_[master].middle].place;
    else if (edge.cut != kNone)
        place = edge.cut;
    else if (a.place == b.place && edge.need == 0)
        place = a.place;
    // A cut is where the other border has its end; whoever follows it divides itself likewise.
    const double share = edge.share;
    const PatchPlace middle{a.at.patch, a.at.u + (b.at.u - a.at.u) * share, a.at.v + (b.at.v - a.at.v) * share};
    const std::uint32_t vertex = addVertex(a.surface, middle, place);
    const std::uint32_t first = addEdge(edge.ends[0], vertex), second = addEdge(vertex, edge.ends[1]);
    edges_[number].middle = vertex;
    edges_[number].halves = first;
    edges_[first].other = edges_[second].other = edge.other;
    if (master == number) return;
    const std::uint32_t masters = edges_[master].halves;
    edges_[first].master = masters + (edge.reversed ? 1 : 0);
    edges_[second].master = masters + (edge.reversed ? 0 : 1);
    edges_[first].reversed = edges_[second].reversed = edge.reversed;
}

void Tessellator::divideTriangles() {
    std::vector<Triangle> result;
    result.reserve(trianglesAfterwards());
    for (const Triangle& triangle : triangles_) divideTriangle(triangle, result);
    triangles_ = std::move(result);
}

void Tessellator::divideTriangle(const Triangle& given, std::vector<Triangle>& result) {
    struct Side {
        std::uint32_t edge;
        bool reversed;
    };
    const auto add = [&](const std::array<std::uint32_t, 3>& v, const std::array<Side, 3>& sides) {
        Triangle& triangle = result.emplace_back();
        triangle.surface = given.surface;
        for (std::size_t i = 0; i < 3; ++i) {
            triangle.vertices[i] = v[i];
            triangle.edges[i] = sides[i].edge;
            triangle.reversed[i] = sides[i].reversed;
        }
    };
    std::size_t count = 0, first = 0;
    bool divided[3];
    for (std::size_t i = 0; i < 3; ++i) {
        divided[i] = isDivided(given.edges[i]);
        count += divided[i] ? 1 : 0;
        if (divided[i]) divideEdge(given.edges[i]);
    }
    if (count == 0) return result.push_back(given);
    // Turned so that the edge from corner 0, and of two the one from corner 1, too, are the divided ones.
    while (!divided[first] || (count == 2 && !divided[(first + 1) % 3])) ++first;
    std::array<std::uint32_t, 3> v, m;
    std::array<Side, 3> whole, low, high;  // edges, and their halves at the corner before and behind them
    for (std::size_t i = 0; i < 3; ++i) {
        const std::size_t from = (first + i) % 3;
        v[i] = given.vertices[from];
        whole[i] = {given.edges[from], given.reversed[from]};
        const Edge& edge = edges_[whole[i].edge];
        m[i] = divided[from] ? edge.middle : kNone;
        low[i] = {edge.halves + (whole[i].reversed ? 1 : 0), whole[i].reversed};
        high[i] = {edge.halves + (whole[i].reversed ? 0 : 1), whole[i].reversed};
    }
    const auto back = [](Side side) { return Side{side.edge, !side.reversed}; };
    if (count == 1) {
        const Side cut{addEdge(m[0], v[2]), false};
        add({v[0], m[0], v[2]}, {low[0], cut, whole[2]});
        add({m[0], v[1], v[2]}, {high[0], whole[1], back(cut)});
        return;
    }
    const Side across{addEdge(m[0], m[1]), false};
    add({m[0], v[1], m[1]}, {high[0], low[1], back(across)});
    if (count == 3) {
        const Side second{addEdge(m[1], m[2]), false}, third{addEdge(m[2], m[0]), false};
        add({m[1], v[2], m[2]}, {high[1], low[2], back(second)});
        add({m[2], v[0], m[0]}, {high[2], low[0], back(third)});
        add({m[0], m[1], m[2]}, {across, second, third});
        return;
    }
    const auto squared = [&](std::uint32_t a, std::uint32_t b) {
        const auto point = [&](std::uint32_t vertex) {
            return patchesOf(given.surface).at(vertices_[vertex].at).position;
        };
        const V3d way = point(b) - point(a);
        return dot(way, way);
    };
    if (squared(v[0], m[1]) < squared(m[0], v[2])) {
        const Side cut{addEdge(v[0], m[1]), false};
        add({v[0], m[0], m[1]}, {low[0], across, back(cut)});
        add({v[0], m[1], v[2]}, {cut, high[1], whole[2]});
    } else {
        const Side cut{addEdge(m[0], v[2]), false};
        add({v[0], m[0], v[2]}, {low[0], cut, whole[2]});
        add({m[0], m[1], v[2]}, {across, high[1], back(cut)});
    }
}

}  // namespace lumorender
