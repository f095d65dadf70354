#include "tintcore.h"

#include <atomic>
#include <dlfcn.h>
#include <string>

namespace lumo::tintcore {
namespace {

/* Looked for where the loader looks, and beside this module. */
constexpr const char* kLibrary = "libtintcore.so";

/* The library's functions, by the names that its compiler gave them. */
constexpr const char* kGetTransform = "_ZN8TintCore14TransformCache12getTransformEPKcRNS_12TransformPtrE";
constexpr const char* kFinalize =
    "_ZN8TintCore8finalizeERKNS_12TransformPtrENS_11PixelFormatES3_NS_14OptimizerFlagsENS_12ResolveFlagsERS0_";

std::atomic<void*> colorLibrary{nullptr};

/* Loaded once for all, and never closed: transforms live in it. Threads that come first together get the same handle.
 * After a failure the next call tries again; calls are as rare as shader instances. */
void* loadedLibrary() {
    void* library = colorLibrary.load(std::memory_order_acquire);
    if (!library) {
        library = dlopen(kLibrary, RTLD_NOW | RTLD_LOCAL);
        colorLibrary.store(library, std::memory_order_release);
    }
    return library;
}

template <class Function, class... Arguments>
TintCore::TintStatus call(const char* name, Arguments&&... arguments) {
    void* library = loadedLibrary();
    auto* function = library ? reinterpret_cast<Function*>(dlsym(library, name)) : nullptr;
    if (function) return function(std::forward<Arguments>(arguments)...);
    const char* why = dlerror();
    return TintCore::TintStatus(std::string("There is no color-management library: ") + (why ? why : kLibrary));
}

}  // namespace

TintCore::TintStatus getTransform(const char* name, TintCore::TransformPtr& result) {
    return call<decltype(TintCore::TransformCache::getTransform)>(kGetTransform, name, result);
}

TintCore::TintStatus finalize(const TintCore::TransformPtr& transform, TintCore::PixelFormat source,
                              TintCore::PixelFormat destination, TintCore::OptimizerFlags optimizer,
                              TintCore::ResolveFlags resolve, TintCore::TransformPtr& result) {
    return call<decltype(TintCore::finalize)>(kFinalize, transform, source, destination, optimizer, resolve, result);
}

}  // namespace lumo::tintcore
