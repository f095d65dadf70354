#include "daylight/sunlight.h"

#include "math/chromaticity.h"

#include <iterator>

namespace materials {

namespace {

/* 20 nm of the sun's light. */
struct Band {
    double wavelength; /* micrometers */
    double ozone;      /* absorption by 1 cm of it. Source: Iqbal, "An Introduction to Solar Radiation", 1983 */
    double x, y, z;    /* CIE's numbers outside of the air, lux */
};

/*
 * Planck's spectrum of 5778 K with 133.3 klx (Darula, Kittler and Gueymard, "Reference Luminous Solar Constant and Solar
 * Luminance for Illuminance Calculations", Solar Energy 79(5), 2005), seen by the observer of Wyman et al., "Simple
 * Analytic Approximations to the CIE XYZ Color Matching Functions", JCGT 2(2), 2013.
 */
constexpr Band kBands[] = {
    {.390, .0000, 41, 13, 448},      {.410, .0000, 1150, 63, 4781},    {.430, .0000, 6668, 253, 33824},
    {.450, .0030, 8647, 841, 44813}, {.470, .0090, 4919, 2306, 33192}, {.490, .0210, 828, 5513, 12046},
    {.510, .0400, 427, 12962, 4038}, {.530, .0630, 4106, 22355, 1107}, {.550, .0850, 11016, 25260, 222},
    {.570, .1200, 19285, 23706, 33}, {.590, .1150, 24914, 18608, 4},   {.610, .1200, 23777, 11894, 0},
    {.630, .0900, 15149, 6087, 0},   {.650, .0670, 6341, 2460, 0},     {.670, .0480, 1744, 780, 0},
    {.690, .0280, 316, 194, 0},      {.710, .0180, 38, 38, 0},
};

/* Powers of the wavelengths, which do not change. */
struct Scattering {
    double molecules[std::size(kBands)], dust[std::size(kBands)];

    Scattering() {
        for (std::size_t i = 0; i < std::size(kBands); ++i) {
            molecules[i] = .008735 * std::pow(kBands[i].wavelength, -4.08);
            dust[i] = std::pow(kBands[i].wavelength, -1.3);
        }
    }
};

const Scattering kScattering;

/* Way through the air by that straight down. Source: Kasten, 1965, as in Preetham et al. */
double opticalMass(double height) {
    const double fromZenith = std::acos(std::clamp(height, 0.0, 1.0)) * 180 / M_PI;
    return 1 / (std::max(height, 0.0) + .15 * std::pow(93.885 - fromZenith, -1.253));
}

}  // namespace

/* Source: Preetham, Shirley and Smits, "A Practical Analytic Model for Daylight", SIGGRAPH 1999, appendix. */
miColor sunlight(miScalar height, miScalar turbidity) {
    if (!(height > 0)) return kBlack;
    constexpr double kOzone = .35; /* cm */
    const double mass = opticalMass(static_cast<double>(height));
    const double dust = .04608 * static_cast<double>(turbidity) - .04586;
    double x = 0, y = 0, z = 0;
    for (std::size_t i = 0; i < std::size(kBands); ++i) {
        const Band& band = kBands[i];
        const double depth = kScattering.molecules[i] + dust * kScattering.dust[i] + kOzone * band.ozone;
        const double left = std::exp(-mass * depth);
        x += band.x * left;
        y += band.y * left;
        z += band.z * left;
    }
    return colorOfXyz(x, y, z);
}

}  // namespace materials
