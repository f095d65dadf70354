#include "memory.h"

#include <cstdlib>
#include <cstring>

#include <mi/functions.h>

#include "renderer.h"

namespace twin {

Memory::~Memory() {
    for (const auto& [memory, size] : live_) std::free(memory);
    while (!pools_.empty()) deletePool(*pools_.begin());
}

void* Memory::allocate(const char* file, int line, std::size_t size) {
    const std::lock_guard lock(mutex_);
    allocations.push_back({file, line, size});
    if (fails && fails(allocations.back())) return nullptr;
    void* memory = std::calloc(1, size);
    live_[memory] = size;
    return memory;
}

void Memory::release(const char* file, int line, void* memory) {
    const std::lock_guard lock(mutex_);
    releases.push_back({file, line});
    if (live_.erase(memory) == 0) {
        renderer().violation("release of memory that is not allocated");
        return;
    }
    std::free(memory);
}

miMemblk* Memory::createPool(const char* file, int line, int size) {
    const std::lock_guard lock(mutex_);
    poolRequests.push_back({file, line, static_cast<std::size_t>(size)});
    if (poolsFail) return nullptr;
    return *pools_.insert(new miMemblk{size, {}}).first;
}

void Memory::deletePool(miMemblk* pool) {
    const std::lock_guard lock(mutex_);
    if (pools_.erase(pool) == 0) {
        renderer().violation("deletion of a pool that does not exist");
        return;
    }
    for (void* block : pool->blocks) std::free(block);
    delete pool;
}

void* Memory::takeBlock(miMemblk* pool) {
    const std::size_t size = static_cast<std::size_t>(pool->size);
    void* block = std::malloc(size);
    std::memset(block, 0xCD, size);
    pool->blocks.insert(block);
    return block;
}

void Memory::giveBlock(miMemblk* pool, void* block) {
    if (pool->blocks.erase(block) == 0)
        renderer().violation("return of a block that is not the pool's");
    else
        std::free(block);
}

}  // namespace twin

using twin::renderer;

void* mi_mem_int_allocate(const char* file, int line, miUint size) {
    return renderer().memory.allocate(file, line, size);
}
void* mi_mem_int_test_allocate(const char* file, int line, miUint n) {
    return renderer().memory.allocate(file, line, n);
}
void mi_mem_int_release(const char* file, int line, void* p) { renderer().memory.release(file, line, p); }
miMemblk* mi_mem_int_blkcreate(const char* file, int line, int n) {
    return renderer().memory.createPool(file, line, n);
}
void mi_mem_blkdelete(miMemblk* pool) { renderer().memory.deletePool(pool); }
void* mi_mem_blkfallocate(miMemblk* pool) { return renderer().memory.takeBlock(pool); }
void mi_mem_blkfrelease(miMemblk* pool, void* block) { renderer().memory.giveBlock(pool, block); }
