// Parameter values that are names of scene elements.
#pragma once

#include "parsing/context.h"

#include <vector>

namespace lumorender {

/// Reads a name as a parameter of this type takes it: of a texture, a light instance, a shader ...
miTag readNamedValue(SceneContext& scene, miParam_type type);

/// The light instances that a light instance stands for: itself, or those in the group that it places.
std::vector<miTag> lightsOf(const SceneContext& scene, miTag instance);

}  // namespace lumorender
