// Places where incoming light, or occlusion, is known, and interpolation between them.
#pragma once

#include "mi/types.h"
#include "tracing/context.h"

#include <cstdint>
#include <span>
#include <vector>

namespace lumorender {

/// What is known of a place: light that arrives from the side of its normal, averaged over the hemisphere with the
/// cosine, or other values that change as slowly.
struct GatherPoint {
    miVector position;
    miVector normal;   ///< unit length, towards the side that light was gathered on
    miColor value;     ///< light leaves the alpha at 0
    float radius;      ///< how far away the value may still be used; above 0
    std::uint32_t id;  ///< points of different kinds are never mixed
};
static_assert(sizeof(GatherPoint) == 48, "it is written to files as it is");

/// False for what no render makes: points that come from files may be anything.
bool isSound(const GatherPoint& point);

/// Where light is asked for.
struct GatherQuery {
    miVector position;
    miVector normal;
    std::uint32_t id = 0;
    int count = 0;      ///< so many nearest points at most, 1 .. kMost
    double enough = 0;  ///< the weights together, of which a point at the place itself has 1
};

/// A set of points and a tree over it. Reading is free of locks; points are added between stages of the render.
class GatherPoints {
public:
    static constexpr int kMost = 64;                   ///< points that one interpolation may use
    static constexpr float kUsualTolerance = 25.842F;  ///< degrees between normals

    /// @param toleranceDegrees angle between normals beyond which a point does not count.
    explicit GatherPoints(float toleranceDegrees);

    /// All points in the order in which they were added: the same order gives the same bits again.
    std::span<const GatherPoint> all() const { return points_; }

    void add(std::span<const GatherPoint> points);

    /// Takes back the radius of points whose neighbours found something near: r_i = min(r_i, r_j + d_ij). J. Krivanek
    /// et al., "Making Radiance and Irradiance Caching Practical: Adaptive Caching and Neighbor Clamping", EGSR 2006.
    /// Changes points that are known already, so that a set that is kept must not be clamped again.
    void clampToNeighbours();

    /// Writes the interpolated value. False where points reach the place too weakly. Each point weighs
    /// 1 - max(distance / radius, sqrt(1 - n . n_i) / sqrt(1 - cos tolerance)): E. Tabellion, A. Lamorlette, "An
    /// Approximate Global Illumination System for Computer Generated Films", SIGGRAPH 2004. Where there are more points
    /// than may be used, the distance to the next one takes the place of a larger radius, so that values stay steady.
    bool interpolate(const GatherQuery& query, miColor& value) const;

    /// The same among a few points that are no part of the set.
    bool interpolateAmong(std::span<const GatherPoint> few, const GatherQuery& query, miColor& value) const;

private:
    /// Children: the next node, and `right`; leaves have points instead.
    struct Node {
        miVector low, high;  ///< around the points themselves
        float reach = 0;     ///< the largest radius
        std::uint32_t first = 0, count = 0;
        std::uint32_t right = 0;
    };
    struct Candidate {
        float distance2 = 0;
        std::uint32_t point = 0;
        float turn = 0;  ///< the normals' part of the weight
        bool operator<(const Candidate& other) const {
            return distance2 != other.distance2 ? distance2 < other.distance2 : point < other.point;
        }
    };
    class Nearest;

    void buildTree();
    void build(std::uint32_t first, std::uint32_t count);
    /// Calls `visit(point)` for all points nearer than the radius, and maybe some others.
    template <class Visit>
    void visitNear(const miVector& position, float radius, Visit visit) const;
    bool mayUse(const GatherPoint& point, const GatherQuery& query, Candidate& candidate) const;
    void collect(const GatherQuery& query, Nearest& nearest) const;

    float turnScale_ = 0;  ///< 1 / (1 - cos tolerance)
    std::vector<GatherPoint> points_;
    std::vector<GatherPoint> ordered_;  ///< the same in the order of the tree
    std::vector<Node> nodes_;
};

/// What is known of a place, from the points around it or, where points are made, from one that the running sample has
/// just made there. `query.enough` counts while points are made: places that are reached less get one of their own.
bool findKnown(const GatherPoints& known, const NewPoints& made, GatherQuery query, miColor& value);

}  // namespace lumorender
