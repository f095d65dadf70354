// How finely geometry is to be divided: what `approximate` statements say.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace lumorender {

/// What a statement is for. `Polygons` is a statement without a kind.
enum class ApproximationKind : std::uint8_t {
    Polygons,
    Displacement,
    Trilist,
    Surface,
    Subdivision,
    CatmullClark,
    Curve,
    SpaceCurve,
    Trim
};

/// One statement. An edge is divided while it is too long, too far from the surface, or too bent, by whichever of these
/// the statement gives a limit for (0 = none).
struct ApproximationRule {
    ApproximationKind kind = ApproximationKind::Polygons;
    bool all = false;                ///< `all`, as options and instances say
    std::vector<std::string> names;  ///< of surfaces and curves in the group; none = all of them
    bool view = false;              ///< lengths and distances are pixels, where they are seen; else units of the object
    bool offscreen = false;         ///< what the camera does not see counts as if it did
    bool any = false;               ///< one satisfied limit is enough
    int parametric = -1;            ///< every triangle becomes 4^this; -1 = not asked for
    float parts[2] = {0, 0};        ///< the numbers behind `parametric`, for u and v
    bool regular = false;           ///< they count for the whole surface, not for each of its pieces
    bool percent = false;           ///< they are percentages of the pieces times the degree
    float length = 0;               ///< of edges
    float distance = 0;             ///< of an edge's middle from where the surface is there
    float angle = 0;                ///< of both halves of an edge, degrees
    int least = 0, most = 5;        ///< times that edges are halved
    std::size_t mostTriangles = 0;  ///< 0 = as many as there may be at all
};

using Approximation = std::vector<ApproximationRule>;

/// Whether the statement is for triangles that shaders displace, and not for what makes them.
inline bool dividesTriangles(const ApproximationRule& rule) {
    return rule.kind == ApproximationKind::Polygons || rule.kind == ApproximationKind::Displacement ||
           rule.kind == ApproximationKind::Trilist;
}

}  // namespace lumorender
