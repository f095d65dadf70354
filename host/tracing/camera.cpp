#include "tracing/camera.h"

#include "tracing/transforms.h"
#include "support/messages.h"

#include <cmath>

namespace lumorender {

Camera::Camera(const miCamera& camera, const FlatElement& element)
    : camera_(camera),
      element_(element),
      pixelWidth_(1.0 * camera.aperture / camera.x_resolution),
      pixelHeight_(1.0 * camera.aperture / camera.aspect / camera.y_resolution) {
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

void Camera::eyeRay(double rasterX, double rasterY, double time, miVector& org, miVector& dir) const {
    // The film lies at distance focal in front of the pinhole; a positive offset moves the image right and up.
    const double x = (rasterX - camera_.x_offset) * pixelWidth_ - 0.5 * camera_.aperture;
    const double y = (rasterY - camera_.y_offset) * pixelHeight_ - 0.5 * camera_.aperture / camera_.aspect;
    Vector3 o{0, 0, 0};
    Vector3 d{x, y, -camera_.focal};
    if (camera_.orthographic) {
        o = {x, y, 0};
        d = {0, 0, -1};
    }

    Matrix4 between;
    const double* m = element_.placement.localToWorld;
    if (element_.moves) {
        interpolate(between, m, element_.placementAtClose.localToWorld, time);
        m = between;
    }
    org = toVector(transformPoint(o, m));
    dir = toVector(normalised(transformVector(d, m)));
}

void Camera::pixelSides(const miVector& point, miGeoVector& right, miGeoVector& up) const {
    const double* m = placement().localToWorld;
    const double depth = -transformPoint(fromVector(point), placement().worldToLocal).z;
    const double width = pixelSize(depth), height = width * pixelHeight_ / pixelWidth_;
    right = {width * m[0], width * m[1], width * m[2]};
    up = {height * m[4], height * m[5], height * m[6]};
}

double Camera::cosineToAxis(const miVector& dir) const {
    const double* m = placement().localToWorld;
    return -(dir.x * m[8] + dir.y * m[9] + dir.z * m[10]) / std::sqrt(m[8] * m[8] + m[9] * m[9] + m[10] * m[10]);
}

miVector Camera::worldToRaster(const miVector& point) const {
    const Vector3 p = transformPoint(fromVector(point), element_.placement.worldToLocal);
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

}  // namespace lumorender
