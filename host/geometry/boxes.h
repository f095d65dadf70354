// Boxes of objects, in their own space.
#pragma once

#include "mi/object.h"
#include "support/geometry.h"

#include <ImathBox.h>

namespace lumorender {

/// What the object's record says, with the way of its motion.
Imath::Box3d boxOf(const miObject& object);

/// Cuts the ray off outside of the box, made larger on all sides by a share of its size. False where nothing is left.
/// The direction may have any length; near and far count in it.
bool clip(const Imath::Box3d& box, double margin, const V3d& org, const V3d& dir, double& near, double& far);

}  // namespace lumorender
