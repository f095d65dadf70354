/* Pass masks, pass writes, and what secondary rays hand up. */
#include "SDK/passes/frame_buffers.h"

#include "SDK/color/color.h"
#include "SDK/passes/slot_writer.h"

#include <bit>
#include <cmath>
#include <limits>

namespace lumo {
namespace {

/* The value of a mask's digit; a character that is no digit gives whatever these rules make of it. */
int digitValue(char c) {
    return c < 'A' ? c - '0' : c - '7';  // of small letters the four bits that count are the same
}

/* The digit number `position` of a mask, or '0' when the mask ends before it. */
char maskDigit(const char* mask, miUint position) {
    for (; position > 0 && *mask; --position) ++mask;
    return *mask ? *mask : '0';
}

/* A reflectance becomes light: of what arrives, or of what was blocked when the unblocked light is given. */
miColor lit(const miColor& value, const FrameBufferInfo& entry, const miBoolean* useLight,
            const miColor* const* reference) {
    if (!useLight || !*useLight) return value;
    const miColor* unblocked = reference ? *reference : nullptr;
    return (unblocked ? *unblocked - entry.lightValue : entry.lightValue) * value;
}

/* Half away from zero; the product of two 32-bit numbers is exact enough in double precision. */
miInteger roundedProduct(miInteger value, miScalar weight) {
    const double product = static_cast<double>(value) * static_cast<double>(weight);
    const double rounded = std::trunc(product < 0 ? product - 0.5 : product + 0.5);
    using Limits = std::numeric_limits<miInteger>;
    if (std::isnan(rounded)) return 0;
    return static_cast<miInteger>(std::clamp<double>(rounded, Limits::min(), Limits::max()));
}

/* Integers live in the bits of a float word. Arithmetic wraps. */
miInteger combined(miInteger old, miInteger value, miUint mode) {
    const auto a = static_cast<miUint>(old), b = static_cast<miUint>(value);
    if (mode == kWriteReplace) return value;
    return static_cast<miInteger>(mode == kWriteMultiply ? a * b : a + b);
}

}  // namespace
}  // namespace lumo

miBoolean contributesToPass(miUint pass, const char* mask) {
    if (!mask) return miTRUE;
    return (lumo::digitValue(lumo::maskDigit(mask, pass / 4)) & (1 << (pass % 4))) != 0;
}

void tracePassInit(miUint count, FrameBufferInfo* entries, miState* state) {
    const int level = lumo::rayLevel(state);
    if (level >= lumo::traceDepth(state)) return;
    for (FrameBufferInfo& entry : std::span(entries, count)) {
        FrameBufferSlot* next = lumo::slotOfLevel(entry, state, level + 1);
        if (!next) return;
        next->levelFlags = 0;
        next->transparency = lumo::kBlack;
        next->color = lumo::kBlack;
    }
}

void tracePassAdd(miUint count, FrameBufferInfo* entries, miState* state, const miColor* weight, miBoolean kind) {
    using namespace lumo;
    const int level = rayLevel(state);
    if (level < 0 || level >= traceDepth(state)) return;

    const miUint through = kind ? kEntryThroughRefraction : kEntryThroughReflection;
    for (FrameBufferInfo& entry : std::span(entries, count)) {
        FrameBufferSlot& slot = entry.slots[level];
        FrameBufferSlot& next = entry.slots[level + 1];
        if ((entry.flags & kEntryNoTracedLight) || (isFilteredOut(slot) && !(entry.flags & through))) continue;
        slot.contribution = slot.contribution + next.color * *weight;
        next.color = kBlack;
    }
}

miBoolean passWriteColor(miState* state, const miColor* value, FrameBufferInfo* entry, const miUint* mode,
                         const miCBoolean* flags, const miScalar* weight, const miBoolean* useLight,
                         const miColor* const* reference) {
    using namespace lumo;
    const SlotWriter writer(state, *mode, *flags, *weight);
    return writer.write(*entry, lit(*value, *entry, useLight, reference)) ? miTRUE : miFALSE;
}

miBoolean passWriteInteger(miState* state, const miInteger* value, FrameBufferInfo* entry, const miUint* mode,
                           const miCBoolean* flags, const miScalar* weight) {
    using namespace lumo;
    const SlotWriter writer(state, *mode);
    if (writer.isClosed(*entry)) return miTRUE;
    FrameBufferSlot* slot = writer.writableSlot(*entry);
    if (!slot) return miFALSE;

    const miInteger weighted = *flags & kWriteWeighted ? roundedProduct(*value, *weight) : *value;
    miScalar& word = slot->contribution.r;
    word = std::bit_cast<miScalar>(combined(std::bit_cast<miInteger>(word), weighted, *mode));
    return miTRUE;
}

miBoolean passAddToLightSum(miState*, const miColor* value, FrameBufferInfo* entry, const miBoolean* useLight,
                            const miColor* const* reference) {
    using lumo::operator+;
    entry->lightSum = entry->lightSum + lumo::lit(*value, *entry, useLight, reference);
    return miTRUE;
}
