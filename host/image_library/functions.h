// Files in widespread formats, and textures, through OpenImageIO.
#pragma once

#include "image/image_library.h"

#include <OpenImageIO/imageio.h>

namespace lumorender {

// The functions of ImageLibrary.
std::unique_ptr<Texture> openTextureFile(const std::string& file, float gamma, std::string& error);
void writeCommonFile(WholeFile& target, const FileFormat& format, const ImageFile& file, const DataWindow& window,
                     const Metadata& metadata);
void writePngFile(WholeFile& target, const RgbImage& image);

}  // namespace lumorender
