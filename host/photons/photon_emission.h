// Lights that emit photons until enough have been left in the scene.
#pragma once

#include "photons/photon.h"
#include "tracing/context.h"

#include <array>
#include <cstdint>
#include <vector>

namespace lumorender {

/// What the lights of a scene have left, by the kind of map: in an order that does not depend on the number of threads.
struct EmittedPhotons {
    std::array<std::vector<Photon>, kPhotonKinds> kinds;
    std::uint64_t emitted = 0, stored = 0;
    int lights = 0;
};

/// Lets all lights emit photons for caustics or for global illumination. A light is done when it has left as many as it
/// should, in surfaces and volumes, or has emitted as many as it may; or when so few of a great many have met anything
/// that it never would be, of which a message tells. The energy of its photons is the light's by the number of those
/// that it emitted.
/// @param stage miSTAGE_CAUSTIC or miSTAGE_GLOBILLUM
void emitPhotons(const RenderScene& scene, miStage stage, int threads, EmittedPhotons& result);

}  // namespace lumorender
