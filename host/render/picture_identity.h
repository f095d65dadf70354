// What decides a picture, and how it is written, as it is known before the scene is built.
#pragma once

#include "image/image.h"
#include "render/output_plan.h"
#include "saving/identity.h"
#include "saving/picture_plan.h"
#include "tracing/context.h"

#include <vector>

namespace lumorender {

/// Adds what the render has found out: size, tiles, buffers, and the files that textures and shaders read. These are
/// named by the scene's elements, or by strings among shaders' parameters. Files of points are not among them: a render
/// writes them itself, and what it read is kept with its work.
void addPicture(Identity& identity, const RenderScene& scene, const DataWindow& window, int tileSize);

/// Everything but shares, previews and metadata.
PicturePlan planOf(const std::vector<LayerImage>& images, const std::vector<PlannedFile>& files, int primary,
                   const DataWindow& window, int tileSize);

}  // namespace lumorender
