// Points on grids over the image, made before any tile is rendered.
#pragma once

#include "gathering/final_gather_points.h"
#include "image/image.h"
#include "mi/codes.h"
#include "mi/types.h"
#include "saving/saved_points.h"
#include "tracing/context.h"

namespace lumorender {

/// Which points a stage of the render makes.
struct PointStage {
    miStage stage;
    const char* name;                      ///< in messages
    NewPoints ThreadContext::* newPoints;  ///< where calls of shaders leave them
    double spacing;                        ///< pixels from point to point in the coarsest grid; above 0
    double finest = 1;                     ///< ... in the finest: closer than the image's own pixels brings little
};

/// Adds what eye rays of ever finer grids see where the points before do not reach, until a grid finds hardly a place.
/// Each place of a grid is computed by itself, knowing the grids before it only, so that the result does not depend on
/// the number of threads. `points` are those that the scene's shaders look at. Blocks of places that are in `saved` are
/// taken from there, others are kept in it.
void collectPoints(const RenderScene& scene, const PointStage& stage, GatherPoints& points, const DataWindow& window,
                   const SavedPoints& saved, int threads);

class Camera;
struct RenderScene;

/// Radii that a scene or a shader asks for; 0 = as the grids need.
struct RadiusLimits {
    float least = 0, most = 0;
    bool inPixels = false;  ///< what they are measured in
};

class PointReach {
public:
    /// @param density of the coarsest grid: 1 = a point every 8 pixels, 4 = twice as many in both directions, 0 = none
    /// @param steps   of that grid: how far a point reaches at most. More blurs what lies on a surface
    PointReach(const RenderScene& scene, double density, double steps);

    /// Pixels from point to point in the coarsest grid; 0 = no points are made ahead.
    double spacing() const { return spacing_; }

    /// Half the mean distance of what is around, between the limits.
    float radius(const miVector& position, double meanDistance, const RadiusLimits& limits) const;

private:
    double pixelSize(const miVector& position) const;

    const Camera& projection_;
    double steps_;
    double spacing_ = 0;
    float sceneSize_;
};

}  // namespace lumorender
