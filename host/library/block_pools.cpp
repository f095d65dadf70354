/* Arenas of equally sized blocks: pages from the host's allocator, cut up without a lock per block for those who can do
   without. */
#include "support/fatal.h"
#include "library/memory.h"
#include "shader.h"
#include "support/messages.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <new>

namespace {

constexpr std::size_t kPageSize = 8192;
constexpr std::size_t kWordBits = 64;
constexpr std::size_t kSmallestBlock = sizeof(void*);  // a released block holds the link to the next one

/// Head of a page; the blocks follow. Pages are aligned to their size, so a block's page is found by its address.
struct Page {
    Page* next;
    miMemblk* owner;
    std::array<std::uint64_t, kPageSize / kSmallestBlock / kWordBits> live;  // one bit per block that is in use
};

struct ReleasedBlock {
    ReleasedBlock* next;
};

}  // namespace

struct miMemblk {
    std::mutex mutex;
    const char* file;
    int line;
    std::size_t blockSize;
    std::size_t pageSize;
    std::size_t blocksPerPage;
    Page* first;      // all pages, oldest first
    Page* current;    // the page that blocks are cut from; those after it are unused
    std::size_t cut;  // how many blocks of it were handed out
    ReleasedBlock* released;
};

namespace {

char* blocksOf(Page* page) {
    static_assert(sizeof(Page) % 16 == 0);
    return reinterpret_cast<char*>(page + 1);
}

std::uint64_t& liveWord(Page* page, std::size_t index) { return page->live[index / kWordBits]; }

std::uint64_t liveBit(std::size_t index) { return std::uint64_t{1} << (index % kWordBits); }

Page* pageOf(const miMemblk* arena, void* block) {
    return reinterpret_cast<Page*>(reinterpret_cast<std::uintptr_t>(block) & ~(arena->pageSize - 1));
}

std::size_t indexOf(const miMemblk* arena, Page* page, void* block) {
    return static_cast<std::size_t>(static_cast<char*>(block) - blocksOf(page)) / arena->blockSize;
}

/// Goes on to the next page, a new one if there is none.
void turnPage(miMemblk* arena) {
    Page*& next = arena->current ? arena->current->next : arena->first;
    if (!next) {
        void* memory = lumorender::allocateTrackedPage(arena->file, arena->line, arena->pageSize, arena->pageSize);
        if (!memory) lumorender::endFatally("MEM", "cannot allocate a page of blocks");
        next = new (memory) Page{nullptr, arena, {}};
    }
    arena->current = next;
    arena->cut = 0;
}

/// A block with the bytes its last user left.
void* takeBlock(miMemblk* arena) {
    void* block = arena->released;
    if (block) {
        arena->released = arena->released->next;
    } else {
        if (!arena->current || arena->cut == arena->blocksPerPage) turnPage(arena);
        block = blocksOf(arena->current) + arena->cut++ * arena->blockSize;
    }
    Page* page = pageOf(arena, block);
    const std::size_t index = indexOf(arena, page, block);
    liveWord(page, index) |= liveBit(index);
    return block;
}

void giveBlock(miMemblk* arena, void* block) {
    if (!block) return;
    Page* page = pageOf(arena, block);
    const std::size_t index = page->owner == arena ? indexOf(arena, page, block) : 0;
    if (page->owner != arena || !(liveWord(page, index) & liveBit(index))) {
        lumorender::error("API", "release of a block that is not in use in this arena");
        return;
    }
    liveWord(page, index) &= ~liveBit(index);
    arena->released = new (block) ReleasedBlock{arena->released};
}

}  // namespace

extern "C" {

miMemblk* mi_mem_int_blkcreate(const char* file, int line, int size) {
    void* memory = lumorender::allocateTracked(file, line, sizeof(miMemblk));
    if (!memory) lumorender::endFatally("MEM", "cannot allocate an arena of blocks");
    auto* arena = new (memory) miMemblk{};
    arena->file = file;
    arena->line = line;

    // Large blocks get larger pages, two blocks to a page.
    const std::size_t wanted = std::max(static_cast<std::size_t>(std::max(size, 0)), kSmallestBlock);
    arena->blockSize = (wanted + sizeof(void*) - 1) / sizeof(void*) * sizeof(void*);
    arena->pageSize = std::max(kPageSize, std::bit_ceil(sizeof(Page) + 2 * arena->blockSize));
    arena->blocksPerPage = (arena->pageSize - sizeof(Page)) / arena->blockSize;
    return arena;
}

void mi_mem_blkdelete(miMemblk* arena) {
    if (!arena) return;
    for (Page* page = arena->first; page;) {
        Page* next = page->next;
        lumorender::releaseTracked(arena->file, arena->line, page);
        page = next;
    }
    arena->~miMemblk();
    lumorender::releaseTracked(__FILE__, __LINE__, arena);
}

/* Keeps the pages for the next blocks. */
void mi_mem_blkclear(miMemblk* arena) {
    const std::lock_guard lock(arena->mutex);
    for (Page* page = arena->first; page; page = page->next) page->live.fill(0);
    arena->released = nullptr;
    arena->current = nullptr;
}

void* mi_mem_blkallocate(miMemblk* arena) {
    const std::lock_guard lock(arena->mutex);
    return std::memset(takeBlock(arena), 0, arena->blockSize);
}

void* mi_mem_blkfallocate(miMemblk* arena) { return takeBlock(arena); }

void mi_mem_blkrelease(miMemblk* arena, void* block) {
    const std::lock_guard lock(arena->mutex);
    giveBlock(arena, block);
}

void mi_mem_blkfrelease(miMemblk* arena, void* block) { giveBlock(arena, block); }

/* Not locked while it runs, so that the callback may release the block it is given. */
void mi_mem_blkenumerate(miMemblk* arena, void (*callback)(void* block)) {
    for (Page* page = arena->first; page; page = page->next)
        for (std::size_t index = 0; index < arena->blocksPerPage; ++index)
            if (liveWord(page, index) & liveBit(index)) callback(blocksOf(page) + index * arena->blockSize);
}

}  // extern "C"
