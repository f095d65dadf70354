/* Shadows pass by pass: what light shaders trace, and what shadow shaders take away. */
#include <optional>

#include "SDK/lights/light_entries.h"

#include "SDK/color/color.h"
#include "SDK/passes/pass_filter.h"

namespace lumo {
namespace {

/* Light through something of transmission t: what is left of the light, and the shadow's color instead of the rest. */
miColor shaded(const miColor& t, const miColor& light, const miColor& shadow) { return t * light + (1 - t) * shadow; }

/* Traces with every contributing entry unshadowed at first; the occluders' shadow shaders attenuate them. */
miBoolean traceFromFullLight(std::span<FrameBufferInfo> entries, miColor* result, miState* state) {
    *result = WHITE;
    for (FrameBufferInfo& entry : entries)
        if (hasFlag(entry, kEntryLightContributes)) entry.shadowValue = WHITE;
    return mi_trace_shadow(result, state);
}

/* Each entry from the transmission that its own occluders left. */
void lightEntry(FrameBufferInfo& entry, const miColor& light, const miColor& shadow) {
    if (!hasFlag(entry, kEntryLightContributes)) {
        entry.lightValue = kNoLight;
        entry.shadowValue = kBlack;
    } else if (!hasFlag(entry, kEntryShadowed)) {
        entry.lightValue = withAlphaOne(light);
        entry.shadowValue = kBlack;
    } else {
        const miColor arriving = shaded(entry.shadowValue, light, shadow);
        const bool inverted = hasFlag(entry, kEntryShadowInverted);
        entry.lightValue = withAlphaOne(inverted ? light - arriving : arriving);
        if (inverted) entry.shadowValue = withAlphaOne(arriving);
    }
}

/* One shadowed color for all entries. Only entries that record blocked light keep it as their shadow. */
void lightEntryWith(FrameBufferInfo& entry, const miColor& arriving, const miColor& light) {
    if (!hasFlag(entry, kEntryLightContributes)) {
        entry.lightValue = kNoLight;
    } else if (!hasFlag(entry, kEntryShadowed)) {
        entry.lightValue = withAlphaOne(light);
    } else if (hasFlag(entry, kEntryShadowInverted)) {
        entry.shadowValue = withAlphaOne(arriving);
        entry.lightValue = withAlphaOne(light - arriving);
    } else {
        entry.lightValue = withAlphaOne(arriving);
    }
}

/* The mean of several rays. Here shadowValue is always the transmission, and an entry without shadows keeps the light's
 * own alpha: both differ from a single ray, and materials count on it. */
void lightEntryFromSum(FrameBufferInfo& entry, miUint samples, const miColor& light, const miColor& shadow) {
    if (!hasFlag(entry, kEntryLightContributes)) {
        entry.lightValue = kNoLight;
        entry.shadowValue = kBlack;
    } else if (hasFlag(entry, kEntryShadowed)) {
        entry.shadowValue = samples == 0 ? entry.shadowSum : entry.shadowSum / static_cast<miScalar>(samples);
        const miColor arriving = shaded(entry.shadowValue, light, shadow);
        entry.lightValue = withAlphaOne(hasFlag(entry, kEntryShadowInverted) ? light - arriving : arriving);
    } else {
        entry.lightValue = light;
    }
}

void attenuate(FrameBufferInfo& entry, const miColor& t, bool accumulateOnly) {
    if (!accumulateOnly) {
        entry.shadowValue = entry.shadowValue * t;
    } else if (hasFlag(entry, kEntryShadowInverted)) {
        const miColor left = entry.shadowValue * t;
        entry.lightValue = entry.lightValue + (entry.shadowValue - left);
        entry.shadowValue = left;
    } else {
        entry.lightValue = entry.lightValue * t;
    }
}

}  // namespace
}  // namespace lumo

miBoolean traceShadow(miUint count, FrameBufferInfo* first, miColor* result, const miColor* lightColor,
                      const miColor* shadowColor, miCBoolean single, miState* state) {
    using namespace lumo;
    const auto entries = entriesOf(count, first);
    const miBoolean lit = traceFromFullLight(entries, result, state);
    if (!single) {
        for (FrameBufferInfo& entry : entries) lightEntry(entry, *lightColor, *shadowColor);
        return lit;
    }
    const miColor arriving = lit ? shaded(*result, *lightColor, *shadowColor) : *shadowColor;
    for (FrameBufferInfo& entry : entries) lightEntryWith(entry, arriving, *lightColor);
    return lit;
}

void traceShadowAccumulateBegin(miUint count, FrameBufferInfo* first) {
    for (FrameBufferInfo& entry : lumo::entriesOf(count, first)) entry.shadowSum = lumo::kBlack;
}

miBoolean traceShadowAccumulate(miUint count, FrameBufferInfo* first, miColor* result, miState* state) {
    using namespace lumo;
    const auto entries = entriesOf(count, first);
    const miBoolean lit = traceFromFullLight(entries, result, state);
    for (FrameBufferInfo& entry : entries)
        if (hasFlag(entry, kEntryLightContributes)) entry.shadowSum = entry.shadowSum + entry.shadowValue;
    return lit;
}

void traceShadowAccumulateEnd(miUint count, FrameBufferInfo* first, miUint samples, const miColor* lightColor,
                              const miColor* shadowColor) {
    for (FrameBufferInfo& entry : lumo::entriesOf(count, first))
        lumo::lightEntryFromSum(entry, samples, *lightColor, *shadowColor);
}

miBoolean applyShadowTransparencyToFrameBuffers(miUint count, FrameBufferInfo* first, const miColor* transparency,
                                                miCBoolean accumulateOnly, miState* state) {
    using namespace lumo;
    // The occluder's mask is looked up only when some entry has shadows.
    std::optional<PassFilter> filter;
    miBoolean anyLit = miFALSE;
    miUint next = 0;
    for (FrameBufferInfo& entry : entriesOf(count, first)) {
        const miUint pass = next++;
        if (!hasFlag(entry, kEntryShadowed) || !hasFlag(entry, kEntryLightContributes)) continue;
        if (!filter) filter.emplace(state, state->instance);
        if (hasFlag(entry, kEntryIgnoresOccluderMask) || filter->allows(pass))
            attenuate(entry, *transparency, accumulateOnly != 0);
        if (!isBlack(entry.shadowValue)) anyLit = miTRUE;
    }
    return anyLit;
}
