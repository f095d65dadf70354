// The module under measurement, and as much of a renderer as its noises need. For one source of an executable that
// exports its symbols.
#pragma once

#include "SDK/lumo.h"

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <random>

extern "C" {

void mi_lock(miLock) {}
void mi_unlock(miLock) {}
void* mi_mem_int_allocate(const char*, int, unsigned size) { return std::malloc(size); }

static std::mt19937 randomSequence;  // NOLINT
void mi_srandom(long seed) { randomSequence.seed(static_cast<unsigned>(seed)); }
miScalar mi_random(void) { return static_cast<miScalar>(randomSequence() >> 8) * 0x1p-24F; }

}  // extern "C"

/// A function of the module, by its exported name.
template <class Function>
Function* libraryFunction(const char* name) {
    static void* const library = [] {
        void* loaded = dlopen(LUMO_LIBRARY, RTLD_NOW);
        if (!loaded) {
            std::fprintf(stderr, "%s\n", dlerror());
            std::exit(1);
        }
        reinterpret_cast<decltype(&miSetModuleHandle)>(dlsym(loaded, "miSetModuleHandle"))(dlopen(nullptr, RTLD_NOW));
        return loaded;
    }();
    return reinterpret_cast<Function*>(dlsym(library, name));
}
