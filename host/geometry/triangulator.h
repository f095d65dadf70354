// Polygons to triangles.
#pragma once

#include "geometry/corner_grid.h"
#include "mi/types.h"
#include "support/abort.h"
#include "support/geometry.h"

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace lumorender {

/// Corner numbers of a triangle, in the polygon's own sense of rotation.
using CornerTriple = std::array<std::uint32_t, 3>;

/// Splits polygons into triangles that use their corners only, every corner that is needed to fit to neighbours
/// included. Keeps its working memory from one polygon to the next; use one per thread.
class Triangulator {
public:
    /// `patience` is how many looks at corners a polygon may cost; some seconds.
    explicit Triangulator(std::uint64_t patience = 1'000'000'000) : patience_(patience) {}

    /// A polygon without holes that claims to be convex: a fan from its first corner. Where the fan would turn over,
    /// because the polygon is concave after all, it is split as a concave one; where it crosses itself the fan stays.
    std::span<const CornerTriple> convex(std::span<const miVector> corners);

    /// Any polygon. `corners` holds the outer loop and then the holes, `loopSizes` how many corners each loop has.
    /// Loops may turn either way. Cuts ears off the outer loop after the holes have been joined to it by bridges, in
    /// the plane that fits the outer loop best. Loops that cross each other or themselves give some triangles, never
    /// an endless loop.
    std::span<const CornerTriple> concave(std::span<const miVector> corners, std::span<const std::uint32_t> loopSizes);

    /// How many polygons crossed themselves so often, or had so many holes, that looking for good cuts was given up.
    std::size_t roughPolygons() const { return roughPolygons_; }

private:
    /// A corner of the ring that is being cut. Bridges put corners into it twice.
    struct Node {
        double x, y;
        std::uint32_t corner;
        std::uint32_t previous, next;
        bool reflex;
    };
    using Index = std::uint32_t;

    std::vector<Node> nodes_;
    std::vector<CornerTriple> triangles_;
    CornerGrid grid_;
    mutable std::uint64_t looks_ = 0;  ///< at corners, for the polygon so far
    std::uint64_t mostLooks_ = 0;
    const std::uint64_t patience_;
    std::size_t roughPolygons_ = 0;
    V3d origin_ = V3d(0), xAxis_ = V3d(0), yAxis_ = V3d(0);

    void fan(std::size_t count);
    bool fanTurnsOver(std::span<const miVector> corners, const V3d& normal) const;
    void choosePlane(std::span<const miVector> corners, const V3d& normal);

    Index addLoop(std::span<const miVector> corners, std::uint32_t first, bool counterClockwise);
    Index appendCopy(Index node);
    bool joinHoles(Index ring, std::vector<Index>& holes);
    Index bridgeTo(Index hole, Index ring) const;
    void addBridge(Index outer, Index hole);

    enum class Strictness { Proper, Touching, Anything };
    bool cutEars(Index ring);
    Index findEar(Index start, Index count, Strictness strictness) const;
    bool isEar(Index node, Strictness strictness) const;
    bool isFree(Index node, Strictness strictness) const;
    bool opensTowards(Index node, Index target) const;
    void cut(Index ear);
    void prepareSearch(Index ring, Index count);
    bool isGivenUp() const { return looks_ > mostLooks_ || abortRequested(); }
    bool blocks(Index corner, const std::array<Index, 3>& ear, Strictness strictness) const;

    double turn(Index a, Index b, Index c) const;
    void classify(Index node);
    bool samePlace(Index a, Index b) const;
};

}  // namespace lumorender
