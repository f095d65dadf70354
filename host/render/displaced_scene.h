// Displacement of everything in a scene that asks for it.
#pragma once

#include "tracing/context.h"

namespace lumorender {

/// Replaces the meshes of instances whose materials have displacement shaders, before the kernels are built. Shaders
/// must have had their init. Instances of one object with the same displacement share a mesh, as fine as any of them
/// needs it. Without `approximate` statements edges are 2 pixels long.
void displaceScene(const RenderScene& scene, SceneGeometry& geometry, int threads);

}  // namespace lumorender
