/* What the functions of the light loop and of shadow accumulation have in common. */
#pragma once

#include <span>

#include "SDK/lumo.h"

#include "SDK/color/color.h"

namespace lumo {

inline std::span<FrameBufferInfo> entriesOf(miUint count, FrameBufferInfo* entries) {
    return entries ? std::span<FrameBufferInfo>(entries, count) : std::span<FrameBufferInfo>();
}

/* An entry that the current light does not contribute to has no light, but alpha. */
inline constexpr miColor kNoLight = {0, 0, 0, 1};

inline void setFlag(FrameBufferInfo& entry, miUint flag, bool on) {
    entry.flags = on ? entry.flags | flag : entry.flags & ~flag;
}

inline bool hasFlag(const FrameBufferInfo& entry, miUint flag) { return (entry.flags & flag) != 0; }

}  // namespace lumo
