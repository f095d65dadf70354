// Light that photons have brought, for shaders.
#pragma once

#include "mi/option_records.h"
#include "mi/state.h"

namespace lumorender {

/// Whether places that are reached by gathering rays take their light from photons: then they gather no more.
bool photonsEndGathering(const miState* state);

/// Adds irradiance on one side of the surface: caustics, and global illumination too where `withGlobillum`.
/// @param side 'f' for that of the state's normal, 'b' for the other
/// @return false where there is no such map, or the surface receives none
bool addPhotonIrradiance(miColor& irradiance, miState* state, char side, const miIrrad_options* options,
                         bool withGlobillum);

/// Flux per volume that was scattered around the state's point.
bool volumeIrradiance(miColor* result, miState* state);

}  // namespace lumorender
