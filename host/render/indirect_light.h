// Points of indirect light and occlusion of a render, made before its tiles.
#pragma once

#include "gathering/final_gather_pass.h"
#include "image/image.h"
#include "render/output_rules.h"
#include "saving/saved_points.h"
#include "tracing/context.h"

namespace lumorender {

/// Whether the options ask for points alone, and for no picture.
bool isPointsOnly(const RenderScene& scene);

/// The files of points that the options name.
GatherFiles gatherFiles(const RenderScene& scene, const OutputRules& rules);

/// Whether the first of them may be written, where it is to be; says why not.
bool checkPointFile(const RenderScene& scene, const OutputRules& rules);

/// Makes what the options ask for, and gives it to the scene, whose shaders are called.
/// @return false when a file of points could not be written.
bool prepareIndirectLight(RenderScene& scene, const DataWindow& window, const GatherFiles& files,
                          const SavedPoints& saved, int threads);

/// Of all points: renders that see the same light have the same.
std::uint64_t digestOfPoints(const RenderScene& scene);

}  // namespace lumorender
