/* Where renderer functions come from: the module whose handle the renderer gave us. */
#include "renderer_function.h"

#include <cerrno>
#include <cstdio>
#include <dlfcn.h>

namespace lumo {
namespace {

std::atomic<void*> rendererModule{nullptr};

}  // namespace

void* RendererSymbol::resolve(std::uintptr_t known) const {
    if (known == kMissing) return nullptr;

    // Without a handle the function stays open: the renderer may still hand one over.
    void* module = rendererModule.load(std::memory_order_acquire);
    if (!module) {
        if (known == kUnresolved && address_.compare_exchange_strong(known, kNoHandleYet))
            std::fputs("DYNLOAD: dl_handle null\n", stderr);
        return nullptr;
    }

    errno = 0;
    void* found = dlsym(module, name_);
    if (!found) {
        const int error = errno;
        if (address_.compare_exchange_strong(known, kMissing) && need_ == Need::kRequired)
            std::fprintf(stderr, "dlsym failed on \"%s\" (handle: 0x%p, error: %d)\n", name_, module, error);
        return nullptr;
    }
    address_.store(reinterpret_cast<std::uintptr_t>(found), std::memory_order_release);
    return found;
}

}  // namespace lumo

extern "C" __attribute__((visibility("default"))) void miSetModuleHandle(void* handle) {
    lumo::rendererModule.store(handle, std::memory_order_release);
}
