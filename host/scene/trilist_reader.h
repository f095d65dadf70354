// Reads flat triangle meshes.
#pragma once

#include "scene/context.h"

namespace lumorender {

/// Behind `trilist` of an object, up to and past its end. The triangles become a group of polygons. False, after a
/// warning, where the mesh is of a form that is not read.
bool readTrilist(SceneContext& scene, bool tagged, PolygonGroupSource& group);

}  // namespace lumorender
