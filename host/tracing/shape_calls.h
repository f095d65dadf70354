// Calling the shaders that find surfaces.
#pragma once

#include "geometry/scene_geometry.h"

namespace lumorender {

/// A ShapeFinder, on the thread that the state belongs to. What shaders throw is told and is no hit.
bool findShape(const miState& asking, const FlatInstance& instance, ObjectRay& ray, ShapePlace& place);

}  // namespace lumorender
