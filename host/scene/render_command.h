// Reads `render` and hands it to the application.
#pragma once

#include "scene/context.h"

namespace lumorender {

/// Behind `render`. Nothing is rendered after an error. Throws StopReading where the application wants no more.
void readRender(SceneContext& scene);

}  // namespace lumorender
