/* Memory of shaders. */
#include "library/memory.h"

#include "support/fatal.h"
#include "shader.h"
#include "support/messages.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <map>
#include <mutex>
#include <string>
#include <unordered_map>
#include <utility>

namespace lumorender {

namespace {

struct Allocation {
    std::size_t size;
    const char* file;
    int line;
};

/// The live blocks. Looking them up here instead of in a header before the block makes a second release harmless.
struct Ledger {
    std::mutex mutex;
    std::unordered_map<void*, Allocation> blocks;
};

/// Several ledgers, chosen by address, so that threads seldom meet. They outlive all modules.
std::array<Ledger, 16>& ledgers() {
    static auto* const all = new std::array<Ledger, 16>;
    return *all;
}

Ledger& ledgerOf(const void* memory) { return ledgers()[(reinterpret_cast<std::uintptr_t>(memory) >> 5) % 16]; }

const char* nameOf(const char* file) { return file ? file : "unknown file"; }

/// Enters a fresh block. @return the block, or null if there was none or it could not be entered.
void* entered(void* memory, const Allocation& allocation) noexcept {
    if (!memory) return nullptr;
    Ledger& ledger = ledgerOf(memory);
    try {
        const std::lock_guard lock(ledger.mutex);
        ledger.blocks.insert_or_assign(memory, allocation);
        return memory;
    } catch (...) {
        std::free(memory);
        return nullptr;
    }
}

/// Takes a block out of its ledger. @return false if it is none of ours.
bool taken(void* memory, Allocation& allocation) noexcept {
    Ledger& ledger = ledgerOf(memory);
    const std::lock_guard lock(ledger.mutex);
    const auto block = ledger.blocks.find(memory);
    if (block == ledger.blocks.end()) return false;
    allocation = block->second;
    ledger.blocks.erase(block);
    return true;
}

/// @return null when memory is short; the old block then stays as it was.
void* reallocated(const char* file, int line, void* memory, std::size_t size) noexcept {
    if (!memory) return allocateTracked(file, line, size);
    Allocation old{};
    if (!taken(memory, old)) {
        error("API", "{} line {}: reallocation of memory that is not in use", nameOf(file), line);
        return nullptr;
    }
    void* moved = std::realloc(memory, std::max<std::size_t>(size, 1));
    if (!moved) {
        entered(memory, old);
        return nullptr;
    }
    if (size > old.size) std::memset(static_cast<char*>(moved) + old.size, 0, size - old.size);
    return entered(moved, {size, file, line});
}

/// The ordinary forms never return null: shaders do not test for it.
void* orEnd(void* memory, const char* file, int line, std::size_t size) noexcept {
    if (memory) return memory;
    message(MessageClass::Fatal, "MEM", fmt::format("{} line {}: cannot allocate {} bytes", nameOf(file), line, size));
    endFatally();
}

}  // namespace

void* allocateTracked(const char* file, int line, std::size_t size) noexcept {
    return entered(std::calloc(1, std::max<std::size_t>(size, 1)), {size, file, line});
}

void* allocateTrackedPage(const char* file, int line, std::size_t size, std::size_t alignment) noexcept {
    return entered(std::aligned_alloc(alignment, size), {size, file, line});
}

void releaseTracked(const char* file, int line, void* memory) noexcept {
    Allocation allocation{};
    if (!memory) return;
    if (taken(memory, allocation))
        std::free(memory);
    else
        error("API", "{} line {}: release of memory that is not in use", nameOf(file), line);
}

void releaseHandedOver(void* memory) noexcept {
    Allocation allocation{};
    if (memory && taken(memory, allocation)) std::free(memory);
}

ForgottenMemory memoryInUse() {
    ForgottenMemory sum;
    for (Ledger& ledger : ledgers()) {
        const std::lock_guard lock(ledger.mutex);
        sum.blocks += ledger.blocks.size();
        for (const auto& [memory, allocation] : ledger.blocks) sum.bytes += allocation.size;
    }
    return sum;
}

ForgottenMemory releaseForgottenMemory() {
    ForgottenMemory sum;
    std::map<std::pair<std::string, int>, ForgottenMemory> places;
    for (Ledger& ledger : ledgers()) {
        const std::lock_guard lock(ledger.mutex);
        for (const auto& [memory, allocation] : ledger.blocks) {
            for (ForgottenMemory* total : {&sum, &places[{nameOf(allocation.file), allocation.line}]}) {
                ++total->blocks;
                total->bytes += allocation.size;
            }
            std::free(memory);
        }
        ledger.blocks.clear();
    }
    if (sum.blocks > 0) info("MEM", "modules left {} blocks of memory with {} bytes", sum.blocks, sum.bytes);
    for (const auto& [place, left] : places)
        debug("MEM", "{} line {} left {} blocks with {} bytes", place.first, place.second, left.blocks, left.bytes);
    return sum;
}

}  // namespace lumorender

using namespace lumorender;

extern "C" {

void* mi_mem_int_allocate(const char* file, int line, miUint size) {
    return orEnd(allocateTracked(file, line, size), file, line, size);
}

void* mi_mem_int_allocate_sizet(const char* file, int line, size_t size) {
    return orEnd(allocateTracked(file, line, size), file, line, size);
}

void* mi_mem_int_test_allocate(const char* file, int line, miUint size) { return allocateTracked(file, line, size); }

void* mi_mem_int_reallocate(const char* file, int line, void* memory, miUint size) {
    return orEnd(reallocated(file, line, memory, size), file, line, size);
}

void* mi_mem_int_reallocate_sizet(const char* file, int line, void* memory, size_t size) {
    return orEnd(reallocated(file, line, memory, size), file, line, size);
}

void* mi_mem_int_test_reallocate(const char* file, int line, void* memory, miUint size) {
    return reallocated(file, line, memory, size);
}

void mi_mem_int_release(const char* file, int line, void* memory) { releaseTracked(file, line, memory); }

char* mi_mem_int_strdup(const char* file, int line, const char* string) {
    if (!string) return nullptr;
    const size_t size = std::strlen(string) + 1;
    void* copy = orEnd(allocateTracked(file, line, size), file, line, size);
    return static_cast<char*>(std::memcpy(copy, string, size));
}

}  // extern "C"
