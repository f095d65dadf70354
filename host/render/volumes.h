// What rays travel in.
#pragma once

#include "mi/material.h"
#include "render/context.h"

namespace lumorender {

/// Volume shaders change the color of everything that reached the state's end of the ray. Without one, `ok` comes back.
bool applyVolume(ThreadContext& context, miState* state, miColor* result, bool ok);

/// What a ray that goes on through the surface travels in, unless the surface's shader says otherwise: the material's
/// volume on the way in, what was around the front side on the way out, and the same as before where the material
/// (which may be null) has none.
miTag volumeBehind(const ThreadContext& context, const miState& state, const miMaterial* material);

}  // namespace lumorender
