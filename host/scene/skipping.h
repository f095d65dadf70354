// Steps over what the host does not use.
#pragma once

#include "scene/context.h"

namespace lumorender {

/// Behind `approximate`: tessellation settings, which polygons do not need.
void skipApproximation(SceneContext& scene);

/// To `end <word>` and past it.
void skipToEnd(SceneContext& scene, std::string_view word);

/// Past the end of a broken element, or before the next one where the end cannot be found.
void recover(SceneContext& scene, std::string_view element);

}  // namespace lumorender
