// How finely geometry is to be divided: what `approximate` statements say, as far as triangles can follow it.
#pragma once

#include <cstddef>
#include <vector>

namespace lumorender {

/// One statement. An edge is divided while it is too long, too far from the surface, or too bent, by whichever of these
/// the statement gives a limit for (0 = none).
struct ApproximationRule {
    bool view = false;              ///< lengths and distances are pixels, where they are seen; else units of the object
    bool offscreen = false;         ///< what the camera does not see counts as if it did
    bool any = false;               ///< one satisfied limit is enough
    int parametric = -1;            ///< every triangle becomes 4^this; -1 = not asked for
    float length = 0;               ///< of edges
    float distance = 0;             ///< of an edge's middle from where the surface is there
    float angle = 0;                ///< of both halves of an edge, degrees
    int least = 0, most = 5;        ///< times that edges are halved
    std::size_t mostTriangles = 0;  ///< 0 = as many as there may be at all
};

using Approximation = std::vector<ApproximationRule>;

}  // namespace lumorender
