// The shaders that a render can call.
#pragma once

#include "mi/camera.h"
#include "tracing/context.h"
#include "tracing/shader_table.h"

namespace lumorender {

/// Adds those that elements name, wherever these stand: all but shaders in the place of materials.
void findShadersOfElements(RenderScene& scene, ShaderTable& shaders);

/// Adds all shaders of the scene to the table, and gives the scene its slots. Phenomena bring shaders for the camera,
/// which take their places in its slots. Warns of surfaces that have none. The scene's geometry must be there, without
/// what shaders displace of it. Throws Failure where a module lacks a function.
void findShaders(RenderScene& scene, miCamera& camera, ShaderTable& shaders);

/// Gives a scene that is outlined, and not traced yet, all that shaders may ask for: lights, the camera, slots, textures.
void openForCalls(RenderScene& scene, ShaderTable& shaders);

}  // namespace lumorender
