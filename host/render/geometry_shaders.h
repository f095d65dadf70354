// Shaders that are called before anything is collected for tracing: they add to the scene, and place its parts.
#pragma once

#include "building/build_session.h"
#include "tracing/context.h"
#include "tracing/shader_table.h"

#include <memory>

namespace lumorender {

/// Calls the shaders that make the scene what it is: those that compute transforms of instances; geometry shaders that the
/// scene's phenomena bring, by their priorities; and those of all instances below the root, each once, and of what they
/// make, until there is none left. The scene's geometry is an outline meanwhile: instances, lights and cameras have their
/// places as far as they are known, rays meet nothing. The shaders stay in the table, for callbacks that use what they
/// keep.
GeneratedScene callGeometryShaders(RenderScene& scene, ShaderTable& shaders, const std::shared_ptr<BuildWorld>& world);

}  // namespace lumorender
