#include "lobes/facets.h"

#include <algorithm>
#include <cmath>

namespace materials {

namespace {

constexpr miScalar kLeastCosine = 1e-3f;

}  // namespace

miScalar widthOfGloss(miScalar gloss) { return std::exp2(-8 * gloss); }

/* Lambda of Heitz 2014: how much of the facets' area hides behind others. */
miScalar Facets::masking(const miVector& local) const {
    const miScalar z = std::max(local.z, kLeastCosine);
    const miScalar squaredSlope = (u_ * u_ * local.x * local.x + v_ * v_ * local.y * local.y) / (z * z);
    return .5f * (std::sqrt(1 + squaredSlope) - 1);
}

miScalar Facets::highlight(const miVector& view, const miVector& light) const {
    const miVector toView = frame_.toLocal(view), toLight = frame_.toLocal(light);
    if (!(toLight.z > 0) || !(toView.z > 0)) return 0;
    const miVector half = unit(toView + toLight);
    const miScalar x = half.x / u_, y = half.y / v_;
    const miScalar tilt = x * x + y * y + half.z * half.z;
    const miScalar density = 1 / (u_ * v_ * tilt * tilt); /* times pi */
    const miScalar seen = 1 / (1 + masking(toView) + masking(toLight));
    return density * seen / (4 * std::max(toView.z, kLeastCosine));
}

miVector Facets::facetNormal(const miVector& view, const double point[2]) const {
    const miVector local = frame_.toLocal(view);
    /* The view where the facets' ellipsoid is a sphere. */
    const miVector stretched = unit({u_ * local.x, v_ * local.y, std::max(local.z, kLeastCosine)}, {0, 0, 1});
    const miScalar inPlane = std::hypot(stretched.x, stretched.y);
    const miVector across =
        inPlane > 0 ? miVector{-stretched.y / inPlane, stretched.x / inPlane, 0} : miVector{1, 0, 0};
    const miVector along = cross(stretched, across);

    /* A point of the disk that the viewer sees of the half sphere. */
    const auto radius = static_cast<miScalar>(std::sqrt(point[0]));
    const auto angle = static_cast<miScalar>(point[1]) * 2 * kPi;
    const miScalar a = radius * std::cos(angle);
    const miScalar bend = .5f * (1 + stretched.z);
    const miScalar b = (1 - bend) * std::sqrt(std::max(0.0f, 1 - a * a)) + bend * radius * std::sin(angle);
    const miScalar c = std::sqrt(std::max(0.0f, 1 - a * a - b * b));
    const miVector onSphere = across * a + along * b + stretched * c;
    return frame_.toWorld(unit({u_ * onSphere.x, v_ * onSphere.y, std::max(onSphere.z, 1e-6f)}, {0, 0, 1}));
}

}  // namespace materials
