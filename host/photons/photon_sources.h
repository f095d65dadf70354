// Where lights send their photons.
#pragma once

#include "lights/lights.h"

#include <array>

namespace lumorender {

/// A sphere around all there is.
struct SceneSphere {
    V3d centre = V3d(0);
    double radius = 0;
};

struct PhotonStart {
    miVector origin, direction;  ///< world space, unit length
};

/// The beginning of a photon of the light, from four numbers in [0, 1). Points shine evenly all around, spots evenly into
/// their cone, shapes as matt surfaces do: rectangles and discs to the side of their normal, spheres, cylinders and
/// objects outwards. Far lights send them through a disc in front of the scene, as wide as the sphere, or in the plane
/// of their origin where they have one.
PhotonStart photonStart(const LightSource& source, const SceneSphere& scene, const std::array<double, 4>& random);

}  // namespace lumorender
