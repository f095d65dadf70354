/* Writes of one surface into the slots of its ray level. What is the same for all entries is found once. */
#pragma once

#include "SDK/color/color.h"
#include "SDK/passes/frame_buffers.h"

namespace lumo {

class SlotWriter {
public:
    SlotWriter(const miState* state, miUint mode)
        : level_(rayLevel(state)),
          mode_(mode),
          hasSlots_(level_ >= 0 && level_ - 1 <= traceDepth(state) && state->type != miRAY_ENVIRONMENT) {}

    bool isClosed(const FrameBufferInfo& entry) const { return mode_ == kWriteNone || (entry.flags & kEntryClosed); }

    /* Null where the surface is filtered, and for environment rays. */
    FrameBufferSlot* writableSlot(const FrameBufferInfo& entry) const {
        FrameBufferSlot* slot = hasSlots_ ? entry.slots + level_ : nullptr;
        return slot && !(slot->levelFlags & kLevelFiltered) ? slot : nullptr;
    }

    void combine(FrameBufferSlot& slot, const miColor& value) const {
        switch (mode_) {
            case kWriteMultiply: slot.contribution = slot.contribution * value; break;
            case kWriteReplace: slot.contribution = value; break;
            default: slot.contribution = slot.contribution + value; break;
        }
    }

private:
    const int level_;
    const miUint mode_;
    const bool hasSlots_;
};

}  // namespace lumo
