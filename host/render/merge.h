// Joins the parts that shares of a picture have left.
#pragma once

#include "render/render_settings.h"

#include <filesystem>
#include <vector>

namespace lumorender {

/// Writes the picture whose tiles are in the parts; the scene is not needed. The settings may name another file or
/// folder, and ask for previews. Reports errors itself: parts of different pictures, and what is missing.
/// @return false where nothing was written, or something could not be, or the picture is not as one render makes it
bool mergeParts(const std::vector<std::filesystem::path>& parts, const RenderSettings& settings);

}  // namespace lumorender
