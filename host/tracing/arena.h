// Memory that is taken piece by piece and given back all at once, per thread.
#pragma once

#include <cstddef>
#include <cstring>
#include <memory>
#include <vector>

namespace lumorender {

/// A stack of memory: pieces taken after a mark are given back by releasing to the mark. Chunks are kept, so that
/// after the first samples nothing is allocated any more. For one thread.
class Arena {
public:
    struct Mark {
        std::size_t chunk = 0;
        std::size_t used = 0;
    };

    /// Uninitialised memory, 16-byte aligned.
    void* allocate(std::size_t size) {
        size = (size + 15) & ~std::size_t{15};
        while (current_ < chunks_.size()) {
            Chunk& chunk = chunks_[current_];
            if (chunk.size - used_ >= size) {
                void* memory = chunk.memory.get() + used_;
                used_ += size;
                return memory;
            }
            ++current_;
            used_ = 0;
        }
        return allocateChunk(size);
    }

    void* allocateZeroed(std::size_t size) { return std::memset(allocate(size), 0, size); }

    template <class T>
    T* allocateArray(std::size_t count) {
        return static_cast<T*>(allocate(count * sizeof(T)));
    }

    Mark mark() const { return {current_, used_}; }

    void release(Mark mark) {
        current_ = mark.chunk;
        used_ = mark.used;
    }

private:
    struct Chunk {
        std::unique_ptr<std::byte[]> memory;
        std::size_t size = 0;
    };
    static constexpr std::size_t kChunkSize = std::size_t{1} << 18;

    void* allocateChunk(std::size_t size) {
        const std::size_t chunkSize = size > kChunkSize ? size : kChunkSize;
        chunks_.push_back({std::make_unique<std::byte[]>(chunkSize), chunkSize});
        current_ = chunks_.size() - 1;
        used_ = size;
        return chunks_.back().memory.get();
    }

    std::vector<Chunk> chunks_;
    std::size_t current_ = 0;
    std::size_t used_ = 0;
};

}  // namespace lumorender
