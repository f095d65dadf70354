#include "support/limits.h"

#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <limits>
#include <string>

namespace lumorender {

namespace {

/// Containers are given less than the machine has.
std::uint64_t limitOfContainer() {
    constexpr std::uint64_t kNone = std::numeric_limits<std::uint64_t>::max();
    std::uint64_t bytes = kNone;
    for (const char* file : {"/sys/fs/cgroup/memory.max", "/sys/fs/cgroup/memory/memory.limit_in_bytes"}) {
        std::uint64_t here = 0;
        if (std::ifstream(file) >> here && here > 0) bytes = std::min(bytes, here);
    }
    return bytes;
}

std::uint64_t usableMemory() {
    const auto pages = static_cast<std::uint64_t>(std::max(sysconf(_SC_PHYS_PAGES), 1L));
    const auto pageSize = static_cast<std::uint64_t>(std::max(sysconf(_SC_PAGE_SIZE), 1L));
    return std::min(pages * pageSize, limitOfContainer()) / 5 * 4;
}

}  // namespace

Limits::Limits() : memoryBytes(usableMemory()) {}

Limits& limits() {
    static Limits instance;
    return instance;
}

}  // namespace lumorender
