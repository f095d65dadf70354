// Whether what stands in a file is a picture.
#pragma once

#include <filesystem>

namespace lumorender {

/// Whether a file is an image of any format that pictures come in, as far as its first bytes tell; an empty file counts,
/// since nothing is lost with it. Throws nothing; a file that cannot be read is none.
bool isImageFile(const std::filesystem::path& file);

}  // namespace lumorender
