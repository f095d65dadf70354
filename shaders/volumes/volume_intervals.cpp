#include "shaders/volumes/volume_intervals.h"

#include <algorithm>
#include <limits>
#include <tuple>

namespace lumo {
namespace {

constexpr std::size_t kFew = 16; /* primitives that need no tree */
constexpr miUint kLeaf = 4;

DoubleVector smaller(const DoubleVector& a, const DoubleVector& b) {
    return {std::min(a.x, b.x), std::min(a.y, b.y), std::min(a.z, b.z)};
}
DoubleVector greater(const DoubleVector& a, const DoubleVector& b) {
    return {std::max(a.x, b.x), std::max(a.y, b.y), std::max(a.z, b.z)};
}

double middleOf(const MediumPrimitive& primitive, int axis) {
    const DoubleVector sum = primitive.low + primitive.high;
    return axis == 0 ? sum.x : axis == 1 ? sum.y : sum.z;
}

}  // namespace

PrimitiveTree::PrimitiveTree(std::span<const MediumPrimitive> primitives) : count_(primitives.size()) {
    if (count_ <= kFew || !order_.allocate(count_) || !nodes_.allocate(2 * count_)) return;
    for (std::size_t i = 0; i < count_; ++i) order_[i] = static_cast<miUint>(i);
    used_ = 1;
    build(primitives, 0, 0, static_cast<miUint>(count_));
}

/* Halves, along the axis in which the middles lie furthest apart. */
void PrimitiveTree::build(std::span<const MediumPrimitive> primitives, miUint node, miUint first, miUint count) {
    constexpr double kFar = std::numeric_limits<double>::infinity();
    DoubleVector low(kFar, kFar, kFar), high(-kFar, -kFar, -kFar), lowest = low, highest = high;
    const auto own = order_.all().subspan(first, count);
    for (const miUint number : own) {
        const MediumPrimitive& each = primitives[number];
        low = smaller(low, each.low);
        high = greater(high, each.high);
        lowest = smaller(lowest, each.low + each.high);
        highest = greater(highest, each.low + each.high);
    }
    nodes_[node] = {low, high, first, count};
    if (count <= kLeaf) return;

    const DoubleVector spread = highest - lowest;
    const int axis = spread.x >= spread.y && spread.x >= spread.z ? 0 : spread.y >= spread.z ? 1 : 2;
    const miUint half = count / 2;
    std::nth_element(own.begin(), own.begin() + half, own.end(),
                     [&](miUint a, miUint b) { return middleOf(primitives[a], axis) < middleOf(primitives[b], axis); });
    const miUint children = used_;
    used_ += 2;
    nodes_[node].first = children;
    nodes_[node].count = 0;
    build(primitives, children, first, half);
    build(primitives, children + 1, first + half, count - half);
}

bool PrimitiveTree::Slopes::meets(const Node& node, const Stretch& within) const {
    double begin = within.begin, end = within.end;
    const auto clip = [&](double org, double inverse, double low, double high) {
        const double a = (low - org) * inverse, b = (high - org) * inverse;
        // Along a face of the box there is no number: then the face does not clip.
        begin = std::fmax(begin, std::fmin(a, b));
        end = std::fmin(end, std::fmax(a, b));
    };
    clip(org_.x, inverse_.x, node.low.x, node.high.x);
    clip(org_.y, inverse_.y, node.low.y, node.high.y);
    clip(org_.z, inverse_.z, node.low.z, node.high.z);
    return begin <= end;
}

Intervals::Intervals(const Medium& medium, const PrimitiveTree& tree, const VolumeRay& ray, const Stretch& within) {
    const std::span primitives = medium.primitives();
    const auto meet = [&](miUint number, VolumeInterval& interval) {
        const MediumPrimitive& primitive = primitives[number];
        interval.local = {primitive.toLocal.point(ray.org), primitive.toLocal.vector(ray.dir)};
        interval.stretch = insideOf(primitive.shape, interval.local, within);
        interval.primitive = number;
        return !interval.stretch.empty();
    };
    // The first pass counts as well: more than there is room for are found again, in memory from the renderer.
    std::size_t found = 0;
    VolumeInterval spare;
    tree.find(ray, within, [&](miUint number) {
        if (meet(number, found < kMostOnStack ? few_[found] : spare)) ++found;
    });
    count_ = std::min(found, kMostOnStack);
    if (found > kMostOnStack) {
        memory_.emplace("shaders/lumoVolumeEngine", found * (sizeof(VolumeInterval) + sizeof(VolumeInterval*)));
        if (memory_->get()) {
            first_ = static_cast<VolumeInterval*>(memory_->get());
            room_ = reinterpret_cast<const VolumeInterval**>(first_ + found);
            count_ = 0;
            tree.find(ray, within, [&](miUint number) {
                if (count_ < found && meet(number, first_[count_])) ++count_;
            });
        }
    }
    std::sort(first_, first_ + count_, [](const VolumeInterval& a, const VolumeInterval& b) {
        return std::tie(a.stretch.begin, a.primitive) < std::tie(b.stretch.begin, b.primitive);
    });
}

}  // namespace lumo
