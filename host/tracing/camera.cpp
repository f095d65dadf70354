#include "tracing/camera.h"

#include "database/elements.h"
#include "geometry/placement_at.h"
#include "support/geometry.h"
#include "support/messages.h"
#include "tracing/context.h"

#include <cmath>
#include <numbers>

namespace lumorender {

Camera::Camera(const miCamera& camera, const FlatElement& element)
    : camera_(camera),
      element_(element),
      pixelWidth_(1.0 * camera.aperture / camera.x_resolution),
      pixelHeight_(1.0 * camera.aperture / camera.aspect / camera.y_resolution),
      clips_(camera.clip.min != kNearestClip || camera.clip.max != kFarthestClip) {
    if (camera.x_resolution < 1 || camera.y_resolution < 1)
        throw Failure(fmt::format("camera: resolution {} x {} is not an image; expected at least 1 x 1",
                                  camera.x_resolution, camera.y_resolution));
    if (!(camera.aperture > 0) || !(camera.aspect > 0) || !std::isfinite(camera.aperture) ||
        !std::isfinite(camera.aspect))
        throw Failure(
            fmt::format("camera: aperture {} and aspect {} must be positive", camera.aperture, camera.aspect));
    if (!camera.orthographic && !(camera.focal > 0 && std::isfinite(camera.focal)))
        throw Failure(fmt::format("camera: focal length {} must be positive", camera.focal));
}

void Camera::setLens(double focus, double radius) {
    focus_ = focus;
    lensRadius_ = radius;
}

void Camera::eyeRay(double rasterX, double rasterY, double time, const Imath::V2d& lens, miVector& org,
                    miVector& dir) const {
    // The film lies at distance focal in front of the pinhole; a positive offset moves the image right and up.
    const double x = (rasterX - camera_.x_offset) * pixelWidth_ - 0.5 * camera_.aperture;
    const double y = (rasterY - camera_.y_offset) * pixelHeight_ - 0.5 * camera_.aperture / camera_.aspect;
    V3d o{0, 0, 0};
    V3d d{x, y, -camera_.focal};
    if (camera_.orthographic) {
        o = {x, y, 0};
        d = {0, 0, -1};
    }
    if (hasLens()) {
        const V3d sharp = o + d * (focus_ / -d.z);
        const Imath::V2d place = lensRadius_ * onDisc(lens);
        o += V3d{place.x, place.y, 0};
        d = sharp - o;
    }

    M44d moved{Imath::UNINITIALIZED};
    const bool moves = element_.motionSteps > 0;
    const M44d& m = moves ? moved = localToWorldAt(element_, time) : element_.placement->localToWorld;
    org = narrow(transformPoint(o, m));
    dir = narrow(unit(transformVector(d, m)));
}

void Camera::pixelSides(const miVector& point, V3d& right, V3d& up) const {
    const M44d& m = placement().localToWorld;
    const double depth = -transformPoint(wide(point), placement().worldToLocal).z;
    const double width = pixelSize(depth), height = width * pixelHeight_ / pixelWidth_;
    right = row(m, 0) * width;
    up = row(m, 1) * height;
}

double Camera::cosineToAxis(const miVector& dir) const {
    return -dot(wide(dir), unit(row(placement().localToWorld, 2)));
}

Camera::Depths Camera::endedDepths(const miVector& org, const miVector& dir, float farthest) const {
    const M44d& toCamera = element_.placement->worldToLocal;
    const double begin = -transformPoint(wide(org), toCamera).z, step = -transformVector(wide(dir), toCamera).z;
    if (!(step > 0)) return {};
    Depths depths;
    if (clips_) depths = {std::max(0.0, (camera_.clip.min - begin) / step), (camera_.clip.max - begin) / step};
    if (std::isfinite(farthest)) depths.far = std::min(depths.far, (farthest - begin) / step);
    return depths;
}

miVector Camera::worldToRaster(const miVector& point) const {
    const V3d p = transformPoint(wide(point), element_.placement->worldToLocal);
    double x = p.x;
    double y = p.y;
    if (!camera_.orthographic) {
        x *= camera_.focal / -p.z;
        y *= camera_.focal / -p.z;
    }
    return {static_cast<float>((x / camera_.aperture + 0.5) * camera_.x_resolution + camera_.x_offset),
            static_cast<float>((y * camera_.aspect / camera_.aperture + 0.5) * camera_.y_resolution + camera_.y_offset),
            0};
}

std::shared_ptr<const Camera> projectionOf(const RenderScene& scene) {
    for (const FlatElement& camera : scene.geometry->cameras())
        if (camera.instance == scene.cameraInstance) {
            auto projection = std::make_shared<Camera>(*scene.camera, camera);
            if (const auto* detail = scene.database->detail<CameraDetail>(camera.element))
                projection->setLens(static_cast<double>(detail->focus), static_cast<double>(detail->lensRadius));
            return projection;
        }
    throw Failure(fmt::format("the camera instance \"{}\" is not a member of the root group \"{}\"",
                              scene.database->name(scene.cameraInstance), scene.database->name(scene.rootGroup)));
}

}  // namespace lumorender
