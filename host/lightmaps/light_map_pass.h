// Light maps of a render: which triangles are drawn into them, and by how many threads.
#pragma once

#include "tracing/context.h"

namespace lumorender {

/// Whether the options ask for light maps and materials have shaders that make them.
bool wantsLightMaps(const RenderScene& scene);

/// Calls the light map shaders of all surfaces in the scene, and shows what they put into textures. The result does not
/// depend on the number of threads. @return false where the render was stopped; then nothing is shown
bool makeLightMaps(const RenderScene& scene, int threads);

}  // namespace lumorender
