// What the program finds in this module.
#include "image/image_library.h"
#include "image_library/functions.h"

#include "support/messages.h"

extern "C" const lumorender::ImageLibrary* lumorenderImageLibrary() {
    using namespace lumorender;
    static constexpr ImageLibrary kLibrary = {openTextureFile, writeCommonFile, writePngFile,
                                              OIIO::openimageio_version};
    return &kLibrary;
}
