#include "database/elements.h"

#include <algorithm>

namespace lumorender {

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

int FrameBufferSet::shaderCount() const {
    return static_cast<int>(buffers.size()) + (primaryPosition() < 0 ? 1 : 0);
}

}  // namespace lumorender
