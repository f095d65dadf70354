// Rendering the image tile by tile on all threads.
#pragma once

#include "image/image.h"
#include "tracing/context.h"
#include "render/frame_buffers.h"

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
    RayCounters rays;
    long droppedSamples = 0;
    double seconds = 0;
    bool complete = true;  ///< false when the render was stopped
};

/// Renders the window into the images. Results do not depend on the number of threads or on the order of tiles.
/// `report` is called after every tile, by one thread at a time.
RenderCounts renderTiles(const RenderScene& scene, const DataWindow& window, const TileSettings& settings,
                         std::vector<LayerImage>& images, const std::function<void(const RenderProgress&)>& report);

}  // namespace lumorender
