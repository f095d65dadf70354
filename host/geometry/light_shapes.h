// Visible area lights as geometry: the light's shape as a mesh that eye and secondary rays meet.
#pragma once

#include "geometry/mesh.h"
#include "mi/light.h"

#include <memory>

namespace lumorender {

/// The shape in the light's own space with normals to the outside (rectangle: u x v, disc: its normal). Round shapes
/// are fine enough that their outline is less than a part in a thousand of the radius away from the true one.
/// @return null where the light shows no shape: not visible, no area, or an area without extent.
std::unique_ptr<Mesh> lightShape(const miLight& light);

}  // namespace lumorender
