// What the command line says of renders.
#pragma once

#include "render/output_plan.h"
#include "render/tiles.h"
#include "saving/saved_render.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace lumorender {

struct BuildWorld;

/// What a render has to know besides the scene.
struct RenderSettings {
    TileSettings tiles;
    std::filesystem::path fileName;                 ///< replaces the name of the first image file
    std::string fileType;                           ///< replaces the format of the first image file
    std::filesystem::path fileDirectory;            ///< where relative file names begin
    bool previews = false;                          ///< a PNG of the picture and a sheet of all passes beside it
    bool allowPaths = false;                        ///< scenes may write anywhere, and link modules from anywhere
    std::vector<std::filesystem::path> sceneFiles;  ///< that it is made of: nothing is written over them
    OutputHistory* history = nullptr;               ///< pictures of earlier renders, to which this one's are added
    bool continueWithoutTextures = false;
    SavingSettings saving;
    std::shared_ptr<BuildWorld> building;  ///< for geometry shaders: their elements go with it
    bool strict = false;                   ///< nothing is rendered after an error
    std::function<void(const RenderProgress&)> progress = [](const RenderProgress&) {};
};

}  // namespace lumorender
