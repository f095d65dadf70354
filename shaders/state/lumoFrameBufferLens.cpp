/* lumoFrameBufferLens: lens shader that puts what an eye ray sees of the environment into the beauty passes.
 *
 * Where a surface is hit, its shading engine fills the passes. Where nothing is hit no material runs, so the color that
 * the environment gave is entered here. List it as the last lens shader of the camera.
 */
#include "SDK/framework/export_shader.h"
#include "SDK/passes/frame_buffers.h"

namespace lumo {
namespace {

void enterBackground(miState* state, const miColor& color) {
    if (!rendersTiles(state)) return;
    const FrameBuffers buffers = publishedFrameBuffers(state);
    for (const miUint type : {kPassBeauty, kPassBeautyNoShadow})
        for (FrameBufferInfo& entry : buffers.ofType(type))
            if (!(entry.slots->levelFlags & kLevelHasSurroundings)) entry.slots->color = color;
}

miBoolean traceEyeRay(miColor* result, const ShaderHelper<NoParameters>& in) {
    miState* state = in.state();
    const miBoolean traced = mi_trace_eye(result, state, &state->org, &state->dir);
    if (traced && state->instance == miNULLTAG) enterBackground(state, *result);
    return traced;
}

}  // namespace

LUMO_EXPORT_FUNCTION_SHADER(lumoFrameBufferLens, traceEyeRay, miColor, NoParameters)

}  // namespace lumo
