#include "gathering/final_gather_points.h"

#include "support/abort.h"
#include "support/geometry.h"

#include <algorithm>
#include <cmath>

namespace lumorender {

namespace {

constexpr std::uint32_t kLeaf = 8;
constexpr int kDeepest = 64;  // of a tree over 2^32 points with halves of equal size

float coordinate(const miVector& v, int axis) { return axis == 0 ? v.x : axis == 1 ? v.y : v.z; }

int longestAxis(const miVector& low, const miVector& high) {
    const miVector size = high - low;
    if (size.x >= size.y && size.x >= size.z) return 0;
    return size.y >= size.z ? 1 : 2;
}

float outside(float value, float low, float high) { return std::max({low - value, value - high, 0.0F}); }

/// Squared distance from a box.
float distance2(const miVector& p, const miVector& low, const miVector& high) {
    const float x = outside(p.x, low.x, high.x);
    const float y = outside(p.y, low.y, high.y);
    const float z = outside(p.z, low.z, high.z);
    return x * x + y * y + z * z;
}

}  // namespace

bool isSound(const GatherPoint& p) {
    const float all = p.position.x + p.position.y + p.position.z + p.normal.x + p.normal.y + p.normal.z + p.value.r +
                      p.value.g + p.value.b + p.value.a + p.radius;
    return std::isfinite(all) && p.radius > 0;
}

/// The nearest candidates so far, and one more beyond those that count: its distance ends their radius.
class GatherPoints::Nearest {
public:
    explicit Nearest(int wanted) : room_(std::clamp(wanted, 1, kMost) + 1) {}

    /// Squared distance beyond which nothing is wanted any more.
    float limit2() const { return size_ < room_ ? INFINITY : heap_[0].distance2; }

    void add(const Candidate& candidate) {
        if (size_ == room_) {
            if (!(candidate < heap_[0])) return;
            std::pop_heap(heap_, heap_ + size_--);
        }
        heap_[size_++] = candidate;
        std::push_heap(heap_, heap_ + size_);
    }

    bool isCut() const { return size_ == room_; }
    std::span<const Candidate> found() const { return {heap_, static_cast<std::size_t>(size_)}; }

private:
    int room_;
    int size_ = 0;
    Candidate heap_[kMost + 1];
};

GatherPoints::GatherPoints(float toleranceDegrees) {
    const double cosine = std::cos(std::clamp(static_cast<double>(toleranceDegrees), 0.1, 180.0) * M_PI / 180);
    turnScale_ = static_cast<float>(1 / (1 - cosine));
}

void GatherPoints::add(std::span<const GatherPoint> points) {
    points_.insert(points_.end(), points.begin(), points.end());
    buildTree();
}

void GatherPoints::buildTree() {
    ordered_ = points_;
    nodes_.clear();
    if (!ordered_.empty()) build(0, static_cast<std::uint32_t>(ordered_.size()));
}

void GatherPoints::build(std::uint32_t first, std::uint32_t count) {
    const auto self = nodes_.size();
    Node& node = nodes_.emplace_back();
    const auto begin = ordered_.begin() + first, end = begin + count;
    node.low = node.high = begin->position;
    for (auto point = begin; point != end; ++point) {
        const miVector& p = point->position;
        node.low = {std::min(node.low.x, p.x), std::min(node.low.y, p.y), std::min(node.low.z, p.z)};
        node.high = {std::max(node.high.x, p.x), std::max(node.high.y, p.y), std::max(node.high.z, p.z)};
        node.reach = std::max(node.reach, point->radius);
    }
    if (count <= kLeaf) {
        node.first = first;
        node.count = count;
        return;
    }
    const int axis = longestAxis(node.low, node.high);
    const std::uint32_t half = count / 2;
    std::nth_element(begin, begin + half, end, [axis](const GatherPoint& a, const GatherPoint& b) {
        return coordinate(a.position, axis) < coordinate(b.position, axis);
    });
    build(first, half);
    nodes_[self].right = static_cast<std::uint32_t>(nodes_.size());
    build(first + half, count - half);
}

/// Points that lie in front of the place saw something else: around a corner, or on the other side of a step.
bool GatherPoints::mayUse(const GatherPoint& point, const GatherQuery& query, Candidate& candidate) const {
    constexpr float kInFront = 0.1F;  // of the distance
    const miVector way = query.position - point.position;
    candidate.distance2 = dot(way, way);
    if (!(candidate.distance2 < point.radius * point.radius) || point.id != query.id) return false;
    const float turned = std::max(0.0F, 1 - dot(point.normal, query.normal)) * turnScale_;
    if (turned >= 1) return false;
    candidate.turn = std::sqrt(turned);
    return dot(way, point.normal + query.normal) * 0.5F >= -kInFront * std::sqrt(candidate.distance2);
}

template <class Visit>
void GatherPoints::visitNear(const miVector& position, float radius, Visit visit) const {
    std::uint32_t stack[kDeepest];
    int waiting = 0;
    stack[waiting++] = 0;
    while (waiting > 0) {
        const std::uint32_t index = stack[--waiting];
        const Node& node = nodes_[index];
        if (distance2(position, node.low, node.high) >= radius * radius) continue;
        for (std::uint32_t i = node.first; i < node.first + node.count; ++i) visit(ordered_[i]);
        if (node.count > 0) continue;
        stack[waiting++] = node.right;
        stack[waiting++] = index + 1;
    }
}

void GatherPoints::clampToNeighbours() {
    if (nodes_.empty()) return;
    // The tree keeps the radii as they were, so that the order of the points does not matter.
    for (GatherPoint& point : points_) {
        if (abortRequested()) return;
        const float radius = point.radius;
        visitNear(point.position, radius, [&](const GatherPoint& other) {
            if (other.id != point.id || !(other.radius < radius)) return;
            point.radius = std::min(point.radius, other.radius + length(other.position - point.position));
        });
    }
    buildTree();
}

void GatherPoints::collect(const GatherQuery& query, Nearest& nearest) const {
    const auto away2 = [&](const Node& node) { return distance2(query.position, node.low, node.high); };
    std::uint32_t stack[kDeepest];
    int waiting = 0;
    stack[waiting++] = 0;
    while (waiting > 0) {
        const std::uint32_t index = stack[--waiting];
        const Node& node = nodes_[index];
        if (away2(node) >= std::min(node.reach * node.reach, nearest.limit2())) continue;
        for (std::uint32_t i = node.first; i < node.first + node.count; ++i) {
            Candidate candidate;
            candidate.point = i;
            if (mayUse(ordered_[i], query, candidate)) nearest.add(candidate);
        }
        if (node.count > 0) continue;
        // The nearer half first: what it holds cuts the other one short.
        const bool rightFirst = away2(nodes_[node.right]) < away2(nodes_[index + 1]);
        stack[waiting++] = rightFirst ? index + 1 : node.right;
        stack[waiting++] = rightFirst ? node.right : index + 1;
    }
}

namespace {

/// Of what points know, by their weights.
class WeightedSum {
public:
    void add(const GatherPoint& point, float distance2, float radius, float turn) {
        const float away = radius > 0 ? std::sqrt(distance2) / radius : 0;
        const double weight = 1 - static_cast<double>(std::max(away, turn));
        if (!(weight > 0)) return;
        sum_[0] += weight * point.value.r;
        sum_[1] += weight * point.value.g;
        sum_[2] += weight * point.value.b;
        sum_[3] += weight * point.value.a;
        weights_ += weight;
    }

