// One render command from beginning to end: scene, shaders, tiles, files.
#pragma once

#include "database/database.h"
#include "render/render_settings.h"

#include <string>

namespace lumorender {

/// Renders and writes the files. Reports errors itself. Runs shader init and exit around the render.
/// @return false when something failed or the render was stopped; what was finished by then is written all the same.
bool renderScene(Database& database, miTag rootGroup, miTag cameraInstance, miTag options, const std::string& where,
                 const RenderSettings& settings);

}  // namespace lumorender
