/* lumoFrameBufferInit: state shader that fills one pass buffer with a constant before each sample, for passes whose
 * background is not zero (a depth pass, for example).
 */
#include "SDK/framework/export_shader.h"
#include "SDK/passes/frame_buffers.h"

namespace lumo {

struct FrameBufferInitParameters {
    miInteger pass; /* number of the buffer among the camera's pass names */
    miColor value;  /* buffers of fewer words take the first ones */
};

namespace {

void fillBuffer(const ShaderHelper<FrameBufferInitParameters>& in) {
    miState* state = in.state();
    if (!rendersTiles(state)) return;
    const miUint buffer = getNonMaterialPassFrameBufferIndex(state, in(&FrameBufferInitParameters::pass));
    if (buffer == 0) return;
    miColor value = in(&FrameBufferInitParameters::value);
    mi_fb_put(state, static_cast<int>(buffer), &value);
}

miBoolean initBuffer(const ShaderHelper<FrameBufferInitParameters>& in, const miState_shader_arg& argument) {
    switch (operationOf(argument)) {
        case miSTATE_SHADER_STATE_INIT:
        case miSTATE_SHADER_STATE_EXIT:
        case miSTATE_SHADER_SAMPLE_EXIT: return miTRUE;
        case miSTATE_SHADER_SAMPLE_INIT: fillBuffer(in); return miTRUE;
    }
    reportWarning("lumoFrameBufferInit(): Invoked with invalid opcode.");
    return miFALSE;
}

}  // namespace

LUMO_EXPORT_STATE_SHADER(lumoFrameBufferInit, initBuffer, FrameBufferInitParameters)

}  // namespace lumo