    bool mean(double enough, miColor& value) const {
        // A place at the very edge of every point's reach is better computed than taken from rounding.
        if (weights_ < std::max(enough, 1e-4)) return false;
        value = {static_cast<float>(sum_[0] / weights_), static_cast<float>(sum_[1] / weights_),
                 static_cast<float>(sum_[2] / weights_), static_cast<float>(sum_[3] / weights_)};
        return true;
    }

private:
    double sum_[4] = {0, 0, 0, 0}, weights_ = 0;
};

}  // namespace

bool GatherPoints::interpolate(const GatherQuery& query, miColor& value) const {
    if (nodes_.empty()) return false;
    Nearest nearest(query.count);
    collect(query, nearest);
    // A little wider, so that points of a regular grid that are all equally far away do not cancel each other out.
    const float limit = nearest.isCut() ? 1.01F * std::sqrt(nearest.limit2()) : INFINITY;
    WeightedSum sum;
    for (const Candidate& candidate : nearest.found()) {
        const GatherPoint& point = ordered_[candidate.point];
        sum.add(point, candidate.distance2, std::min(point.radius, limit), candidate.turn);
    }
    return sum.mean(query.enough, value);
}

bool GatherPoints::interpolateAmong(std::span<const GatherPoint> few, const GatherQuery& query, miColor& value) const {
    WeightedSum sum;
    for (const GatherPoint& point : few) {
        Candidate candidate;
        if (mayUse(point, query, candidate)) sum.add(point, candidate.distance2, point.radius, candidate.turn);
    }
    return sum.mean(query.enough, value);
}

namespace {

/// Shaders of one place ask more than once.
bool findOwn(const NewPoints& made, const GatherQuery& query, miColor& value) {
    for (std::size_t i = made.first; i < made.points->size(); ++i) {
        const GatherPoint& p = (*made.points)[i];
        if (p.id != query.id || !isZero(p.position - query.position) || !isZero(p.normal - query.normal)) continue;
        value = p.value;
        return true;
    }
    return false;
}

}  // namespace

bool findKnown(const GatherPoints& known, const NewPoints& made, GatherQuery query, miColor& value) {
    if (!made.points)
        query.enough = 0;
    else if (findOwn(made, query, value))
        return true;
    return known.interpolate(query, value);
}

}  // namespace lumorender
