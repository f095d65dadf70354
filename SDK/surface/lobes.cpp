/* Each lobe turns the first number of a point into an angle, by the inverse of its distribution, and the second into
 * the way around. */
#include "SDK/surface/lobes.h"

#include "SDK/surface/secondary_rays.h"

#include <algorithm>
#include <cmath>

namespace lumo {
namespace {

miVector combined(const miVector& a, miScalar x, const miVector& b, miScalar y, const miVector& c, miScalar z) {
    return {x * a.x + y * b.x + z * c.x, x * a.y + y * b.y + z * c.y, x * a.z + y * b.z + z * c.z};
}

miVector normalized(miVector v) {
    mi_vector_normalize(&v);
    return v;
}

/* Solid angle times cos^n makes cos^(n + 1) even. */
double powerCosine(double power, double share) { return std::pow(1 - share, 1 / (std::max(power, 0.0) + 1)); }

/* Over t from 0 to 1 the integral of r t / (t^2 (r - 1) + 1) is r log(1 + (r - 1) t^2) / (2 (r - 1)). */
double softCosine(double r, double size, double share) {
    if (!(r > 0) || !(size > 0)) return 1;
    const double squared = std::fabs(r - 1) < 1e-4 ? share : std::expm1(share * std::log(r)) / (r - 1);
    return 1 - size * (1 - std::sqrt(std::clamp(squared, 0.0, 1.0)));
}

double angleOf(const Lobe& lobe, double share) {
    const double cosine =
        lobe.kind == kLobePower ? powerCosine(lobe.width[0], share) : softCosine(lobe.width[0], lobe.width[1], share);
    return std::acos(std::clamp(cosine, -1.0, 1.0)) * lobe.blur;
}

/* Even over a disc at right angles to the center. */
miVector inCone(const Lobe& lobe, const miVector& center, double share, double around) {
    miVector u, v;
    tangentsOf(center, u, v);
    const auto radius = static_cast<miScalar>(lobe.blur * std::sqrt(share));
    const auto angle = static_cast<miScalar>(around);
    return normalized(combined(center, 1, u, radius * std::cos(angle), v, radius * std::sin(angle)));
}

miVector aroundCenter(const Lobe& lobe, const miVector& center, double share, double around) {
    miVector u, v;
    tangentsOf(center, u, v);
    const double angle = angleOf(lobe, share), sine = std::sin(angle);
    return normalized(combined(center, static_cast<miScalar>(std::cos(angle)), u,
                               static_cast<miScalar>(sine * std::cos(around)), v,
                               static_cast<miScalar>(sine * std::sin(around))));
}

/* A facet's slope is widths x sqrt(share / (1 - share)), after B. Walter et al., "Microfacet Models for Refraction
 * through Rough Surfaces", 2007; the ray is mirrored by it. */
miVector offFacet(const Lobe& lobe, double share, double around) {
    miVector across;
    mi_vector_prod(&across, &lobe.normal, &lobe.tangent);
    const double slope = lobe.blur * std::sqrt(share / std::max(1 - share, 1e-9));
    const auto x = static_cast<miScalar>(slope * lobe.width[0] * std::cos(around));
    const auto y = static_cast<miScalar>(slope * lobe.width[1] * std::sin(around));
    return mirrored(lobe.dir, normalized(combined(lobe.normal, 1, lobe.tangent, x, across, y)));
}

}  // namespace

miVector lobeDirection(const Lobe& lobe, const miVector& center, const double point[2]) {
    const double around = 2 * M_PI * point[1];
    switch (lobe.kind) {
        case kLobePower:
        case kLobeSoft: return aroundCenter(lobe, center, point[0], around);
        case kLobeFacets: return offFacet(lobe, point[0], around);
        default: return inCone(lobe, center, point[0], around);
    }
}

}  // namespace lumo
