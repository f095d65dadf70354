// Lengths as the camera sees them.
#pragma once

#include "mi/camera.h"
#include "support/geometry.h"
#include "surfaces/edge_measure.h"
#include "tracing/camera.h"

#include <algorithm>
#include <vector>

namespace lumorender {

/// How long edges are to the eye, whichever of some instances shows them longest. They are not foreshortened: waves hide
/// behind each other where a surface is seen at a flat angle.
class ScreenMeasure {
public:
    /// All have to outlive this.
    ScreenMeasure(const miCamera& camera, const Camera& projection, std::vector<const FlatInstance*> instances)
        : camera_(camera), projection_(projection), instances_(std::move(instances)) {
        const double focal = camera_.orthographic ? 1 : static_cast<double>(camera_.focal);
        const double width = static_cast<double>(camera_.aperture) / 2 / focal;
        const double height = width / static_cast<double>(camera_.aspect);
        slopeX_ = kMargin * width;
        slopeY_ = kMargin * height;
    }

    /// As EdgeMeasure says.
    float need(const V3d& a, const V3d& b, const ApproximationRule& rule, float limit) const {
        if (!rule.view) return static_cast<float>(length(b - a) / static_cast<double>(limit));
        double most = 0;
        for (const FlatInstance* instance : instances_) most = std::max(most, pixels(*instance, a, b, rule.offscreen));
        return static_cast<float>(most / static_cast<double>(limit));
    }

private:
    static constexpr double kMargin = 1.1;
    static constexpr double kOffscreenFactor = 16;  ///< edges that the camera does not see may be so much longer

    const miCamera& camera_;
    const Camera& projection_;
    const std::vector<const FlatInstance*> instances_;
    double slopeX_, slopeY_;

    double pixels(const FlatInstance& instance, const V3d& a, const V3d& b, bool offscreen) const {
        const M44d& toCamera = projection_.placement().worldToLocal;
        const V3d from = transformPoint(transformPoint(a, instance.placement->localToWorld), toCamera);
        const V3d to = transformPoint(transformPoint(b, instance.placement->localToWorld), toCamera);
        const V3d way = to - from;
        const double squared = dot(way, way);
        const double at = squared > 0 ? std::clamp(-dot(from, way) / squared, 0.0, 1.0) : 0;
        const double size = std::sqrt(squared), near = length(from + way * at);
        const double result = size / std::max(projection_.pixelSize(near), 1e-30);
        return offscreen || isSeen((from + to) * 0.5, size) ? result : result / kOffscreenFactor;
    }

    /// Whether a sphere reaches into the picture, in camera space.
    bool isSeen(const V3d& center, double radius) const {
        if (camera_.orthographic) return std::abs(center.x) - radius < slopeX_ && std::abs(center.y) - radius < slopeY_;
        const auto within = [&](double side, double slope) {
            return (std::abs(side) + center.z * slope) / std::sqrt(1 + slope * slope) < radius;
        };
        return center.z < radius && within(center.x, slopeX_) && within(center.y, slopeY_);
    }
};

}  // namespace lumorender
