// Photons, light maps, points of indirect light and occlusion of a render, made before its tiles.
#pragma once

#include "gathering/final_gather_pass.h"
#include "image/image.h"
#include "photons/photon_pass.h"
#include "render/light_map_files.h"
#include "render/output_rules.h"
#include "saving/saved_points.h"
#include "tracing/context.h"

namespace lumorender {

/// Whether the options ask for points, photons or light maps alone, and for no picture.
bool isPointsOnly(const RenderScene& scene);

/// What is made before tiles, and the files that the options name for it.
struct FoundFiles {
    GatherFiles gather;
    PhotonFile photons;
    std::vector<LightMapFile> lightMaps;

    void keepNothing() {
        gather.isWritten = photons.isWritten = false;
        lightMaps.clear();
    }
};
FoundFiles foundFiles(const RenderScene& scene, const OutputRules& rules);

/// Whether those that are to be written may be, where they are to be; says why not.
bool checkFoundFiles(const RenderScene& scene, const OutputRules& rules);

/// Makes what the options ask for, and gives it to the scene, whose shaders are called.
/// @return false when a file could not be written.
bool prepareIndirectLight(RenderScene& scene, const DataWindow& window, const FoundFiles& files,
                          const SavedPoints& saved, int threads);

/// Of all points: renders that see the same light have the same.
std::uint64_t digestOfPoints(const RenderScene& scene);

}  // namespace lumorender
