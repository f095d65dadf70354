// State shaders: called around a rendering state and around every eye sample.
#pragma once

#include "mi/codes.h"
#include "render/context.h"

namespace lumorender {

/// Runs the options' state shaders with an operation on the context's root state. What they return is not looked at:
/// a state shader that has nothing to do says false.
void runStateShaders(ThreadContext& context, miState_shader_op operation, miColor* result, bool shaderReturn);

}  // namespace lumorender
