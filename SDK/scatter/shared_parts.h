/* Work that is cut into parts which several threads make together, none of them waiting for another: a thread takes a
 * part that nobody has taken, and in the end makes again what others are still busy with. */
#pragma once

#include <atomic>
#include <cstddef>
#include <cstring>

#include <shader.h>

namespace lumo {

/* Zeroed; null when there is no memory. For structures without destructors. */
template <class T>
T* allocateBlock(std::size_t size = sizeof(T)) {
    return static_cast<T*>(mi_mem_int_test_allocate("sdk/lumoScatter", __LINE__, static_cast<miUint>(size)));
}

inline void releaseBlock(void* memory) {
    if (memory) mi_mem_int_release("sdk/lumoScatter", __LINE__, memory);
}

/* A block of `size` with the same beginning; the former one goes, or stays if there is no memory. */
template <class T>
T* shrunk(T* block, std::size_t size) {
    T* const smaller = allocateBlock<T>(size);
    if (!smaller) return block;
    std::memcpy(static_cast<void*>(smaller), block, size);
    releaseBlock(block);
    return smaller;
}

/* A block that any thread may make. Of several that make it the first one counts: all have to make it alike. */
template <class Part>
class SharedPart {
public:
    /* Null: nobody has made it yet. */
    const Part* known() const { return place_.load(std::memory_order_acquire); }

    /* `make` gives a block of allocateBlock(), and is called if nobody has made the part. Null: no memory. */
    template <class Make>
    const Part* get(Make make) {
        Part* part = place_.load(std::memory_order_acquire);
        if (part) return part;
        Part* const made = make();
        if (!made || place_.compare_exchange_strong(part, made, std::memory_order_acq_rel)) return made;
        releaseBlock(made);
        return part;
    }

    void drop() { releaseBlock(place_.exchange(nullptr, std::memory_order_acq_rel)); }

private:
    std::atomic<Part*> place_{nullptr};
};

/* The next part that no thread has taken; numbers from `count` on: there is none. */
class Turns {
public:
    miUint take() { return next_.fetch_add(1, std::memory_order_relaxed); }

private:
    std::atomic<miUint> next_{0};
};

}  // namespace lumo
