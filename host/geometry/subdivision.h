// Dividing the triangles of a mesh by their edges, so that neighbours always agree.
#pragma once

#include "geometry/mesh.h"

#include <cstdint>
#include <utility>
#include <vector>

namespace lumorender {

/// Numbers pairs of numbers in order of their first appearance.
class PairTable {
public:
    explicit PairTable(std::size_t expected);

    /// The pair's number, and whether it is new. The order within the pair does not matter.
    std::pair<std::uint32_t, bool> add(std::uint32_t a, std::uint32_t b);

private:
    std::vector<std::uint64_t> keys_;
    std::vector<std::uint32_t> numbers_;
    std::uint32_t count_ = 0;

    void grow();
};

/// A mesh while it is divided. Vertices at one place are one corner of the surface, whatever else they have: edges, and
/// with them all that is decided about edges, are those of places. There are no cracks.
class Subdivision {
public:
    /// The mesh must outlive this. Faces without normals get vertices of their own, with the faces' normals.
    explicit Subdivision(Mesh& mesh);

    struct Edge {
        std::uint32_t triangle, corner;  ///< of one triangle: from this corner to the next one
        std::uint32_t middle;            ///< the place in its middle, once it is divided
        float need;                      ///< divided when it is above 1; for the caller to set
    };

    Mesh& mesh() { return mesh_; }
    std::uint32_t places() const { return places_; }
    std::uint32_t placeOf(std::uint32_t vertex) const { return placeOf_[vertex]; }
    const std::vector<Edge>& edges() const { return edges_; }
    std::vector<Edge>& edges() { return edges_; }
    /// The two ends of an edge, the lower place first: both sides calculate the same.
    std::pair<std::uint32_t, std::uint32_t> verticesOf(const Edge& edge) const;

    /// How many triangles there will be.
    std::size_t trianglesAfterwards() const;
    /// Divides triangles at all edges that need it. What is at an edge's middle is the mean of its ends'.
    void divide();

private:
    Mesh& mesh_;
    std::vector<std::uint32_t> placeOf_;
    std::uint32_t places_ = 0;
    std::vector<Edge> edges_;
    std::vector<std::uint32_t> edgeOf_;  ///< three per triangle

    void separateFaces();
    void findPlaces();
    void findEdges();
    std::uint32_t copyVertex(std::uint32_t vertex);
    void addMiddle(std::uint32_t a, std::uint32_t b, std::uint32_t place);
};

}  // namespace lumorender
