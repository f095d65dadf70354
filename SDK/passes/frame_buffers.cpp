#include "SDK/passes/frame_buffers.h"

#include <cstddef>
#include <cstdint>

namespace lumo {

/* Other modules know these records by their words. */
static_assert(sizeof(FrameBufferSlot) == 13 * 4);
static_assert(sizeof(FrameBufferInfo) == 104 && offsetof(FrameBufferInfo, slots) == 96);
static_assert(offsetof(FrameBufferInfo, lightValue) == 6 * 4 && offsetof(FrameBufferInfo, identifier) == 22 * 4);
static_assert(sizeof(PassState) == 280);
static_assert(sizeof(FrameBufferState) == 20);

FrameBuffers publishedFrameBuffers(miState* state) {
    int size = 0;
    auto* passes = static_cast<PassState*>(mi_shaderstate_get(state, PASS_TYPE_INFO_KEY, &size));
    if (!passes || size != static_cast<int>(sizeof(PassState))) return {};

    // The entries must be exactly as many as the pass types say, or one of the two records is not ours.
    const PassRange& last = passes->types[kPassTypeCount - 1];
    const std::uint64_t count = std::uint64_t{last.first} + last.count;
    if (count == 0) return {};
    size = 0;
    auto* entries = static_cast<FrameBufferInfo*>(mi_shaderstate_get(state, FRAME_BUFFER_INFO_KEY, &size));
    if (!entries || size < 0 || static_cast<std::uint64_t>(size) != count * sizeof(FrameBufferInfo)) return {};

    if (entries->flags & kEntryInUse) return {};
    return {passes, {entries, static_cast<std::size_t>(count)}};
}

FrameBufferState* publishedFrameBufferState(miState* state) {
    int size = 0;
    auto* frame = static_cast<FrameBufferState*>(mi_shaderstate_get(state, FRAME_BUFFER_STATE_KEY, &size));
    return frame && size == static_cast<int>(sizeof(FrameBufferState)) ? frame : nullptr;
}

}  // namespace lumo

miUint getFrameBufferInfo(miState* state, PassState** passes, FrameBufferInfo** entries) {
    const lumo::FrameBuffers buffers =
        lumo::rendersTiles(state) ? lumo::publishedFrameBuffers(state) : lumo::FrameBuffers{};
    *passes = buffers.passes;
    *entries = buffers.entries.data();
    return buffers.count();
}

FrameBufferState* getFrameBufferState(miState* state) {
    return lumo::rendersTiles(state) ? lumo::publishedFrameBufferState(state) : nullptr;
}
