// The record of a shader with its parameters, as other shaders and the renderer see it.
#pragma once

#include "database/declaration.h"
#include "parsing/context.h"
#include "parameters/parameter_block.h"
#include "parameters/shader_calls.h"

#include <cstddef>
#include <string>
#include <vector>

namespace lumorender {

/// The block that a definition begins with: the defaults, or what an incremental definition has so far.
ParameterBlock editedBlock(SceneContext& scene, const std::string& name, miTag declarationTag,
                           const Declaration& declaration);

/// The record of a function with its parameters and their ghosts. `given` is how many parameters were given.
std::vector<std::byte> functionRecord(miTag declarationTag, const Declaration& declaration, const ParameterBlock& block,
                                      int given);

/// Stores a function: record, parameter block, ghosts. `given` is how many parameters the scene gave.
miTag storeFunction(SceneContext& scene, const std::string& name, miTag declarationTag, const Declaration& declaration,
                    const ParameterBlock& block, int given);

/// A function equal to `source` under another name.
miTag copyFunction(SceneContext& scene, const std::string& name, miTag source);

/// True for calls in place without any parameters.
bool takesParametersOfMain(const SceneContext& scene, miTag function);

/// Gives the function the parameters of `main` if it was called without any and can take them, else its defaults.
void inheritParameters(SceneContext& scene, miTag main, miTag function);

/// What the function returns.
Parameter resultOf(const SceneContext& scene, miTag function);

/// The shader of this name, or the member of a shader's result that "shader.member" names. Tag 0 where there is none.
ConnectedShader findConnected(SceneContext& scene, const std::string& name);

}  // namespace lumorender
