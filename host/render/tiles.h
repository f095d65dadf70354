// Rendering the image tile by tile on all threads.
#pragma once

#include "image/image.h"
#include "mi/options.h"
#include "passes/pass_steps.h"
#include "render/frame_buffers.h"
#include "saving/saved_render.h"
#include "tracing/context.h"

#include <chrono>
#include <functional>
#include <vector>

namespace lumorender {

struct TileSettings {
    int threads = 0;   ///< 0 = one per core
    int tileSize = 0;  ///< 0 = automatic
};

struct RenderProgress {
    int done = 0, total = 0;  ///< tiles
    double seconds = 0;
    std::uint64_t rays = 0;  ///< of the finished tiles
};

struct RenderCounts {
    TileCost cost;         ///< of all tiles, in former runs of the render too
    bool complete = true;  ///< false when the render was stopped
    double done = 1;       ///< part of the picture
};

/// Whether contrast, a wide filter or few samples make pixels share samples; passes keep samples of single pixels.
bool usesGrid(const miOptions& options, bool hasPasses);

/// The edge of tiles that a setting asks for.
int tileSizeToUse(int setting);

/// Renders a share of the window into the images, except for tiles that `saved` has already; keeps the others there.
/// Every sample goes through the passes. Results do not depend on the number of threads or on the order of tiles. `report` is called after every tile, by one
/// thread at a time.
RenderCounts renderTiles(const RenderScene& scene, const std::vector<PassStep>& passes, const DataWindow& window,
                         const Share& share, const TileSettings& settings, std::vector<LayerImage>& images,
                         SavedRender& saved, const std::function<void(const RenderProgress&)>& report);

}  // namespace lumorender
