// Calling shaders: functions, lists and connected parameters.
#pragma once

#include "database/declaration.h"
#include "mi/codes.h"
#include "mi/state.h"
#include "tracing/context.h"

#include <functional>

namespace lumorender {

/// False, after a message, where the ray is too deep to send another one from it: the thread's stack ends.
bool mayGoDeeper();

/// Calls the shader in a slot (a function, or a list whose members run one after another on the same result).
/// @param result at least 16 bytes. A shader that returns more writes to memory of its declared size, whose first 16
/// bytes are handed back. `wholeResult` says that the caller's memory has the declared size.
/// @return true when a shader of the list returned true. Slot 0 returns false and leaves the result alone.
bool callShader(ThreadContext& context, miState* state, miTag slot, miShader_type type, void* result,
                void* argument = nullptr, bool calledByShader = false, bool wholeResult = false);

/// Calls the shaders in a slot whose functions have arguments of their own: `call` hands these to each function, beside
/// its parameters. @return true when it did so for one of them
bool callOther(ThreadContext& context, miState* state, miTag slot, miShader_type type,
               const std::function<bool(ShaderEntry, void* parameters)>& call);

/// The value of a parameter of the running shader: the address itself, or the result of the connected shader.
/// Remembered until the running shader returns, unless `again` asks for a fresh evaluation. Members of a shader's
/// result are of one call, also when different parameters are connected to them.
void* evaluateParameter(miState* state, void* parameter, bool again);

/// Runs the options' state shaders with an operation on the context's root state. What they return is not looked at:
/// a state shader that has nothing to do says false.
void runStateShaders(ThreadContext& context, miState_shader_op operation, miColor* result, bool shaderReturn);

}  // namespace lumorender
