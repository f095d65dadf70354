// The commands and elements at the top level of a scene file.
#pragma once

#include "scene/context.h"

namespace lumorender {

/// Reads commands to the end of the text. Broken ones are reported and stepped over.
void readCommands(SceneContext& scene);

}  // namespace lumorender
