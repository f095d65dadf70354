/* Memory for the length of a call, for what may be too large for the stack. */
#pragma once

#include "binding/renderer.h"

#include <cstddef>

namespace lumo {

/* More records than this, one per frame buffer, do not go on the stack: shading calls nest, and threads' stacks are not
 * endless. */
inline constexpr std::size_t kMostOnStack = 1024;

/* Memory from the renderer, given back at the end; null when it has none or none is wanted. `source` is for the
 * renderer's book-keeping. */
class HeapBlock {
public:
    HeapBlock(const char* source, std::size_t bytes)
        : source_(source),
          memory_(bytes > 0 ? mi_mem_int_allocate(source, __LINE__, static_cast<miUint>(bytes)) : nullptr) {}
    ~HeapBlock() {
        if (memory_) mi_mem_int_release(source_, __LINE__, memory_);
    }

    HeapBlock(const HeapBlock&) = delete;
    HeapBlock& operator=(const HeapBlock&) = delete;

    void* get() const { return memory_; }

private:
    const char* const source_;
    void* const memory_;
};

}  // namespace lumo
