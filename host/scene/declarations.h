// Reads `declare`: names, types and defaults of shader and data parameters.
#pragma once

#include "scene/context.h"

namespace lumorender {

/// Behind `declare`.
void readDeclaration(SceneContext& scene);

/// The shader's declaration with its functions looked up; null, and an error, where there is none to call.
Declaration* requireShaderDeclaration(SceneContext& scene, std::string_view name, miTag& tag);

}  // namespace lumorender
