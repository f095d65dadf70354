/* The frame buffers of the current state, as SDK and shader code use them. */
#pragma once

#include <algorithm>
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

    /* The entries of one pass type. */
    std::span<FrameBufferInfo> ofType(miUint type) const {
        if (!passes) return {};
        const PassRange range = passes->types[type];
        const std::size_t first = std::min<std::size_t>(range.first, entries.size());
        return entries.subspan(first, std::min<std::size_t>(range.count, entries.size() - first));
    }
};

/* Whether an entry is one of these, which stand next to each other in the same array. */
inline bool contains(std::span<FrameBufferInfo> entries, const FrameBufferInfo& entry) {
    return !entries.empty() && &entry >= &entries.front() && &entry <= &entries.back();
}

/* As published, without asking for the stage: for callers who know it. */
FrameBuffers publishedFrameBuffers(miState* state);
FrameBufferState* publishedFrameBufferState(miState* state);

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
