// Photons on their way: what shaders send on, and what they leave.
#pragma once

#include "mi/codes.h"
#include "mi/light.h"
#include "mi/state.h"
#include "tracing/context.h"

namespace lumorender {

/// Whether the light makes photons of its own for caustics, or for global illumination.
inline bool sendsCaustics(const miLight& light) { return light.caustic_store_photons > 0 || light.caustic_emit > 0; }
inline bool sendsGlobillum(const miLight& light) { return light.global_store_photons > 0 || light.global_emit > 0; }

/// A light's photon begins at the state's origin, along its direction.
/// @return false where no photons are emitted, or the light has nothing to give.
bool emitPhoton(const miColor& energy, miState* state);

/// The photon goes on from the state's point. `type` says how it left the surface.
/// @return false where it ends: it has been scattered often enough, or what it leaves does not pass on such photons.
bool tracePhoton(const miColor& energy, miState* state, const miVector& dir, miRay_type type);

/// Keeps the photon in the map of the running emission. @return whether it belongs there.
bool storePhoton(const miColor& energy, miState* state);
bool storeVolumePhoton(const miColor& energy, miState* state);

}  // namespace lumorender
