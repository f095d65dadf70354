/* Which buffers a surface takes part in, at the ray level where it is shaded: by the buffers' own ranges of levels, by
 * the way the ray took, and by the object's pass mask. */
#pragma once

#include "SDK/passes/frame_buffers.h"

namespace lumo {

/* The slots of the current ray level, entry by entry; none when the level has no slots. */
class LevelSlots {
public:
    LevelSlots(const FrameBuffers& buffers, const miState* state)
        : buffers_(!buffers.empty() && currentSlot(buffers.entries.front(), state) ? buffers : FrameBuffers{}),
          level_(rayLevel(state)) {}

    const FrameBuffers& buffers() const { return buffers_; }
    std::span<FrameBufferInfo> entries() const { return buffers_.entries; }
    int level() const { return level_; }
    FrameBufferSlot& of(const FrameBufferInfo& entry) const { return entry.slots[level_]; }

private:
    const FrameBuffers buffers_;
    const int level_;
};

/* Begins a surface: its contributions are cleared, its level flags set. Returns whether some buffer leaves the
 * surface's object out and is to see what lies behind instead. */
bool beginSurface(const LevelSlots& slots, miState* state);

/* Whether a buffer sees what fills the ray's way to the state's hit: by its range of levels and the way the ray took. */
bool seesMedium(const FrameBufferInfo& entry, const miState* state);

/* A surface that a ray met is in its passes already. Where the ray that `state` sent last met nothing, the
 * environment's color goes into the beauty passes here, as far as they would take a surface in its place. */
void depositEnvironment(const FrameBuffers& buffers, const miState* state, const miColor& color);

/* The same for surroundings that the surface mirrors without sending a ray: `color` is added to its own passes, as far
 * as they would take what a reflected ray hands up. */
void depositUntraced(const FrameBuffers& buffers, const miState* state, const miColor& color);

}  // namespace lumo
