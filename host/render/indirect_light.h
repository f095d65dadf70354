// Photons, points of indirect light and occlusion of a render, made before its tiles.
#pragma once

#include "gathering/final_gather_pass.h"
#include "image/image.h"
#include "photons/photon_pass.h"
#include "render/output_rules.h"
#include "saving/saved_points.h"
#include "tracing/context.h"

namespace lumorender {

/// Whether the options ask for points or photons alone, and for no picture.
bool isPointsOnly(const RenderScene& scene);

/// What is made before tiles, and the files that the options name for it.
struct PointFiles {
    GatherFiles gather;
    PhotonFile photons;

    void keepNothing() { gather.isWritten = photons.isWritten = false; }
};
PointFiles pointFiles(const RenderScene& scene, const OutputRules& rules);

/// Whether those that are to be written may be, where they are to be; says why not.
bool checkPointFiles(const RenderScene& scene, const OutputRules& rules);

/// Makes what the options ask for, and gives it to the scene, whose shaders are called.
/// @return false when a file could not be written.
bool prepareIndirectLight(RenderScene& scene, const DataWindow& window, const PointFiles& files,
                          const SavedPoints& saved, int threads);

/// Of all points: renders that see the same light have the same.
std::uint64_t digestOfPoints(const RenderScene& scene);

}  // namespace lumorender
