/* vexabase: state shader that places the per-sample record "vexabase", which every material of the library needs.
 *
 * For hosts without an integration of their own. List it first among the options' state shaders. Its parameters give
 * the values with which every sample starts. This module calls the renderer's functions directly: they are resolved
 * when the host loads it.
 */
#include <cstring>

#include "SDK/framework/vexabase.h"

#include <shader.h>

namespace lumo {

struct VexabaseParameters {
    miInteger compositionMode;
    miInteger shadowDepthLimit;
    miBoolean evaluatesFog;
    miScalar lowerImportance;
    miScalar upperImportance;
    miBoolean lightsBackSide;
    miInteger footprintMode;
    miScalar constantFootprint;
    miScalar footprintScale; /* 0: a pixel's size */
    miColor contributionWeight;
};

namespace {

/* Width of a pixel at distance 1, or anywhere when there is no perspective. */
miScalar pixelSize(const miCamera* camera) {
    if (!camera || camera->x_resolution <= 0) return 0;
    const miScalar width = camera->aperture / static_cast<miScalar>(camera->x_resolution);
    return camera->orthographic || camera->focal == 0 ? width : width / camera->focal;
}

Vexabase recordFor(miState* state, VexabaseParameters* parameters) {
    Vexabase record;
    record.compositionMode = *mi_eval_integer(&parameters->compositionMode);
    record.shadowDepthLimit = *mi_eval_integer(&parameters->shadowDepthLimit);
    record.evaluatesFog = *mi_eval_boolean(&parameters->evaluatesFog);
    record.lowerImportance = *mi_eval_scalar(&parameters->lowerImportance);
    record.upperImportance = *mi_eval_scalar(&parameters->upperImportance);
    record.lightsBackSide = *mi_eval_boolean(&parameters->lightsBackSide);
    record.footprintMode = *mi_eval_integer(&parameters->footprintMode);
    record.constantFootprint = *mi_eval_scalar(&parameters->constantFootprint);
    record.footprintScale = *mi_eval_scalar(&parameters->footprintScale);
    record.contributionWeight = *mi_eval_color(&parameters->contributionWeight);
    if (record.footprintScale == 0) record.footprintScale = pixelSize(state->camera);
    return record;
}

/* The record as every sample begins with it is kept beside it, so that a sample costs one copy. */
constexpr char kDefaultsKey[] = "vexabase:defaults";

/* Every stage gets the record: precomputations call materials too. Setting it again writes over the same storage. */
miBoolean place(miState* state, VexabaseParameters* parameters) {
    Vexabase record = recordFor(state, parameters);
    return mi_shaderstate_set(state, kDefaultsKey, &record, sizeof record, miSS_LIFETIME_RECT) &&
           mi_shaderstate_set(state, kVexabaseKey, &record, sizeof record, miSS_LIFETIME_RECT);
}

miBoolean reset(miState* state, VexabaseParameters* parameters) {
    auto* record = static_cast<Vexabase*>(mi_shaderstate_get(state, kVexabaseKey, nullptr));
    const auto* defaults = static_cast<const Vexabase*>(mi_shaderstate_get(state, kDefaultsKey, nullptr));
    if (!record || !defaults) return place(state, parameters);
    *record = *defaults;
    return miTRUE;
}

miBoolean remove(miState* state) {
    mi_shaderstate_set(state, kDefaultsKey, nullptr, 0, miSS_LIFETIME_RECT);
    return mi_shaderstate_set(state, kVexabaseKey, nullptr, 0, miSS_LIFETIME_RECT);
}

}  // namespace
}  // namespace lumo

extern "C" {

DLLEXPORT int vexabase_version(void) { return 2; }

DLLEXPORT void vexabase_init(miState* state, lumo::VexabaseParameters* parameters, miBoolean* wantsInstanceInit) {
    if (parameters) return;
    miInteger callType = miSHADER_COUNT;
    if (!mi_query(miQ_FUNC_CALLTYPE, state, miNULLTAG, &callType) || callType != miSHADER_STATE)
        mi_error("vexabase(): Not invoked as state shader. List it with the options' state shaders.");
    *wantsInstanceInit = miFALSE;
}

DLLEXPORT miBoolean vexabase(void*, miState* state, lumo::VexabaseParameters* parameters,
                             miState_shader_arg* argument) {
    if (!argument) return miFALSE;
    // Read as a number: an operation code that this version does not know is told, not guessed.
    int operation;
    std::memcpy(&operation, &argument->operation, sizeof operation);
    switch (operation) {
        case miSTATE_SHADER_STATE_INIT: return lumo::place(state, parameters);
        case miSTATE_SHADER_SAMPLE_INIT: return lumo::reset(state, parameters);
        case miSTATE_SHADER_STATE_EXIT: return lumo::remove(state);
        case miSTATE_SHADER_SAMPLE_EXIT: return miTRUE;
    }
    mi_warning("vexabase(): Invoked with invalid opcode.");
    return miFALSE;
}

}  // extern "C"
