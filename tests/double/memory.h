/* The double's allocator: knows who asked for what, fails when told to, and counts what was never given back. */
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include <shader.h>

/* A pool. Blocks are filled with garbage: the fast allocation promises nothing about their content. */
struct miMemblk {
    int size;
    std::set<void*> blocks;
};

namespace twin {

struct Allocation {
    std::string file;
    int line;
    std::size_t size;
};

struct Release {
    std::string file;
    int line;
};

class Memory {
public:
    ~Memory();

    /* When set and true for a request, the request gets null. */
    std::function<bool(const Allocation&)> fails;
    bool poolsFail = false;

    void* allocate(const char* file, int line, std::size_t size);
    void release(const char* file, int line, void* memory);
    miMemblk* createPool(const char* file, int line, int size);
    void deletePool(miMemblk* pool);
    void* takeBlock(miMemblk* pool);
    void giveBlock(miMemblk* pool, void* block);

    /* Since the last reset, in order. */
    std::vector<Allocation> allocations;
    std::vector<Release> releases;
    std::vector<Allocation> poolRequests;

    std::size_t liveAllocations() const { return live_.size(); }
    std::size_t livePools() const { return pools_.size(); }

private:
    std::mutex mutex_;
    std::map<void*, std::size_t> live_;
    std::set<miMemblk*> pools_;
};

}  // namespace twin
