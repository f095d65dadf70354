#include "database/missing_functions.h"

#include "database/stand_ins.h"
#include "support/fatal.h"
#include "support/messages.h"

#include <dlfcn.h>
#include <link.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>

namespace lumorender {

namespace {

/// All that modules of one program may lack. What is beyond is left to the loader, which ends the program, too.
constexpr std::size_t kMost = 256;

struct MissingFunction {
    std::string name, caller;
    bool isProvided = false;  ///< for all modules, by a library of its own
};

std::array<MissingFunction, kMost> missing;
std::size_t missingCount = 0;

using Function = void (*)();

/// What is called in place of a missing function. It does not know its arguments, so each has its own.
template <std::size_t Index>
void stopAtMissing() noexcept {
    const MissingFunction& function = missing[Index];
    endFatally("LINK", fmt::format("module {} called {}, which is not there", function.caller, function.name).c_str());
}

template <std::size_t... Indices>
constexpr std::array<Function, kMost> stopsFor(std::index_sequence<Indices...>) {
    return {stopAtMissing<Indices>...};
}

constexpr std::array<Function, kMost> kStops = stopsFor(std::make_index_sequence<kMost>());

/// The calls of a loaded file to other files, as its dynamic section tells.
struct OutgoingCalls {
    const ElfW(Rela) * first = nullptr;
    std::size_t count = 0;
    const ElfW(Sym) * symbols = nullptr;
    const char* names = nullptr;

    explicit OutgoingCalls(const link_map& file) {
        for (const ElfW(Dyn)* entry = file.l_ld; entry->d_tag != DT_NULL; ++entry) {
            const auto address = static_cast<std::uintptr_t>(entry->d_un.d_ptr);
            if (entry->d_tag == DT_JMPREL) first = reinterpret_cast<const ElfW(Rela)*>(address);
            if (entry->d_tag == DT_PLTRELSZ) count = entry->d_un.d_val / sizeof(ElfW(Rela));
            if (entry->d_tag == DT_SYMTAB) symbols = reinterpret_cast<const ElfW(Sym)*>(address);
            if (entry->d_tag == DT_STRTAB) names = reinterpret_cast<const char*>(address);
        }
        if (!first || !symbols || !names) count = 0;
    }
};

void warnOf(const std::string& caller, const std::string& name) {
    warning("LINK", "module {} calls {}, which is not there: it can be used up to where it does", caller, name);
}

MissingFunction* provided(std::string_view name) {
    for (std::size_t i = 0; i < missingCount; ++i)
        if (missing[i].isProvided && missing[i].name == name) return &missing[i];
    return nullptr;
}

/// Tables and names of types are no functions, and read without being called.
bool isData(std::string_view name) {
    return name.starts_with("_ZTV") || name.starts_with("_ZTI") || name.starts_with("_ZTS") || name.starts_with("_ZTT");
}

void coverMissingIn(const link_map& file, void* module) {
    const OutgoingCalls calls(file);
    const std::string caller = std::filesystem::path(file.l_name).filename();
    for (std::size_t i = 0; i < calls.count; ++i) {
        const ElfW(Rela)& call = calls.first[i];
        const ElfW(Sym)& symbol = calls.symbols[ELF64_R_SYM(call.r_info)];
        // Weak ones may be missing: their users look whether they are there.
        const bool isForeign = symbol.st_shndx == SHN_UNDEF && ELF64_ST_BIND(symbol.st_info) != STB_WEAK;
        if (!isForeign || ELF64_R_TYPE(call.r_info) != R_X86_64_JUMP_SLOT) continue;
        const char* const name = calls.names + symbol.st_name;
        if (MissingFunction* known = provided(name)) {
            if (known->caller.find(caller) == std::string::npos) {
                warnOf(caller, name);
                known->caller += " or " + caller;
            }
            continue;
        }
        if (dlsym(RTLD_DEFAULT, name) || dlsym(module, name)) continue;

        warnOf(caller, name);
        if (missingCount == kMost) continue;
        missing[missingCount] = {name, caller, false};
        *reinterpret_cast<Function*>(file.l_addr + call.r_offset) = kStops[missingCount++];
    }
}

}  // namespace

void coverMissingFunctions(void* module) {
    link_map* opened = nullptr;
    if (dlinfo(module, RTLD_DI_LINKMAP, &opened) != 0) return;
    // The loader puts what comes with a module behind it, and nothing has been loaded since.
    for (const link_map* file = opened; file; file = file->l_next) coverMissingIn(*file, module);
}

bool provideMissingFunction(const std::string& loaderSays) {
    static constexpr std::string_view kSign = ": undefined symbol: ";
    const std::size_t at = loaderSays.find(kSign);
    if (at == std::string::npos || missingCount == kMost) return false;
    std::string name = loaderSays.substr(at + kSign.size());
    name.resize(std::min(name.size(), name.find_first_of(" ,(")));
    const std::string caller = std::filesystem::path(loaderSays.substr(0, at)).filename();
    if (isData(name) || provided(name) || !provideFunction(name, kStops[missingCount])) return false;
    warnOf(caller, name);
    missing[missingCount++] = {name, caller, true};
    return true;
}

}  // namespace lumorender
