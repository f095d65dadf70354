// Lines that scenes say are the same on two surfaces.
#pragma once

#include "surfaces/bezier_patches.h"

namespace lumorender {

/// How far the two lines of a connection are apart, at most: places of one from the other, in the object's space.
double gapOf(const ConnectionSource& connection, const PolygonGroupSource& group, const FreeFormPatches& first,
             const FreeFormPatches& second);

}  // namespace lumorender
