#include "render/point_reach.h"

#include "geometry/vectors.h"
#include "render/camera.h"
#include "render/context.h"

#include <algorithm>
#include <cmath>

namespace lumorender {

using namespace vectors;

PointReach::PointReach(const RenderScene& scene, double density, double steps)
    : projection_(*scene.projection), steps_(steps) {
    constexpr double kPixels = 8;  // between points, at density 1
    if (density > 0) spacing_ = std::max(kPixels / std::sqrt(density), 1.0);
    miVector low, high;
    scene.geometry->bounds(low, high);
    sceneSize_ = length(high - low);
}

double PointReach::pixelSize(const miVector& position) const {
    const double* m = projection_.placement().localToWorld;
    const miGeoVector eye{m[12], m[13], m[14]};
    return projection_.pixelSize(length(wide(position) - eye));
}

float PointReach::radius(const miVector& position, double meanDistance, const RadiusLimits& limits) const {
    constexpr double kLeast = 1.5;  // pixels
    const auto pixel = static_cast<float>(pixelSize(position));
    float least = limits.least, most = limits.most;
    if (limits.inPixels) {
        least *= pixel;
        most *= pixel;
    }
    if (!(most > 0)) {
        most = std::max(std::min(static_cast<float>(steps_ * spacing_) * pixel, sceneSize_ / 10), least);
        if (!(least > 0)) least = static_cast<float>(kLeast) * pixel;
    }
    if (!(least > 0)) least = most / 10;
    most = std::max(most, 1e-12F);
    const auto half = static_cast<float>(std::min(meanDistance / 2, 1e30));
    return std::clamp(half, std::clamp(least, 1e-12F, most), most);
}

}  // namespace lumorender
