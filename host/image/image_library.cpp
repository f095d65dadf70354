#include "image/image_library.h"

#include "support/messages.h"

#include <dlfcn.h>

namespace lumorender {

namespace {

const ImageLibrary& opened() {
    // The loader looks for a bare name where the program says that its modules are.
    void* const module = dlopen("lumoimages.so", RTLD_NOW | RTLD_LOCAL);
    void* const function = module ? dlsym(module, kImageLibraryFunction) : nullptr;
    if (!function) throw Failure(fmt::format("the program's module for image files cannot be loaded: {}", dlerror()));
    return *reinterpret_cast<ImageLibraryFunction*>(function)();
}

}  // namespace

const ImageLibrary& imageLibrary() {
    static const ImageLibrary& library = opened();
    return library;
}

std::string imageLibraryFile() {
    Dl_info info;
    return dladdr(&imageLibrary(), &info) != 0 ? info.dli_fname : "";
}

std::unique_ptr<Texture> openTexture(const std::string& file, float gamma, std::string& error) {
    try {
        return imageLibrary().openTexture(file, gamma, error);
    } catch (const Failure& failure) {
        error = fmt::format("cannot read texture '{}': {}", file, failure.what());
        return nullptr;
    }
}

}  // namespace lumorender
