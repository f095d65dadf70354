// What needs OpenImageIO, in a module of its own: the library brings some 250 others along, for formats of every kind,
// which would take most of the time that the program needs to start. EXR files do without.
#pragma once

#include "image/display.h"
#include "image/layers.h"
#include "image/texture.h"

namespace lumorender {

struct ImageLibrary {
    /// As openTexture().
    std::unique_ptr<Texture> (*openTexture)(const std::string& file, float gamma, std::string& error);
    /// As the other writers of image/layers.h.
    void (*writeFile)(WholeFile& target, const FileFormat& format, const ImageFile& file, const DataWindow& window,
                      const Metadata& metadata);
    void (*writePng)(WholeFile& target, const RgbImage& image);
    int (*version)();
};

/// The module, which lies beside the program and is opened on the first call. Throws Failure with the loader's reason
/// where it cannot be; a later call tries again. Thread-safe.
const ImageLibrary& imageLibrary();

/// The module's file.
std::string imageLibraryFile();

/// How the module's one exported function is called, and what it is.
constexpr const char* kImageLibraryFunction = "lumorenderImageLibrary";
using ImageLibraryFunction = const ImageLibrary*();

}  // namespace lumorender
