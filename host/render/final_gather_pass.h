// The first phase of final gathering: points on grids over the image, before any tile is rendered.
#pragma once

#include "render/final_gather.h"
#include "render/output.h"

#include <filesystem>
#include <vector>

namespace lumorender {

/// Where points come from and go to.
struct GatherFiles {
    std::vector<std::filesystem::path> names;  ///< all are read, the first is written; empty = none are kept
    enum class Rebuild { Off = 0, On = 1, Freeze = 2 } rebuild = Rebuild::On;
};

/// Fills `gather` with points: from files, and from what eye rays of ever finer grids see where the points before do
/// not reach. Each place of a grid is computed by itself, knowing the grids before it only, so that the result does not
/// depend on the number of threads. `gather` is the one of the scene.
/// @return false when a file could not be written.
bool prepareFinalGather(const RenderScene& scene, FinalGather& gather, const DataWindow& window,
                        const GatherFiles& files, int threads);

}  // namespace lumorender
