// How far around a place its value may be used, for points on grids over the image.
#pragma once

#include "mi/types.h"

namespace lumorender {

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
