#include "shading_preamble.h"

#include "lumo.h"

#include "diagnostics.h"
#include "footprint.h"

#include <algorithm>

namespace lumo {
namespace {

/* Gives surfaces without texture coordinates one coordinate at the origin, so that shaders may read and write it. */
bool ensureTextureList(miState* state) {
    miInteger spaces = 0;
    if (mi_query(miQ_NUM_TEXTURES, state, miNULLTAG, &spaces) && spaces != 0) return true;
    miVector zero = {0, 0, 0};
    mi_shaderstate_set(state, "lumoTexList", &zero, sizeof zero, miSS_LIFETIME_EYERAY);
    auto* list = static_cast<miVector*>(mi_shaderstate_get(state, "lumoTexList", nullptr));
    if (!list) {
        reportError("Internal error: tex_list not initialized.");
        return false;
    }
    state->tex_list = list;
    return true;
}

bool cameByReflectionOrRefraction(const miState* state) {
    for (; state; state = state->parent)
        if (state->type == miRAY_REFLECT || state->type == miRAY_REFRACT || state->type == miRAY_FINALGATHER)
            return true;
    return false;
}

Footprint computedFootprint(miState* state, const Vexabase& record, EngineRays rays) {
    // A sample whose weight has fallen below the threshold is not worth more than an estimate.
    const miColor& weight = record.contributionWeight;
    if (record.lowerImportance > std::max({weight.r, weight.g, weight.b}))
        return roughFootprint(state, record.footprintScale);
    if (rays == EngineRays::kAll && cameByReflectionOrRefraction(state))
        return secondaryFootprint(state, record.footprintScale);
    return primaryFootprint(state, record.footprintScale);
}

}  // namespace

void prepareShading(miState* state, Vexabase& record, EngineRays rays) {
    if (!ensureTextureList(state)) return;
    const miScalar constant = record.constantFootprint;
    if (record.footprintMode == kFootprintConstant)
        record.footprint = {constant, constant, constant, constant, constant, constant};
    else
        record.footprint = computedFootprint(state, record, rays);
}

}  // namespace lumo
