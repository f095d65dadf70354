// The first phase of final gathering: points on grids over the image, before any tile is rendered.
#pragma once

#include "gathering/final_gather.h"
#include "image/image.h"

#include <filesystem>
#include <vector>

namespace lumorender {

/// Where points come from and go to.
struct GatherFiles {
    std::vector<std::filesystem::path> names;  ///< all are read, the first is written; empty = none are kept
    enum class Rebuild { Off = 0, On = 1, Freeze = 2 } rebuild = Rebuild::On;
    bool isWritten = true;  ///< false: what is new is kept in no file
};

/// Fills `gather` with points: from files, from what is `saved` of a former run, and from grids over the image. `gather`
/// is the one of the scene.
/// @return false when a file could not be written.
bool prepareFinalGather(const RenderScene& scene, FinalGather& gather, const DataWindow& window,
                        const GatherFiles& files, const SavedPoints& saved, int threads);

}  // namespace lumorender
