// Reads groups of polygons.
#pragma once

#include "scene/context.h"

namespace lumorender {

/// Behind `group` of an object, up to and past `end group`. A group with geometry of another kind than polygons is
/// skipped, with a warning, and false returned.
bool readPolygonGroup(SceneContext& scene, bool tagged, PolygonGroupSource& group);

/// A vector of a group that is not finite would spoil the whole object's bounds.
void warnOfBrokenVectors(SceneContext& scene, const Place& place, const PolygonGroupSource& group);

}  // namespace lumorender
