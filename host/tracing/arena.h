// Memory that is taken piece by piece and given back all at once, per thread.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

namespace lumorender {

/// A stack of memory: pieces taken after a mark are given back by releasing to the mark. Chunks are kept, so that
/// after the first samples nothing is allocated any more. For one thread.
class Arena {
public:
    struct Mark {
        std::size_t chunk = 0;
        std::byte* next = nullptr;
    };

    Arena() { enter(0, kChunkSize); }

    /// Uninitialised memory, 16-byte aligned.
    void* allocate(std::size_t size) {
        size = (size + 15) & ~std::size_t{15};
        if (static_cast<std::size_t>(end_ - next_) < size) [[unlikely]]
            goOn(size);
        return std::exchange(next_, next_ + size);
    }

    void* allocateZeroed(std::size_t size) { return std::memset(allocate(size), 0, size); }

    template <class T>
    T* allocateArray(std::size_t count) {
        return static_cast<T*>(allocate(count * sizeof(T)));
    }

    Mark mark() const { return {current_, next_}; }

    void release(const Mark& mark) {
        if (mark.chunk != current_) [[unlikely]]
            enter(mark.chunk, 0);
        next_ = mark.next;
    }

private:
    struct Chunk {
        std::unique_ptr<std::byte[]> memory;
        std::size_t size = 0;
    };
    static constexpr std::size_t kChunkSize = std::size_t{1} << 18;

    /// To the first of the further chunks that has room.
    [[gnu::noinline]] void goOn(std::size_t size) {
        while (static_cast<std::size_t>(end_ - next_) < size) enter(current_ + 1, size);
    }

    /// The beginning of a chunk, which is made where there is none yet: of this size at least.
    [[gnu::noinline]] void enter(std::size_t chunk, std::size_t size) {
        if (chunk == chunks_.size()) {
            const std::size_t chunkSize = std::max(size, kChunkSize);
            chunks_.push_back({std::make_unique<std::byte[]>(chunkSize), chunkSize});
        }
        current_ = chunk;
        next_ = chunks_[chunk].memory.get();
        end_ = next_ + chunks_[chunk].size;
    }

    std::vector<Chunk> chunks_;
    std::size_t current_ = 0;
    std::byte* next_ = nullptr;
    std::byte* end_ = nullptr;  ///< of the current chunk
};

}  // namespace lumorender
