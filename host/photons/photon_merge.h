// Photons that lie close together, made one.
#pragma once

#include "photons/photon.h"

#include <span>
#include <vector>

namespace lumorender {

/// Photons that are nearer than `distance` (above 0) to one before them, and come to the same side of a surface, give
/// their energy to it. The order is kept: which ones stay depends on nothing else.
std::vector<Photon> mergedPhotons(std::span<const Photon> photons, float distance);

}  // namespace lumorender
