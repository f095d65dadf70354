/* The light loop: what materials do around mi_sample_light, and what light shaders do first. */
#include "SDK/lights/light_entries.h"

#include "SDK/framework/renderer_access.h"
#include "SDK/passes/pass_filter.h"
#include "SDK/passes/slot_writer.h"

const miUint defaultLightDataArray[12] = {0, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0};

void sampleLightBegin(miUint count, FrameBufferInfo* first) {
    using namespace lumo;
    const auto entries = entriesOf(count, first);
    if (entries.empty()) return;
    entries.front().flags |= kEntryInLightLoop | kEntryLightNotSetUp;
    for (FrameBufferInfo& entry : entries) entry.lightSum = kBlack;
}

void setupLightContributions(miUint count, FrameBufferInfo* first, miState* state) {
    using namespace lumo;
    const auto entries = entriesOf(count, first);
    if (entries.empty()) return;
    if (state->light_instance == miNULLTAG)
        reportError("setupLightContributions was called outside of a light shader.");

    // A light without a mask, or no light at all, contributes to every pass.
    const PassFilter filter(state, state->light_instance);
    miUint pass = 0;
    for (FrameBufferInfo& entry : entries) setFlag(entry, kEntryLightContributes, filter.allows(pass++));
    entries.front().flags &= ~static_cast<miUint>(kEntryLightNotSetUp);
}

void handleNonLumoLights(miUint count, FrameBufferInfo* first, const miColor* color, miTag light, miState* state) {
    using namespace lumo;
    const auto entries = entriesOf(count, first);
    if (entries.empty() || !hasFlag(entries.front(), kEntryLightNotSetUp)) return;

    const miTag before = state->light_instance;
    state->light_instance = light;
    setupLightContributions(count, first, state);
    state->light_instance = before;

    // The next sample of this light has to come here again.
    entries.front().flags |= kEntryLightNotSetUp;

    // Alpha of an excluded pass is 0 here and 1 for our own lights. Pictures depend on it: leave both as they are.
    for (FrameBufferInfo& entry : entries) entry.lightValue = hasFlag(entry, kEntryLightContributes) ? *color : BLACK;
}

void setLightIrradiance(miUint count, FrameBufferInfo* first, const miColor* irradiance) {
    using namespace lumo;
    for (FrameBufferInfo& entry : entriesOf(count, first)) {
        // Nothing was blocked, so entries that record blocked light get none.
        const bool lit = hasFlag(entry, kEntryLightContributes) && !hasFlag(entry, kEntryShadowInverted);
        entry.lightValue = lit ? withAlphaOne(*irradiance) : kNoLight;
        entry.shadowValue = WHITE;
    }
}

void sampleLightEnd(miState* state, miUint count, FrameBufferInfo* first, miInteger samples, const miUint* mode,
                    const miCBoolean* flags, const miScalar* weight) {
    using namespace lumo;
    const auto entries = entriesOf(count, first);
    if (entries.empty()) return;
    entries.front().flags &= ~static_cast<miUint>(kEntryInLightLoop);
    if (samples <= 0) return;

    // The sums hold the light already, so they are written as they are.
    const Float4 share = broadcast4(1 / static_cast<miScalar>(samples));
    const SlotWriter writer(state, *mode, *flags, *weight);
    writer.writeEach(entries, [share](const FrameBufferInfo& entry) { return load4(&entry.lightSum.r) * share; });
}
