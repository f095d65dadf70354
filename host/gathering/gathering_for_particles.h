// Final gathering in the place of irradiance particles.
#pragma once

#include "database/elements.h"
#include "mi/options.h"

namespace lumorender {

/// Particles are not made, but a scene that asks for them counts on indirect light: where it does, and does not gather
/// itself, it gathers with as many rays as particles would be looked up by, further bounces for their indirect passes,
/// and their scale. Says so.
void gatherForParticles(miOptions& options, const StringOptions* named, const std::string& where);

}  // namespace lumorender
