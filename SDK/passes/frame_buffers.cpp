#include "SDK/passes/frame_buffers.h"

#include <cstddef>

namespace lumo {

/* Other modules know these records by their words. */
static_assert(sizeof(FrameBufferSlot) == 13 * 4);
static_assert(sizeof(FrameBufferInfo) == 104 && offsetof(FrameBufferInfo, slots) == 96);
static_assert(offsetof(FrameBufferInfo, lightValue) == 6 * 4 && offsetof(FrameBufferInfo, identifier) == 22 * 4);
static_assert(sizeof(PassState) == 280);
static_assert(sizeof(FrameBufferState) == 20);

}  // namespace lumo

miUint getFrameBufferInfo(miState* state, PassState** passes, FrameBufferInfo** entries) {
    const lumo::FrameBuffers buffers = lumo::currentFrameBuffers(state);
    *passes = buffers.passes;
    *entries = buffers.entries.data();
    return buffers.count();
}

FrameBufferState* getFrameBufferState(miState* state) {
    return lumo::rendersTiles(state) ? lumo::publishedFrameBufferState(state) : nullptr;
}
