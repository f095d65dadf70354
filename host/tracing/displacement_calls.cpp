#include "tracing/displacement_calls.h"

#include "mi/material.h"
#include "mi/options.h"
#include "support/geometry.h"
#include "tracing/eye_samples.h"
#include "tracing/shader_calls.h"
#include "tracing/shader_table.h"
#include "tracing/tracing.h"

namespace lumorender {

DisplacementCalls::DisplacementCalls(const RenderScene& scene, short threadIndex) : context_(scene, threadIndex) {
    createRootState(context_);
    miColor unused = {0, 0, 0, 0};
    runStateShaders(context_, miSTATE_SHADER_STATE_INIT, &unused, false);
}

void DisplacementCalls::finish() {
    resetRootState(context_);
    miColor unused = {0, 0, 0, 0};
    runStateShaders(context_, miSTATE_SHADER_STATE_EXIT, &unused, false);
}

float DisplacementCalls::height(const Hit& place) {
    resetRootState(context_);
    RayRecord& record = *context_.root;
    miState& state = record.state;
    state.type = miRAY_DISPLACE;
    state.time = context_.scene->options->shutter_delay;
    record.hit = place;
    fillHit(context_, record, false);
    state.dir = -state.normal;
    state.org = state.point;
    state.dot_nd = -1;

    const miMaterial* material = context_.scene->slots->material(state.material);
    if (!material || material->displace == 0) return 0;
    miColor result = {0, 0, 0, 0};
    runStateShaders(context_, miSTATE_SHADER_SAMPLE_INIT, &result, false);
    const bool ok = callShader(context_, &state, material->displace, miSHADER_DISPLACE, &result);
    const float height = ok ? result.r : 0;
    runStateShaders(context_, miSTATE_SHADER_SAMPLE_EXIT, &result, ok);
    context_.states.endEyeRay();
    return height;
}

}  // namespace lumorender
