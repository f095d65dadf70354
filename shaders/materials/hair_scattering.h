/* How a hair scatters light: a rough cylinder of glass with a tinted inside, of scales that lean. Light is mirrored at
 * its outside (R), goes through it (TT), or is mirrored once inside (TRT); what is mirrored more often is one rest.
 *
 * Sources: S. R. Marschner et al., "Light Scattering from Human Hair Fibers", 2003; E. d'Eon et al., "An
 * Energy-Conserving Hair Reflectance Model", 2011 (longitudinal lobes, and that all adds up to 1); M. J.-Y. Chiang et
 * al., "A Practical and Controllable Hair and Fur Model for Production Path Tracing", 2016 (azimuthal lobes, absorption
 * from a color, widths from roughnesses).
 */
#pragma once

#include <algorithm>
#include <cmath>
#include <numbers>

#include "SDK/color/color.h"

namespace lumo {

inline constexpr double kPi = std::numbers::pi;

/* Variance of the longitudinal lobe, and scale of the azimuthal one, of roughnesses 0 to 1. */
inline double longitudinalVariance(double roughness) {
    const double m = roughness, v = 0.726 * m + 0.812 * m * m + 3.7 * std::pow(m, 20);
    return v * v;
}
inline double azimuthalScale(double roughness) {
    const double n = roughness;
    return 0.626657 * (0.265 * n + 1.194 * n * n + 5.372 * std::pow(n, 22)); /* sqrt(pi / 8) */
}

/* Of a fibre in which light scatters often until its color is C, on a way as long as the fibre is thick. */
inline double absorptionFor(double color, double azimuthalRoughness) {
    const double b = azimuthalRoughness, c = std::log(color);
    const double k =
        5.969 - 0.215 * b + 2.532 * b * b - 10.73 * std::pow(b, 3) + 5.574 * std::pow(b, 4) + 0.245 * std::pow(b, 5);
    return (c / k) * (c / k);
}

inline double dielectricFresnel(double cosine, double index) {
    const double inside = std::sqrt(std::max(1 - (1 - cosine * cosine) / (index * index), 0.0));
    const double parallel = (index * cosine - inside) / (index * cosine + inside);
    const double across = (cosine - index * inside) / (cosine + index * inside);
    return (parallel * parallel + across * across) / 2;
}

/* The way of a ray that meets the cylinder at h (-1 to 1 of its radius beside the axis), aslant by theta. */
struct FibrePath {
    double gammaI, gammaT; /* angles to the normal, outside and inside, across the fibre */
    double length;         /* of one crossing, in radii */
    double fresnel;

    FibrePath(double index, double sinTheta, double h) {
        const double cosTheta = std::sqrt(std::max(1 - sinTheta * sinTheta, 1e-12));
        const double sinThetaT = sinTheta / index, cosThetaT = std::sqrt(1 - sinThetaT * sinThetaT);
        const double effective = std::sqrt(index * index - sinTheta * sinTheta) / cosTheta;
        gammaI = std::asin(h);
        gammaT = std::asin(h / effective);
        length = 2 * std::cos(gammaT) / cosThetaT;
        fresnel = dielectricFresnel(cosTheta * std::cos(gammaI), index);
    }

    double transmission(double absorption) const { return std::exp(-absorption * length); }

    /* Of R, TT, TRT and the rest, where T of the light is left after one crossing. Without absorption they add up to
     * 1. */
    void attenuations(double t, double result[4]) const {
        const double f = fresnel;
        result[0] = f;
        result[1] = (1 - f) * (1 - f) * t;
        result[2] = result[1] * f * t;
        result[3] = result[2] * f * t / (1 - f * t);
    }

