/* Where a ray is inside of primitives. */
#pragma once

#include "shaders/volumes/medium.h"

namespace lumo {

/* A ray's way through one primitive. */
struct VolumeInterval {
    Stretch stretch;
    VolumeRay local; /* the ray in the primitive's space */
    miUint primitive;
};

/* Finds the primitives that a ray may meet: a tree of boxes over many, all of a few. Read-only once built. */
class PrimitiveTree {
public:
    explicit PrimitiveTree(std::span<const MediumPrimitive> primitives);

    /* Calls visit(number of the primitive) for those whose boxes the ray meets, in no order. */
    template <class Visit>
    void find(const VolumeRay& ray, const Stretch& within, Visit visit) const {
        if (nodes_.size() == 0) {
            for (std::size_t i = 0; i < count_; ++i) visit(static_cast<miUint>(i));
            return;
        }
        const Slopes slopes(ray);
        miUint open[kDeepest];
        int depth = 0;
        open[depth++] = 0;
        while (depth > 0) {
            const Node& node = nodes_[open[--depth]];
            if (!slopes.meets(node, within)) continue;
            if (node.count > 0) {
                for (miUint i = 0; i < node.count; ++i) visit(order_[node.first + i]);
            } else {
                open[depth++] = node.first;
                open[depth++] = node.first + 1;
            }
        }
    }

private:
    static constexpr int kDeepest = 64; /* halves of a million, and their siblings */

    struct Node {
        DoubleVector low, high;
        miUint first, count; /* of primitives in the order; of an inner node the first child, and 0 */
    };

    class Slopes {
    public:
        explicit Slopes(const VolumeRay& ray) : org_(ray.org), inverse_(1 / ray.dir.x, 1 / ray.dir.y, 1 / ray.dir.z) {}
        bool meets(const Node& node, const Stretch& within) const;

    private:
        const DoubleVector org_, inverse_;
    };

    void build(std::span<const MediumPrimitive> primitives, miUint node, miUint first, miUint count);

    const std::size_t count_;
    RendererArray<Node> nodes_{"shaders/lumoVolumeEngine"};
    RendererArray<miUint> order_{"shaders/lumoVolumeEngine"};
    miUint used_ = 0;
};

/* All intervals of one ray, by where they begin. Memory is that of the object, on the caller's stack, as long as they are
 * few. */
class Intervals {
public:
    Intervals(const Medium& medium, const PrimitiveTree& tree, const VolumeRay& ray, const Stretch& within);

    Intervals(const Intervals&) = delete;
    Intervals& operator=(const Intervals&) = delete;

    std::span<const VolumeInterval> all() const { return {first_, count_}; }

    /* Room for as many pointers. */
    const VolumeInterval** room() { return room_; }

private:
    static constexpr std::size_t kMostOnStack = 96;

    VolumeInterval few_[kMostOnStack];
    const VolumeInterval* fewPointers_[kMostOnStack];
    std::optional<HeapBlock> memory_;
    VolumeInterval* first_ = few_;
    const VolumeInterval** room_ = fewPointers_;
    std::size_t count_ = 0;
};

}  // namespace lumo
