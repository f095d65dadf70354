// Reads user data, and attaches it to elements.
#pragma once

#include "parsing/context.h"

namespace lumorender {

/// Of a copy that an element has for a chain of its own: the block that the scene named.
struct DataCopy : Detail {
    miTag original = 0;
};

/// Behind `data` at top level: defines a block.
void readUserData(SceneContext& scene);

/// Behind `data` inside an element: appends a block to the element's chain, or clears the chain.
void readDataStatement(SceneContext& scene, miTag& chain);

/// Behind `attribute` inside an element: kept with it, in place of a former one of the name.
void readAttribute(SceneContext& scene, Detail& detail);

}  // namespace lumorender