    /* How much light turns around the fibre on the way. */
    double turn(int lobe) const { return 2 * lobe * gammaT - 2 * gammaI + lobe * kPi; }
};

/* Modified Bessel function of order 0; its logarithm where it is large. */
inline double besselI0(double x) {
    double sum = 0, term = 1;
    for (int i = 1; i <= 12; ++i) {
        sum += term;
        term *= x * x / (4.0 * i * i);
    }
    return sum + term;
}
inline double logBesselI0(double x) {
    if (x <= 12) return std::log(besselI0(x));
    return x + (std::log(1 / (2 * kPi * x)) + 1 / (4 * x)) / 2;
}

/* Along the fibre: a lobe around the cone of theta' = -theta. Its integral times the cosine of theta is 1. */
inline double longitudinalLobe(double sinI, double sinO, double variance) {
    const double cosI = std::sqrt(std::max(1 - sinI * sinI, 0.0)), cosO = std::sqrt(std::max(1 - sinO * sinO, 0.0));
    const double a = cosI * cosO / variance, b = sinI * sinO / variance;
    if (variance <= 0.1)
        return std::exp(logBesselI0(a) - b - 1 / variance + std::numbers::ln2 + std::log(1 / (2 * variance)));
    return std::exp(-b) * besselI0(a) / (std::sinh(1 / variance) * 2 * variance);
}

/* Around the fibre: a logistic bump around 0, cut off at half a turn. Its integral is 1. */
inline double azimuthalLobe(double angle, double scale) {
    angle -= 2 * kPi * std::round(angle / (2 * kPi));
    const double e = std::exp(-std::abs(angle) / scale);
    const auto upTo = [scale](double x) { return 1 / (1 + std::exp(-x / scale)); };
    return e / (scale * (1 + e) * (1 + e)) / (upTo(kPi) - upTo(-kPi));
}

/* Widths and shifts of the lobes. */
struct HairShape {
    double index = 1.55, variance = 0.1, scale = 0.1;
    double shift = 0; /* of the first highlight towards the tip, in radians */

    /* Parameters of any value become such that all is finite. */
    HairShape(double givenIndex, double longitudinal, double azimuthal, double shiftDegrees)
        : index(limited(givenIndex, 1.01, 10)),
          variance(std::max(longitudinalVariance(limited(longitudinal, 0.02, 1)), 1e-4)),
          scale(std::max(azimuthalScale(limited(azimuthal, 0.02, 1)), 1e-3)),
          shift(limited(shiftDegrees, -45, 45) * kPi / 180) {}

    /* The lobes through the inside are shifted the other way, by one half and three halves. */
    double shiftOf(int lobe) const { return lobe == 0 ? 2 * shift : lobe == 1 ? -shift : lobe == 2 ? -3 * shift : 0; }
    double varianceOf(int lobe) const { return lobe == 0 ? variance : lobe == 1 ? variance / 4 : 4 * variance; }

    /* What is no number counts as the least. */
    static double limited(double value, double low, double high) { return value > low ? std::min(value, high) : low; }
};

/* A fibre, seen from a direction. */
class HairView {
public:
    /* h: where the ray meets it, -1 to 1; sinTheta: of the angle of the view to the plane across the fibre. */
    HairView(const HairShape& shape, double sinTheta, double h, const miColor& color, double azimuthalRoughness)
        : shape_(shape), theta_(std::asin(std::clamp(sinTheta, -1.0, 1.0))), path_(shape.index, sinTheta, h) {
        const float channels[3] = {color.r, color.g, color.b};
        for (int i = 0; i < 3; ++i) {
            const double c = HairShape::limited(static_cast<double>(channels[i]), 1e-4, 0.9999);
            double shares[4];
            path_.attenuations(path_.transmission(absorptionFor(c, azimuthalRoughness)), shares);
            for (int lobe = 0; lobe < 4; ++lobe) attenuations_[lobe][i] = shares[lobe];
        }
    }

    /* What a lobe sends to the eye of light from a direction, in relation to white paper that faces the light.
     * phi: angle from the view to the light around the fibre. */
    miColor lobe(int number, double sinLight, double phi) const {
        const double along =
            longitudinalLobe(sinLight, std::sin(theta_ + shape_.shiftOf(number)), shape_.varianceOf(number));
        const double around = number < 3 ? azimuthalLobe(phi - path_.turn(number), shape_.scale) : 1 / (2 * kPi);
        const double s = kPi * along * around;
        const double* a = attenuations_[number];
        return {static_cast<miScalar>(a[0] * s), static_cast<miScalar>(a[1] * s), static_cast<miScalar>(a[2] * s), 0};
    }

private:
    HairShape shape_;
    double theta_;
    FibrePath path_;
    double attenuations_[4][3];
};

}  // namespace lumo
