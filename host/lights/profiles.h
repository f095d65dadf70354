// How much a luminaire with a light profile shines where its light goes.
#pragma once

#include "database/database.h"
#include "mi/light.h"
#include "photometry/light_profile.h"
#include "support/geometry.h"

namespace lumorender {

/// What is known of a profile's directions, or null where there is none or its file is broken.
const LightDistribution* distributionOf(const Database& database, miTag profile);

/// Along a direction in the light's space, which need not be of unit length: in candela, or with `relative` as a share of
/// the brightest direction. The luminaire shines straight along the light's own direction, or down the z axis as cameras
/// look; C0 lies towards its x axis.
double shineAlong(const LightDistribution& distribution, const miLight* light, V3d way, bool relative);

/// The profile that the host applies to a light: that of its statement, unless a parameter of its shader names one.
const LightDistribution* profileOfLight(const Database& database, const miLight& light);

}  // namespace lumorender
