// Connected parameters and calls of other shaders.
#include "tracing/shader_calls.h"
#include "tracing/shader_table.h"

#include "shader.h"

using namespace lumorender;

namespace {

const miMaterial* materialOf(const miState* state) { return contextOf(state).scene->slots->material(state->material); }

miBoolean callSlot(miColor* result, miState* state, miTag miMaterial::* slot, miShader_type type) {
    const miMaterial* material = materialOf(state);
    if (!material) return miFALSE;
    return callShader(contextOf(state), state, material->*slot, type, result, nullptr, true);
}

}  // namespace

extern "C" {

void* mi_phen_eval(miState* state, void* parameter) { return evaluateParameter(state, parameter, false); }

void* mi_phen_call(miState* state, void* parameter) { return evaluateParameter(state, parameter, true); }

miBoolean mi_call_shader_x(miColor* result, miShader_type type, miState* state, miTag shader, void* argument) {
    // The caller knows how large the shader's result is: it named the shader.
    return callShader(contextOf(state), state, shader, type, result, argument, true, true);
}

miBoolean mi_call_shader(miColor* result, miShader_type type, miState* state, miTag shader) {
    return mi_call_shader_x(result, type, state, shader, nullptr);
}

miBoolean mi_call_material(miColor* result, miState* state) {
    const miMaterial* material = materialOf(state);
    const auto slot = material && !material->shader ? &miMaterial::bsdf : &miMaterial::shader;
    return callSlot(result, state, slot, miSHADER_MATERIAL);
}

miBoolean mi_call_shadow_material(miColor* result, miState* state) {
    return callSlot(result, state, &miMaterial::shadow, miSHADER_SHADOW);
}

miBoolean mi_call_environment_material(miColor* result, miState* state) {
    return callSlot(result, state, &miMaterial::environment, miSHADER_ENVIRONMENT);
}

miBoolean mi_call_volume_material(miColor* result, miState* state) {
    return callSlot(result, state, &miMaterial::volume, miSHADER_VOLUME);
}

miBoolean mi_call_photon_material(miColor* result, miState* state) {
    return callSlot(result, state, &miMaterial::photon, miSHADER_PHOTON);
}

miBoolean mi_call_photonvol_material(miColor* result, miState* state) {
    return callSlot(result, state, &miMaterial::photonvol, miSHADER_PHOTONVOL);
}

void mi_flush_cache(miState* state) {
    if (CallFrame* frame = contextOf(state).frame) frame->evaluatedCount = 0;
}

}  // extern "C"
