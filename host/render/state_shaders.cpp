#include "render/state_shaders.h"

#include "mi/options.h"
#include "render/shader_calls.h"

namespace lumorender {

void runStateShaders(ThreadContext& context, miState_shader_op operation, miColor* result, bool shaderReturn) {
    const miTag slot = context.scene->options->state_func;
    if (slot == 0) return;
    miState_shader_arg argument{operation, shaderReturn ? miTRUE : miFALSE};
    callShader(context, &context.root->state, slot, miSHADER_STATE, result, &argument);
}

}  // namespace lumorender
