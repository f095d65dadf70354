/* How the light that leaves a surface thins out with the distance from where it entered: reflectance profiles, radially
 * symmetric, of a half-space lit all over.
 *
 * Falloff 0 is normalized diffusion (Christensen and Burley 2015, "Approximate Reflectance Profiles for Efficient
 * Subsurface Scattering"):
 *   R(r) = A (e^(-r/d) + e^(-r/3d)) / (8 pi d r)      d = l / s      s = 1.9 - A + 3.5 (A - .8)^2
 * with the diffuse albedo A and the mean free path l; s is theirs for light that enters diffusely. We differ: the tail
 * that holds a thousandth of the light is cut off, and its light given to the rest.
 *
 * Falloffs 1 to 3 are cones that end at the radius itself: R(r) = A (n + 1)(n + 2) / (2 pi l^2) (1 - r / l)^n.
 */
#pragma once

#include <algorithm>
#include <cmath>
#include <numbers>

#include <shader.h>

namespace lumo {

/* The densities below are those of A = 1: they integrate to 1 over the plane. Distances and areas are those of internal
 * space. Channels are 0, 1, 2 for red, green, blue. */
class ScatterProfile {
public:
    /* Albedos are 0 to 1, `radius` is above 0 and finite. A falloff out of range is 0. */
    ScatterProfile(const miColor& albedo, double radius, miInteger falloff)
        : power_(falloff >= 1 && falloff <= 3 ? falloff : 0) {
        const double a[3] = {static_cast<double>(albedo.r), static_cast<double>(albedo.g),
                             static_cast<double>(albedo.b)};
        for (int c = 0; c < 3; ++c)
            scale_[c] = power_ ? radius : radius / (1.9 - a[c] + 3.5 * (a[c] - 0.8) * (a[c] - 0.8));
        widest_ = static_cast<int>(std::max_element(scale_, scale_ + 3) - scale_);
    }

    /* No light comes from farther away. */
    double reach() const { return scale_[widest_] * reachOfUnit(); }
    /* Most of the light comes from within a few of these, for the channel that spreads most. */
    double scale() const { return scale_[widest_]; }

    /* Light per area at this distance. */
    double density(int channel, double r) const {
        const double d = scale_[channel], x = std::max(r / d, 1e-6);
        if (!(x < reachOfUnit())) return 0;
        if (power_) return (power_ + 1) * (power_ + 2) / (2 * std::numbers::pi * d * d) * std::pow(1 - x, power_);
        const double slow = std::exp(-x / 3);
        return (slow * slow * slow + slow) / (8 * std::numbers::pi * d * d * x * kKept);
    }

    /* Share of the light that comes from within this distance. */
    double share(int channel, double r) const {
        const double x = std::max(r / scale_[channel], 0.0);
        if (!(x < reachOfUnit())) return 1;
        if (power_) return 1 - std::pow(1 - x, power_ + 1) * (1 + (power_ + 1) * x);
        const double slow = std::exp(-x / 3);
        return (1 - 0.25 * slow * slow * slow - 0.75 * slow) / kKept;
    }

    /* A distance for u in [0, 1), distributed as the light of the channel that spreads most: the others' densities are
     * below 3.2 times its own everywhere. And the density of the points that it makes around a circle. */
    double sampled(double u) const { return scale_[widest_] * (power_ ? sampledCone(u) : sampledDiffusion(u)); }
    double sampledDensity(double r) const { return density(widest_, r); }

private:
    /* Of d: share() leaves .75 e^(-x/3) = .001 outside. */
    static constexpr double kDiffusionReach = 19.860221, kKept = 0.999;

    double reachOfUnit() const { return power_ ? 1 : kDiffusionReach; }

    /* One of the two exponentials, each up to the reach. */
    static double sampledDiffusion(double u) {
        const double fast = 0.25 / kKept;
        const bool isFast = u < fast;
        const double lobe = isFast ? 1 : 3, v = isFast ? u / fast : (u - fast) / (1 - fast);
        return std::min(-lobe * std::log1p(v * std::expm1(-kDiffusionReach / lobe)), kDiffusionReach);
    }

    /* share() rises steadily from 0 to 1. */
    double sampledCone(double u) const {
        double low = 0, high = 1;
        for (int i = 0; i < 40; ++i) {
            const double x = (low + high) / 2;
            const bool below = 1 - std::pow(1 - x, power_ + 1) * (1 + (power_ + 1) * x) < u;
            (below ? low : high) = x;
        }
        return low;
    }

    double scale_[3]; /* d of normalized diffusion, the radius of a cone */
    int widest_;
    const int power_; /* of a cone; 0 is diffusion */
};

}  // namespace lumo
