// Reads shaders with their parameters, wherever the scene language has them.
#pragma once

#include "database/declaration.h"
#include "parsing/context.h"

#include <string>
#include <string_view>

namespace lumorender {

/// A shader that a parameter is connected to, and what it returns.
struct ConnectedShader {
    miTag tag = 0;
    Parameter result;
    std::string name;
};

/// Behind `=` of a parameter: `"named"`, `"named.member"`, or a definition in place. Tag 0 after an error.
ConnectedShader readConnectedShader(SceneContext& scene);

/// True when a parameter can take its value from a shader with this result: the types are the same, or the result is a
/// record that begins with it.
bool isConnectable(const Parameter& parameter, const Parameter& result);

/// True where a shader slot continues: at a call or at `=`.
bool atShader(const Cursor& in);

/// All shaders that stand here, one after another: the tag of a function, of a list where there are several, or 0.
miTag readShaderList(SceneContext& scene);

/// `former` (a function, a list or 0) followed by `further`.
miTag joinShaders(SceneContext& scene, miTag former, miTag further);

/// The functions of a slot.
std::vector<miTag> shadersOf(const SceneContext& scene, miTag slot);

/// Behind the word `shader` at top level: defines a named shader or list.
void readNamedShader(SceneContext& scene);

/// Reads the shaders that stand here and gives them this name.
miTag readShadersAs(SceneContext& scene, const std::string& name);

/// Shadow and photon shaders of materials that are called without any parameters get those that the main shader has by
/// now. To be called before anything reads them: before a render, and at the end of the text.
void passParameters(SceneContext& scene);

}  // namespace lumorender
