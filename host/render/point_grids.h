// Points on grids over the image, made before any tile is rendered.
#pragma once

#include "mi/codes.h"
#include "render/context.h"
#include "render/final_gather_points.h"
#include "render/output.h"

namespace lumorender {

/// Which points a stage of the render makes.
struct PointStage {
    miStage stage;
    const char* name;                      ///< in messages
    NewPoints ThreadContext::* newPoints;  ///< where calls of shaders leave them
    double spacing;                        ///< pixels from point to point in the coarsest grid; above 0
};

/// Adds what eye rays of ever finer grids see where the points before do not reach, until a grid finds hardly a place.
/// Each place of a grid is computed by itself, knowing the grids before it only, so that the result does not depend on
/// the number of threads. `points` are those that the scene's shaders look at.
void collectPoints(const RenderScene& scene, const PointStage& stage, GatherPoints& points, const DataWindow& window,
                   int threads);

}  // namespace lumorender
