// Displaced meshes: divided as finely as asked, and moved along their normals by what shaders say.
#pragma once

#include "database/approximation.h"
#include "geometry/scene_geometry.h"
#include "surfaces/edge_measure.h"

#include <functional>
#include <span>
#include <string>
#include <vector>

namespace lumorender {

/// What shaders give at places of a mesh: hits on an instance that stands at the origin, in object space. Called with
/// many at once.
using HeightFunction =
    std::function<void(const FlatInstance& instance, std::span<const Hit> places, std::span<float> heights)>;

struct DisplacementJob {
    const FlatInstance* instance = nullptr;  ///< the first one of those that will share the mesh
    std::vector<bool> displaced;             ///< by surface of the mesh
    Approximation approximation;             ///< all rules count
    float most = 0;                          ///< no place moves farther, object space; 0 = as far as the shaders say
    std::size_t mostTriangles = 0;           ///< as rules divide no further where there would be more
    std::string name;                        ///< of the object, for messages
};

/// The instance's mesh, divided and displaced. Places move along the mean of their normals by the mean of what the
/// shaders give for each of their vertices. The normals become those of the new surface, smooth where the old ones were.
/// The result does not depend on the order in which heights are found.
std::unique_ptr<Mesh> displaceMesh(const DisplacementJob& job, const EdgeMeasure& measure,
                                   const HeightFunction& heights);

}  // namespace lumorender
