/* Writes of one surface into the slots of its ray level. What is the same for all entries is found once. */
#pragma once

#include "SDK/color/color.h"
#include "SDK/framework/float4.h"
#include "SDK/passes/frame_buffers.h"

namespace lumo {

class SlotWriter {
public:
    /* Weighted where the write flags say so. */
    SlotWriter(const miState* state, miUint mode, miCBoolean flags = 0, miScalar weight = 1)
        : level_(rayLevel(state)),
          mode_(mode),
          weight_(flags & kWriteWeighted ? weight : 1),
          hasSlots_(level_ >= 0 && level_ - 1 <= traceDepth(state) && state->type != miRAY_ENVIRONMENT) {}

    /* Nothing is wrong about a closed entry; false where the entry has no slot for the value. */
    bool write(const FrameBufferInfo& entry, const miColor& value) const {
        if (isClosed(entry)) return true;
        FrameBufferSlot* slot = writableSlot(entry);
        if (slot) combine(*slot, value * weight_);
        return slot != nullptr;
    }

    /* The same for several entries. Next to all are added to: that is decided once. `valueOf` gives four floats at once;
     * they stay that in slots and entries, since what was just written in parts is slow to read as a whole. */
    template <class Value>
    void writeEach(std::span<const FrameBufferInfo> entries, const Value& valueOf) const {
        if (mode_ != kWriteAdd) [[unlikely]] {
            for (const FrameBufferInfo& entry : entries) {
                miColor value;
                store4(&value.r, valueOf(entry));
                write(entry, value);
            }
            return;
        }
        if (!hasSlots_) return;
        const int level = level_;
        const Float4 weight = broadcast4(weight_);
        for (const FrameBufferInfo& entry : entries) {
            FrameBufferSlot& slot = entry.slots[level];
            if ((entry.flags & kEntryClosed) || (slot.levelFlags & kLevelFiltered)) continue;
            float* const contribution = &slot.contribution.r;
            store4(contribution, load4(contribution) + valueOf(entry) * weight);
        }
    }

    /* Scalar buffers have one word; what lies behind it is not theirs. */
    void writeFirstWord(const FrameBufferInfo& entry, miScalar value) const {
        FrameBufferSlot* slot = isClosed(entry) ? nullptr : writableSlot(entry);
        if (!slot) return;
        const miColor before = slot->contribution;
        combine(*slot, {value * weight_, 0, 0, 0});
        slot->contribution = {slot->contribution.r, before.g, before.b, before.a};
    }

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
    const miScalar weight_;
    const bool hasSlots_;
};

}  // namespace lumo
