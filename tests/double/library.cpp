#include "library.h"

#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>
#include <unistd.h>

namespace twin {

namespace {

void* open(const std::string& path) {
    void* module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!module) {
        std::fprintf(stderr, "%s\n", dlerror());
        std::exit(1);
    }
    return module;
}

void* library() {
    static void* const module = loadModule(LUMO_LIBRARY);
    return module;
}

}  // namespace

void* loadModule(const std::string& path) {
    void* module = open(path);
    using SetHandle = void(void*);
    if (auto* setHandle = reinterpret_cast<SetHandle*>(dlsym(module, "miSetModuleHandle")))
        setHandle(dlopen(nullptr, RTLD_NOW));
    return module;
}

void* loadFreshLibrary() {
    // The loader tells modules apart by their files, so another instance takes another file.
    char name[] = "/tmp/lumovexa-XXXXXX";
    close(mkstemp(name));
    std::filesystem::copy_file(LUMO_LIBRARY, name, std::filesystem::copy_options::overwrite_existing);
    void* module = open(name);
    std::filesystem::remove(name);
    return module;
}

bool libraryHas(const std::string& name) { return dlsym(library(), name.c_str()) != nullptr; }

void* librarySymbol(const char* name) {
    void* symbol = dlsym(library(), name);
    if (!symbol) {
        std::fprintf(stderr, "lumovexa.so does not export %s\n", name);
        std::exit(1);
    }
    return symbol;
}

}  // namespace twin
