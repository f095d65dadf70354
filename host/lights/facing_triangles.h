// Triangles by which of them face a point.
#pragma once

#include "support/geometry.h"

#include <cstdint>
#include <span>
#include <vector>

namespace lumorender {

struct LightTriangle {
    V3d a, b, c;

    /// To the outside, twice the area long.
    V3d normal() const { return cross(b - a, c - a); }
    bool faces(const V3d& point) const { return dot(normal(), point - a) > 0; }
};

/// A tree over triangles in their given order, of which neighbours lie close to each other in most meshes: each node knows
/// a sphere around its triangles and a cone around their normals, and is passed over where none of them can face the
/// point.
class FacingTriangles {
public:
    /// The triangles stay where they are as long as this is used; none is without area.
    void build(std::span<const LightTriangle> triangles);

    /// Calls `visit(number)` for those that face the point, in order, until it answers false.
    template <class Visit>
    void visit(const V3d& point, const Visit& visit) const {
        for (std::uint32_t i = 0; i < nodes_.size();) {
            const Node& node = nodes_[i];
            const bool goesIn = mayFace(node, point);
            if (goesIn && node.next == i + 1)
                for (std::uint32_t k = node.first; k < node.end; ++k)
                    if (triangles_[k].faces(point) && !visit(k)) return;
            i = goesIn ? i + 1 : node.next;
        }
    }

private:
    struct Node {
        V3d centre, axis;  ///< of the sphere, and of the cone; unit length
        double radius;
        double cosine, sine;       ///< of the cone's half angle
        std::uint32_t first, end;  ///< triangles
        std::uint32_t next;        ///< behind this one's children; leaves have none
    };
    std::span<const LightTriangle> triangles_;
    std::vector<Node> nodes_;

    void add(std::uint32_t first, std::uint32_t end);
    Node nodeOf(std::uint32_t first, std::uint32_t end) const;
    static bool mayFace(const Node& node, const V3d& point);
};

}  // namespace lumorender
