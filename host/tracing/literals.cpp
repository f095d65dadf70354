#include "tracing/literals.h"

#include <elf.h>
#include <link.h>

#include <algorithm>
#include <cstddef>

namespace lumorender {

Literals::Literals() {
    const auto collect = [](dl_phdr_info* object, std::size_t, void* ranges) {
        for (int i = 0; i < object->dlpi_phnum; ++i) {
            const ElfW(Phdr)& segment = object->dlpi_phdr[i];
            if (segment.p_type != PT_LOAD || (segment.p_flags & PF_W) != 0) continue;
            const std::uintptr_t begin = object->dlpi_addr + segment.p_vaddr;
            static_cast<std::vector<Range>*>(ranges)->push_back({begin, begin + segment.p_memsz});
        }
        return 0;
    };
    dl_iterate_phdr(collect, &ranges_);
    std::sort(ranges_.begin(), ranges_.end(), [](const Range& a, const Range& b) { return a.begin < b.begin; });
}

bool Literals::hold(const char* text) const noexcept {
    const auto address = reinterpret_cast<std::uintptr_t>(text);
    const auto behind = std::upper_bound(ranges_.begin(), ranges_.end(), address,
                                         [](std::uintptr_t a, const Range& range) { return a < range.begin; });
    return behind != ranges_.begin() && address < std::prev(behind)->end;
}

}  // namespace lumorender
