// Smooth surfaces into triangles, as finely as asked, without cracks.
#pragma once

#include "surfaces/edge_measure.h"
#include "surfaces/patches.h"

#include <span>

namespace lumorender {

/// Divides pieces of surfaces at their edges. All that is decided about an edge, and all points on it, hold for both
/// sides of it: borders of patches, also of different surfaces, that are the same line in space are one edge.
class Tessellator {
public:
    static constexpr std::uint32_t kNone = ~std::uint32_t{0};

    struct Vertex {
        std::uint32_t surface;
        std::uint32_t place;  ///< vertices of several patches may be at one
        PatchPlace at;
        V3d normal;
    };
    struct Triangle {
        std::uint32_t surface;
        std::uint32_t vertices[3];
        std::uint32_t edges[3];  ///< from each corner to the next
        bool reversed[3];        ///< the edge runs the other way
    };

    Tessellator(const EdgeMeasure& measure, std::size_t mostTriangles)
        : measure_(measure), mostTriangles_(mostTriangles) {}

    /// The patches must outlive this. Free borders may end in the middle of others. @return the surface's number
    std::uint32_t addSurface(const PatchSet& patches, Approximation rules, bool hasFreeBorders);

    /// A part of one patch: triangles of places in it.
    void addPiece(std::uint32_t surface, std::span<const PatchPlace> places,
                  std::span<const std::array<std::uint32_t, 3>> triangles);

    /// Joins borders that are farther apart by no more than `tolerance`, or by rounding, and divides edges until the rules
    /// of their surfaces are satisfied.
    void run(double tolerance);

    const std::vector<Vertex>& vertices() const { return vertices_; }
    const std::vector<Triangle>& triangles() const { return triangles_; }
    const V3d& position(std::uint32_t place) const { return places_[place].position; }
    /// The vertex whose surface gives the place its position, and its motion.
    std::uint32_t owner(std::uint32_t place) const { return places_[place].owner; }
    /// What edges still needed, in relation to their limits, when there was no more room; 0 where there was.
    float coarseness() const { return coarse_; }

private:
    struct Surface {
        const PatchSet* patches;
        Approximation rules;
        bool looks;  ///< at the surface beside its edges
    };
    struct Place {
        V3d position;
        std::uint32_t owner;
    };
    struct Edge {
        std::uint32_t ends[2];         ///< vertices
        std::uint32_t master;          ///< the edge that decides; itself where it does
        std::uint32_t other = kNone;   ///< a second surface whose rules count, too
        std::uint32_t middle = kNone;  ///< vertex
        std::uint32_t halves = kNone;  ///< the first of two edges
        std::uint32_t cut = kNone;     ///< the place where it is to be divided, if there is one already
        float need = 0;
        double share = 0.5;     ///< where between its ends it is divided
        bool reversed = false;  ///< the master runs the other way
        bool joined = false;    ///< to another border
    };
    /// Three points between the ends of an edge.
    struct EdgeShape {
        PatchPoint inner[3];
    };

    const EdgeMeasure& measure_;
    const std::size_t mostTriangles_;
    std::vector<Surface> surfaces_;
    std::vector<Vertex> vertices_;
    std::vector<Place> places_;
    std::vector<Edge> edges_;
    std::vector<Triangle> triangles_;
    std::vector<std::uint32_t> borders_;  ///< edges of one triangle only
    std::size_t firstNewVertex_ = 0, firstNewEdge_ = 0;
    int pass_ = 0;
    float coarse_ = 0;
    bool hasFreeBorders_ = false;
    double rounding_ = 0;  ///< points closer than this are one

    const PatchSet& patchesOf(std::uint32_t surface) const { return *surfaces_[surface].patches; }
    std::uint32_t addVertex(std::uint32_t surface, const PatchPlace& at, std::uint32_t place);
    std::uint32_t addEdge(std::uint32_t a, std::uint32_t b);
    void evaluateNewVertices();
    EdgeShape shapeOf(const Edge& edge) const;

    void joinPlaces(double tolerance);
    void joinBorders(double tolerance);
    enum class Direction { Same, Opposite, Different };
    Direction compare(const Edge& edge, const EdgeShape& shape, const Edge& other, const EdgeShape& otherShape,
                      double tolerance) const;
    struct NearPlace {
        double share, distance;
    };
    NearPlace nearestPlace(const Edge& edge, const V3d& point) const;
    void cutBorders(double tolerance);
    bool chooseCut(std::uint32_t border, const std::vector<std::uint32_t>& places, double tolerance);
    double size() const;

    bool refine();
    float needOf(const Edge& edge) const;
    float needBy(const ApproximationRule& rule, const Edge& edge, const EdgeShape& shape) const;
    std::size_t trianglesAfterwards() const;
    void keepNeediest(std::size_t most);
    bool isDivided(std::uint32_t edge) const { return edges_[edges_[edge].master].need > 1; }
    void divideEdge(std::uint32_t edge);
    void divideTriangles();
    void divideTriangle(const Triangle& triangle, std::vector<Triangle>& result);
};

}  // namespace lumorender
