// The camera: eye rays through points of the image, and the way back from space to the image.
#pragma once

#include "geometry/scene_geometry.h"
#include "mi/camera.h"

#include <cmath>

namespace lumorender {

/// A pinhole or orthographic camera in its place. Raster space counts pixels from the lower left corner; the centre of
/// the first pixel is at (0.5, 0.5). Read-only while rendering.
class Camera {
public:
    /// @param element the camera's instance, flattened; throws Failure for a camera that cannot look at anything.
    Camera(const miCamera& camera, const FlatElement& element);

    /// Eye rays begin all over a lens of this radius, and meet where they are so far away along the axis.
    void setLens(double focus, double radius);
    bool hasLens() const { return lensRadius_ > 0; }

    /// The ray through a raster position; `time` is the fraction of the shutter interval. `lens` is a place on the unit
    /// square, which is the lens.
    void eyeRay(double rasterX, double rasterY, double time, const Imath::V2d& lens, miVector& org,
                miVector& dir) const;

    /// Raster position of a world-space point. Points in the camera's plane give infinities.
    miVector worldToRaster(const miVector& point) const;

    /// How wide a pixel is at a distance from the camera, measured along its axis.
    double pixelSize(double depth) const {
        return camera_.orthographic ? pixelWidth_ : pixelWidth_ / camera_.focal * depth;
    }
    /// Distances along a ray between the camera's two clipping planes. All of it where the camera keeps the planes that
    /// it has without a `clip` statement, and for rays that lens shaders have turned away from the camera's axis.
    /// `farthest` is another end, as far along the axis.
    struct Depths {
        double near = 0, far = 1e30;
    };
    Depths depths(const miVector& org, const miVector& dir, float farthest) const {
        return clips_ || std::isfinite(farthest) ? endedDepths(org, dir, farthest) : Depths();
    }
    /// World-space sides of a pixel, to the right and up, as far away as the point.
    void pixelSides(const miVector& point, V3d& right, V3d& up) const;
    /// Cosine of the angle between a direction and the axis.
    double cosineToAxis(const miVector& dir) const;

    /// World to camera and back at shutter open, which is what coordinate transforms use.
    const Placement& placement() const { return *element_.placement; }

private:
    Depths endedDepths(const miVector& org, const miVector& dir, float farthest) const;

    const miCamera& camera_;
    FlatElement element_;
    double pixelWidth_, pixelHeight_;  ///< of one pixel of the film
    bool clips_;
    double focus_ = 0, lensRadius_ = 0;
};

struct RenderScene;

/// That of the scene's camera instance. Throws Failure where the geometry has none.
std::shared_ptr<const Camera> projectionOf(const RenderScene& scene);

}  // namespace lumorender
