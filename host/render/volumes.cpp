#include "render/volumes.h"

#include "mi/camera.h"
#include "mi/options.h"
#include "render/shader_calls.h"
#include "render/slots.h"

namespace lumorender {

bool applyVolume(ThreadContext& context, miState* state, miColor* result, bool ok) {
    if (state->volume == 0 || state->options->no_volume) return ok;
    return callShader(context, state, state->volume, miSHADER_VOLUME, result);
}

miTag volumeBehind(const ThreadContext& context, const miState& state, const miMaterial* material) {
    if (!material || material->volume == 0) return state.volume;
    if (!state.inv_normal || state.volume != material->volume) return material->volume;
    for (const miState* before = state.parent; before; before = before->parent) {
        const miMaterial* entered = context.scene->slots->material(before->material);
        const bool isEntry = entered && entered->volume == material->volume && !before->inv_normal;
        if (isEntry && before->volume != material->volume) return before->volume;
    }
    return state.camera->volume;
}

}  // namespace lumorender
