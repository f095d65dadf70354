#include "database/stand_ins.h"

#include <dlfcn.h>
#include <fmt/format.h>
#include <elf.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

namespace lumorender {

namespace {

constexpr std::size_t kPage = 4096;

/// A shared library with one symbol. Its first page holds what is read and run, the second what the loader writes to.
class LibraryImage {
public:
    LibraryImage(std::string_view name, std::uintptr_t target) : bytes_(kPage) {
        put(sizeof(Elf64_Ehdr), programHeaders());  // the pages' sizes are corrected at the end
        names_ = append("", 1);
        append(name.data(), name.size());
        append("", 1);
        namesSize_ = bytes_.size() - names_;

        code_ = align(16);
        // movabs rax, target; jmp rax
        std::array<unsigned char, 12> code = {0x48, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xe0};
        std::memcpy(&code[2], &target, sizeof target);
        append(code.data(), code.size());

        std::array<Elf64_Sym, 2> symbols = {};
        symbols[1].st_name = 1;
        symbols[1].st_info = ELF64_ST_INFO(STB_GLOBAL, STT_FUNC);
        symbols[1].st_shndx = 1;  // anywhere but undefined
        symbols[1].st_value = code_;
        symbols[1].st_size = code.size();
        align(8);
        symbols_ = append(symbols.data(), sizeof symbols);

        const std::array<Elf64_Word, 5> hash = {1, 2, 1, 0, 0};  // one bucket, two symbols: the second, none behind it
        hash_ = append(hash.data(), sizeof hash);
        if (bytes_.size() > kPages * kPage) fits_ = false;
        bytes_.resize(kPages * kPage);
        appendDynamic();
        finishHeaders();
    }

    bool fits() const { return fits_; }
    const std::vector<unsigned char>& bytes() const { return bytes_; }

private:
    static constexpr std::size_t kPages = 3;  ///< of what is read, the headers' page among them

    std::vector<unsigned char> bytes_;
    std::size_t names_ = 0, namesSize_ = 0, code_ = 0, symbols_ = 0, hash_ = 0, dynamic_ = 0, dynamicSize_ = 0;
    bool fits_ = true;

    std::size_t align(std::size_t size) {
        bytes_.resize((bytes_.size() + size - 1) / size * size);
        return bytes_.size();
    }
    std::size_t append(const void* data, std::size_t size) {
        const std::size_t at = bytes_.size();
        bytes_.resize(at + size);
        std::memcpy(bytes_.data() + at, data, size);
        return at;
    }
    template <class T>
    void put(std::size_t at, const T& value) {
        std::memcpy(bytes_.data() + at, &value, sizeof value);
    }

    void appendDynamic() {
        const auto entry = [](Elf64_Sxword tag, std::size_t value) {
            Elf64_Dyn result = {};
            result.d_tag = tag;
            result.d_un.d_val = value;
            return result;
        };
        const std::array<Elf64_Dyn, 6> dynamic = {
            entry(DT_HASH, hash_),       entry(DT_SYMTAB, symbols_),          entry(DT_STRTAB, names_),
            entry(DT_STRSZ, namesSize_), entry(DT_SYMENT, sizeof(Elf64_Sym)), entry(DT_NULL, 0)};
        dynamicSize_ = sizeof dynamic;
        dynamic_ = append(dynamic.data(), sizeof dynamic);
    }

    static constexpr std::size_t kHeaders = 4;

    std::array<Elf64_Phdr, kHeaders> programHeaders() const {
        std::array<Elf64_Phdr, kHeaders> headers = {};
        const auto set = [](Elf64_Phdr& header, Elf64_Word type, Elf64_Word flags, std::size_t at, std::size_t size,
                            std::size_t alignment) {
            header.p_type = type;
            header.p_flags = flags;
            header.p_offset = header.p_vaddr = header.p_paddr = at;
            header.p_filesz = header.p_memsz = size;
            header.p_align = alignment;
        };
        set(headers[0], PT_LOAD, PF_R | PF_X, 0, kPages * kPage, kPage);
        set(headers[1], PT_LOAD, PF_R | PF_W, dynamic_, dynamicSize_, kPage);
        set(headers[2], PT_DYNAMIC, PF_R | PF_W, dynamic_, dynamicSize_, 8);
        // Without it the library would ask for stacks that can be run, which newer loaders refuse.
        set(headers[3], PT_GNU_STACK, PF_R | PF_W, 0, 0, 16);
        return headers;
    }

    void finishHeaders() {
        Elf64_Ehdr header = {};
        std::memcpy(header.e_ident, ELFMAG, SELFMAG);
        header.e_ident[EI_CLASS] = ELFCLASS64;
        header.e_ident[EI_DATA] = ELFDATA2LSB;
        header.e_ident[EI_VERSION] = EV_CURRENT;
        header.e_type = ET_DYN;
        header.e_machine = EM_X86_64;
        header.e_version = EV_CURRENT;
        header.e_phoff = sizeof header;
        header.e_ehsize = sizeof header;
        header.e_phentsize = sizeof(Elf64_Phdr);
        header.e_phnum = kHeaders;
        put(0, header);
        put(sizeof header, programHeaders());
    }
};

}  // namespace

bool provideFunction(const std::string& name, void (*target)()) {
    const LibraryImage image(name, reinterpret_cast<std::uintptr_t>(target));
    if (!image.fits()) return false;
    const int file = memfd_create("functions", MFD_CLOEXEC);
    if (file < 0) return false;
    const std::vector<unsigned char>& bytes = image.bytes();
    const bool written = ::write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
    const std::string path = fmt::format("/proc/self/fd/{}", file);
    const bool loaded = written && dlopen(path.c_str(), RTLD_NOW | RTLD_GLOBAL) != nullptr;
    if (!loaded) ::close(file);  // else it stays open, as the loader tells libraries apart by their names
    return loaded;
}

}  // namespace lumorender
