/* The frame buffers of the current state, as SDK and shader code use them. */
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

#include "SDK/lumo.h"

#include "binding/renderer.h"

namespace lumo {

/* What the renderer is busy with (miStage bits); 0 when it does not say. */
inline miInteger renderingStage(miState* state) {
    miInteger stage = miSTAGE_UNKNOWN;
    return mi_query(miQ_STAGE, state, miNULLTAG, &stage) ? stage : static_cast<miInteger>(miSTAGE_UNKNOWN);
}

/* Buffers take part only while the picture itself is rendered, not in precomputations. */
inline bool rendersTiles(miState* state) { return renderingStage(state) == miSTAGE_TILE; }

/* The entries and their order by pass type; empty when there are none. */
struct FrameBuffers {
    PassState* passes = nullptr;
    std::span<FrameBufferInfo> entries;

    bool empty() const { return entries.empty(); }
    miUint count() const { return static_cast<miUint>(entries.size()); }

    /* Whether there may be entries of a pass type. */
    bool hasType(miUint type) const { return passes && passes->types[type].count != 0; }

    /* The entries of one pass type. */
    std::span<FrameBufferInfo> ofType(miUint type) const {
        const PassRange range = passes ? passes->types[type] : PassRange{};
        if (range.count == 0) return {};
        const std::size_t first = std::min<std::size_t>(range.first, entries.size());
        return entries.subspan(first, std::min<std::size_t>(range.count, entries.size() - first));
    }
};

/* Whether an entry is one of these, which stand next to each other in the same array. */
inline bool contains(std::span<FrameBufferInfo> entries, const FrameBufferInfo& entry) {
    return !entries.empty() && &entry >= &entries.front() && &entry <= &entries.back();
}

/* A record of this size that travels with the state; null where there is none, or another one under its name. */
template <class Record>
Record* publishedRecord(miState* state, const char* key) {
    int size = 0;
    void* record = mi_shaderstate_get(state, key, &size);
    return record && size == static_cast<int>(sizeof(Record)) ? static_cast<Record*>(record) : nullptr;
}

/* As published, without asking for the stage: for callers who know it. */
inline FrameBuffers publishedFrameBuffers(miState* state) {
    auto* passes = publishedRecord<PassState>(state, PASS_TYPE_INFO_KEY);
    if (!passes) return {};

    // The entries must be exactly as many as the pass types say, or one of the two records is not ours.
    const PassRange& last = passes->types[kPassTypeCount - 1];
    const std::uint64_t count = std::uint64_t{last.first} + last.count;
    if (count == 0) return {};
    int size = 0;
    auto* entries = static_cast<FrameBufferInfo*>(mi_shaderstate_get(state, FRAME_BUFFER_INFO_KEY, &size));
    if (!entries || size < 0 || static_cast<std::uint64_t>(size) != count * sizeof(FrameBufferInfo)) return {};

    if (entries->flags & kEntryInUse) return {};
    return {passes, {entries, static_cast<std::size_t>(count)}};
}
inline FrameBufferState* publishedFrameBufferState(miState* state) {
    return publishedRecord<FrameBufferState>(state, FRAME_BUFFER_STATE_KEY);
}

/* Those that take part now. Most renders have none, and then the stage does not matter. */
inline FrameBuffers currentFrameBuffers(miState* state) {
    FrameBuffers buffers = publishedFrameBuffers(state);
    if (!buffers.empty() && !rendersTiles(state)) buffers = {};
    return buffers;
}

/* Limit of the sum of a ray's levels. */
inline int traceDepth(const miState* state) { return std::max(state->options->trace_depth, 0); }

/* Reflection plus refraction level. Signed: shaders lower the levels of some sub-rays. */
inline int rayLevel(const miState* state) { return state->reflection_level + state->refraction_level; }

/* An entry's slot of a ray level, null outside 0 .. trace depth + 1. */
inline FrameBufferSlot* slotOfLevel(const FrameBufferInfo& entry, const miState* state, int level) {
    return level >= 0 && level - 1 <= traceDepth(state) ? entry.slots + level : nullptr;
}

inline FrameBufferSlot* currentSlot(const FrameBufferInfo& entry, const miState* state) {
    return slotOfLevel(entry, state, rayLevel(state));
}

/* Whether a slot's level is filtered out for good: the surface neither writes nor hands anything up. */
inline bool isFilteredOut(const FrameBufferSlot& slot) {
    return (slot.levelFlags & (kLevelFiltered | kLevelBelowRange)) == kLevelFiltered;
}

/* Keeps shaders that are evaluated during its life from writing into frame buffers: getFrameBufferInfo then reports
 * none. Guards may be nested; only the one that found the buffers free gives them back. */
class InUseGuard {
public:
    explicit InUseGuard(std::span<FrameBufferInfo> entries, bool enabled = true) {
        if (!enabled || entries.empty() || (entries.front().flags & kEntryInUse)) return;
        flags_ = &entries.front().flags;
        *flags_ |= kEntryInUse;
    }
    ~InUseGuard() {
        if (flags_) *flags_ &= ~static_cast<miUint>(kEntryInUse);
    }

    InUseGuard(const InUseGuard&) = delete;
    InUseGuard& operator=(const InUseGuard&) = delete;

private:
    miUint* flags_ = nullptr;
};

/* Set or clear flags on all entries of one pass type. */
inline void setPassFlags(const FrameBuffers& buffers, miUint type, miUint mask) {
    for (FrameBufferInfo& entry : buffers.ofType(type)) entry.flags |= mask;
}

inline void clearPassFlags(const FrameBuffers& buffers, miUint type, miUint mask) {
    for (FrameBufferInfo& entry : buffers.ofType(type)) entry.flags &= ~mask;
}

}  // namespace lumo
