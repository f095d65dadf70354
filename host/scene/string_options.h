// Options by name: values that the scene gives in quotes.
#pragma once

#include "scene/context.h"

namespace lumorender {

/// At `"name" value`.
void readStringOption(SceneContext& scene, StringOptions& options);

/// Behind `attribute` in options: the same, with words for storage and type before.
void readOptionAttribute(SceneContext& scene, StringOptions& options);

}  // namespace lumorender
