// The files that light maps are written to.
#pragma once

#include "image/image.h"
#include "render/output_rules.h"
#include "tracing/textures.h"
#include "tracing/context.h"

#include <string>
#include <vector>

namespace lumorender {

struct LightMapFile {
    miTag texture = 0;
    std::string name;  ///< of the texture, for messages
    int width = 0, height = 0;
    ImageFile file;  ///< without layers
    miImg_type type = miIMG_TYPE_RGBA_FP;
};

/// Of all writable textures with a file.
std::vector<LightMapFile> lightMapFiles(const RenderScene& scene, const OutputRules& rules);

/// Whether they may be written where they are to be, as they are to be; says why not.
bool checkLightMapFiles(const std::vector<LightMapFile>& files, const OutputRules& rules);

/// Writes those into whose textures anything was put. @return false where that fails, after a message
bool writeLightMaps(const TextureTable& textures, const std::vector<LightMapFile>& files);

}  // namespace lumorender
