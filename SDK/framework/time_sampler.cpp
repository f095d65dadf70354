/* Spreads the samples of one shading call over the shutter interval. */
#include "SDK/lumo.h"

#include "binding/renderer.h"

#include <algorithm>

namespace lumo {
namespace {

bool insideFinalGathering(miState* state) {
    miInteger answer = 0;
    return mi_query(miQ_FINALGATHER_STATE, state, miNULLTAG, &answer) && answer != 0;
}

/* True only when the renderer says so: it then spends no samples of its own on motion. */
bool nothingMovesHere(miState* state) {
    miInteger moving = 1;
    return mi_query(miQ_SAMPLE_MOVING, state, miNULLTAG, &moving) && moving == 0;
}

/* The finer the contrast that is asked for, the more samples; not more than 100. `contrast` is above 0. */
miInteger samplesForContrast(miScalar contrast) {
    if (contrast >= 1) return 1;
    return contrast >= 0.01f ? static_cast<miInteger>(1 / contrast + 1e-5f) : 100;
}

}  // namespace
}  // namespace lumo

void tmsampler_init(LumoTimeSampler* sampler, miState* state, miBoolean enable) {
    *sampler = {0, 1, 0};
    const miScalar open = state->options->shutter_delay;
    const miScalar close = state->options->shutter;
    if (!enable || lumo::insideFinalGathering(state) || !(close > open) || !lumo::nothingMovesHere(state)) return;

    const miColor& limits = state->options->time_contrast;
    const miScalar contrast = std::min({limits.r, limits.g, limits.b});
    if (contrast > 0) {
        sampler->count = lumo::samplesForContrast(contrast);
        sampler->step = (close - open) / static_cast<miScalar>(sampler->count);
    }
}

miBoolean tmsampler_isDone(const LumoTimeSampler* sampler) { return sampler->index >= sampler->count; }

void tmsampler_next(LumoTimeSampler* sampler, miState* state) {
    const miScalar open = state->options->shutter_delay;
    const miScalar close = state->options->shutter;
    state->time += sampler->step;
    if (state->time > close) state->time -= close - open;
    ++sampler->index;
}
