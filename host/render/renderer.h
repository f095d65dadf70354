// One render command from beginning to end: scene, shaders, tiles, files.
#pragma once

#include "database/database.h"
#include "render/tiles.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <utility>

namespace lumorender {

/// What the command line says about a render; what is not set comes from the scene.
struct RenderSettings {
    TileSettings tiles;
    std::optional<std::pair<int, int>> resolution;
    std::optional<std::pair<int, int>> samples;  ///< minimum, maximum level
    std::optional<bool> displace;                ///< whether displacement shaders are called
    std::optional<float> maxDisplace;            ///< of objects that do not say themselves
    std::filesystem::path fileName;              ///< replaces the name of the first image file
    std::filesystem::path fileDirectory;         ///< where relative file names begin
    std::optional<bool> hair;                    ///< off: hairs are left out
    bool previews = false;                       ///< a PNG of the picture and a sheet of all passes beside it
    bool continueWithoutTextures = false;
    std::function<void(const RenderProgress&)> progress = [](const RenderProgress&) {};
};

/// Renders and writes the files. Reports errors itself. Runs shader init and exit around the render.
/// @return false when something failed or the render was stopped; what was finished by then is written all the same.
bool renderScene(Database& database, miTag rootGroup, miTag cameraInstance, miTag options, const std::string& where,
                 const RenderSettings& settings);

}  // namespace lumorender
