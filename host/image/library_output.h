// Files in widespread formats, through OpenImageIO.
#pragma once

#include "image/layers.h"

#include <OpenImageIO/imageio.h>

namespace lumorender {

/// Writes a whole image of `given` values by the plugin of this name. The plugins do not all notice that a disk is full,
/// and one of them ends the program then: they write into memory, from where checked writes take it to `target`. Throws
/// Failure with the plugin's reason.
void writeThroughLibrary(WholeFile& target, const char* plugin, const OIIO::ImageSpec& spec, OIIO::TypeDesc given,
                         const void* pixels);

}  // namespace lumorender
