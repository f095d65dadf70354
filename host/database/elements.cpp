#include "database/elements.h"

#include <algorithm>

namespace lumorender {

FrameBufferDescription& FrameBufferSet::named(std::string_view name) {
    for (FrameBufferDescription& buffer : buffers)
        if (buffer.name == name) return buffer;
    buffers.emplace_back().name = name;
    return buffers.back();
}

void FrameBufferSet::setPrimary(FrameBufferDescription& buffer, bool isPrimary) {
    if (isPrimary)
        for (FrameBufferDescription& other : buffers) other.primary = false;
    buffer.primary = isPrimary;
}

int FrameBufferSet::primaryPosition() const {
    const auto primary = std::find_if(buffers.begin(), buffers.end(), [](const auto& b) { return b.primary; });
    return primary == buffers.end() ? -1 : static_cast<int>(primary - buffers.begin());
}

int FrameBufferSet::shaderIndex(std::string_view name) const {
    const int primary = primaryPosition();
    int nextIndex = 1;
    for (int position = 0; position < static_cast<int>(buffers.size()); ++position) {
        const int index = position == primary ? 0 : nextIndex++;
        if (buffers[static_cast<std::size_t>(position)].name == name) return index;
    }
    return -1;
}

const FrameBufferDescription* FrameBufferSet::atShaderIndex(int index) const {
    const int primary = primaryPosition();
    int position = index;
    if (index == 0)
        position = primary;
    else if (primary < 0 || index <= primary)
        position = index - 1;  // those before the primary buffer are moved up by one
    const bool exists = position >= 0 && position < static_cast<int>(buffers.size());
    return exists ? &buffers[static_cast<std::size_t>(position)] : nullptr;
}

int FrameBufferSet::shaderCount() const { return static_cast<int>(buffers.size()) + (primaryPosition() < 0 ? 1 : 0); }

}  // namespace lumorender
