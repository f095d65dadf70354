// Geometry shaders: they are called before anything is collected for tracing, and add to the scene.
#pragma once

#include "building/build_session.h"
#include "tracing/context.h"
#include "tracing/shader_table.h"

#include <memory>

namespace lumorender {

/// Calls the geometry shaders of all instances below the root, each once, and those of what they make, until there is
/// none left. The scene's geometry is an outline meanwhile: instances, lights and cameras have their places, rays meet
/// nothing. The shaders stay in the table, for callbacks that use what they keep.
/// @return what stands for each of the instances.
GeneratedItems callGeometryShaders(RenderScene& scene, ShaderTable& shaders, const std::shared_ptr<BuildWorld>& world);

}  // namespace lumorender
