// Objects whose surface shaders find: they are asked whether and where a ray meets it, in the space of the object.
#pragma once

#include "geometry/placement_at.h"
#include "geometry/scene_geometry.h"

#include <ImathBox.h>

namespace lumorender {

/// One such object, wherever it is placed.
struct ShaderShape {
    miTag shader = 0;
    Imath::Box3d box;  ///< in its own space, for the whole shutter interval
};

struct ShapeHit {
    double dist = 0;  ///< along the ray, in world space
    std::uint8_t side = 0;
    ShapePlace place;
};

/// The nearest place of the instance's shape between near and far, on a side that the ray may hit.
bool meetShape(const ShapeFinder& finder, const Ray& ray, const FlatInstance& instance, const PlacementAt& placement,
               double near, double far, ShapeHit& hit);

/// As SceneGeometry says of its functions of the same names.
HitListSizes listSizesOf(const ShaderShape& shape);
void fillShape(const Hit& hit, miState& state, const HitLists& lists, bool flipNormals);

}  // namespace lumorender
