// What shaders want to know about a hit.
#pragma once

#include "geometry/mesh.h"
#include "geometry/scene_geometry.h"

namespace lumorender {

/// See SceneGeometry::listSizes.
inline HitListSizes listSizesOf(const Mesh& mesh) {
    return {mesh.textureSpaces, mesh.textureSpaces, mesh.hasDerivatives()};
}

/// See SceneGeometry::fillState.
void fillSurface(const Hit& hit, miState& state, const HitLists& lists, bool flipNormals);

}  // namespace lumorender
