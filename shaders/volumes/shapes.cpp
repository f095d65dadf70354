#include "shaders/volumes/shapes.h"

#include <algorithm>

namespace lumo {

AffineTransform::AffineTransform(const miMatrix m) {
    if (std::all_of(m, m + 16, [](miScalar element) { return element == 0; })) return;
    const auto row = [m](int i) { return DoubleVector(miVector{m[i], m[i + 1], m[i + 2]}); };
    for (int i = 0; i < 3; ++i) rows_[i] = row(4 * i);
    translation_ = row(12);
}

std::optional<AffineTransform> AffineTransform::inverse() const {
    const DoubleVector columns[3] = {cross(rows_[1], rows_[2]), cross(rows_[2], rows_[0]), cross(rows_[0], rows_[1])};
    const double determinant = dot(rows_[0], columns[0]);
    if (!std::isfinite(1 / determinant) || !std::isfinite(length(translation_))) return std::nullopt;
    AffineTransform result;
    const double k = 1 / determinant;
    result.rows_[0] = DoubleVector(columns[0].x, columns[1].x, columns[2].x) * k;
    result.rows_[1] = DoubleVector(columns[0].y, columns[1].y, columns[2].y) * k;
    result.rows_[2] = DoubleVector(columns[0].z, columns[1].z, columns[2].z) * k;
    result.translation_ = result.vector(translation_) * -1;
    return result;
}

namespace {

constexpr Stretch kNowhere = {1, 0};

Stretch common(const Stretch& a, const Stretch& b) { return {std::max(a.begin, b.begin), std::min(a.end, b.end)}; }

/* Between the planes at -1 and 1 of one axis. */
Stretch insideSlab(double org, double dir, const Stretch& within) {
    if (dir == 0) return std::fabs(org) <= 1 ? within : kNowhere;
    const double a = (-1 - org) / dir, b = (1 - org) / dir;
    return common(within, {std::min(a, b), std::max(a, b)});
}

/* Where a t^2 + 2 b t + c falls below 0, for a > 0. */
Stretch belowZero(double a, double b, double c, const Stretch& within) {
    const double discriminant = b * b - a * c;
    if (!(a > 0 && discriminant > 0)) return c < 0 && a == 0 ? within : kNowhere;
    // The root that does not cancel first, the other from their product.
    const double q = -(b + std::copysign(std::sqrt(discriminant), b));
    const double r = q / a, s = q != 0 ? c / q : -r;
    return common(within, {std::min(r, s), std::max(r, s)});
}

Stretch insideSphere(const VolumeRay& ray, const Stretch& within) {
    return belowZero(dot(ray.dir, ray.dir), dot(ray.org, ray.dir), dot(ray.org, ray.org) - 1, within);
}

Stretch insideCylinder(const VolumeRay& ray, const Stretch& within) {
    const Stretch slab = insideSlab(ray.org.z, ray.dir.z, within);
    const DoubleVector o(ray.org.x, ray.org.y, 0), d(ray.dir.x, ray.dir.y, 0);
    return belowZero(dot(d, d), dot(o, d), dot(o, o) - 1, slab);
}

/* The cone's mantle goes on beyond its tip as a second one, turned over; the planes of the slab leave the first only. */
Stretch insideCone(const VolumeRay& ray, const Stretch& within) {
    const Stretch slab = insideSlab(ray.org.z, ray.dir.z, within);
    if (slab.empty()) return kNowhere;
    const double radius = (1 - ray.org.z) / 2, slope = -ray.dir.z / 2;
    const double a = ray.dir.x * ray.dir.x + ray.dir.y * ray.dir.y - slope * slope;
    const double b = ray.org.x * ray.dir.x + ray.org.y * ray.dir.y - radius * slope;
    const double c = ray.org.x * ray.org.x + ray.org.y * ray.org.y - radius * radius;
    if (a > 0) return belowZero(a, b, c, slab);

    // Steeper than the mantle: the ray is outside between the roots, and the slab ends at the tip.
    const double discriminant = b * b - a * c;
    if (a == 0 && b == 0) return c < 0 ? slab : kNowhere;
    if (a < 0 && !(discriminant > 0)) return slab;
    const double q = -(b + std::copysign(std::sqrt(std::max(discriminant, 0.0)), b));
    const double r = a == 0 ? -c / (2 * b) : q / a, s = a == 0 ? r : q != 0 ? c / q : -r;
    const auto isInside = [&](const Stretch& part) {
        if (part.empty()) return false;
        const double t = (part.begin + part.end) / 2;
        return (a * t + 2 * b) * t + c < 0;
    };
    const Stretch before = common(slab, {slab.begin, std::min(r, s)}), after = common(slab, {std::max(r, s), slab.end});
    return isInside(before) ? before : isInside(after) ? after : kNowhere;
}

double distanceFromAxis(const DoubleVector& p) { return std::sqrt(p.x * p.x + p.y * p.y); }

double depthInCone(const DoubleVector& p) { return std::min((1 - p.z) / 2 - distanceFromAxis(p), 1 + p.z); }

double depthInCube(const DoubleVector& p) { return 1 - std::max({std::fabs(p.x), std::fabs(p.y), std::fabs(p.z)}); }

VolumeDropoff dropoffOf(VolumeShape shape) {
    return shape == kVolumeSphere ? kDropoffSphere : shape == kVolumeCone ? kDropoffCone : kDropoffCube;
}

}  // namespace

Stretch insideOf(VolumeShape shape, const VolumeRay& ray, Stretch within) {
    switch (shape) {
        case kVolumeSphere: return insideSphere(ray, within);
        case kVolumeCylinder: return insideCylinder(ray, within);
        case kVolumeCone: return insideCone(ray, within);
        default: break;
    }
    within = insideSlab(ray.org.x, ray.dir.x, within);
    within = insideSlab(ray.org.y, ray.dir.y, within);
    return insideSlab(ray.org.z, ray.dir.z, within);
}

double depthAt(VolumeDropoff dropoff, VolumeShape shape, const DoubleVector& p) {
    switch (dropoff) {
        case kDropoffSphere: return 1 - length(p);
        case kDropoffCone: return depthInCone(p);
        case kDropoffDoubleCone: return 1 - std::fabs(p.z) - distanceFromAxis(p);
        case kDropoffX: return (1 + p.x) / 2;
        case kDropoffY: return (1 + p.y) / 2;
        case kDropoffZ: return (1 + p.z) / 2;
        case kDropoffMinusX: return (1 - p.x) / 2;
        case kDropoffMinusY: return (1 - p.y) / 2;
        case kDropoffMinusZ: return (1 - p.z) / 2;
        case kDropoffShape:
            if (shape == kVolumeCylinder) return std::min(1 - distanceFromAxis(p), 1 - std::fabs(p.z));
            return depthAt(dropoffOf(shape), shape, p);
        default: return depthInCube(p);
    }
}

double profileAt(DropoffProfile profile, double depth, double edge) {
    if (!(edge > 0)) return depth >= 0 ? 1 : 0;
    const double t = std::clamp(depth / edge, 0.0, 1.0), rest = 1 - t;
    switch (profile) {
        case kProfileSmooth: return t * t * (3 - 2 * t);
        case kProfileRound: return 1 - rest * rest;
        case kProfileBell: return std::exp(-8 * rest * rest);
        default: return t;
    }
}

}  // namespace lumo
