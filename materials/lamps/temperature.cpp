/* mib_cie_d, mib_blackbody: colors of light by temperature. */
#include "math/chromaticity.h"
#include "module/export.h"
#include "module/parameters.h"

namespace materials {

namespace {

struct Temperature {
    miScalar temperature, intensity;
};

struct Chromaticity {
    double x, y;
};

double cubic(double a, double b, double c, double d, double at) { return ((a * at + b) * at + c) * at + d; }

/* Source: CIE 15, "Colorimetry": components of the relative spectral distribution of daylight; 4000 K to 25000 K. */
Chromaticity daylight(double kelvin) {
    const double t = 1000 / kelvin;
    const double x =
        kelvin <= 7000 ? cubic(-4.6070, 2.9678, .09911, .244063, t) : cubic(-2.0064, 1.9018, .24748, .237040, t);
    return {x, -3 * x * x + 2.870 * x - .275};
}

/* Source: Kim et al., "Design of Advanced Color Temperature Control System for HDTV Applications", J. Korean Phys. Soc.
   41(6), 2002; 1667 K to 25000 K. */
Chromaticity blackbody(double kelvin) {
    const double t = 1000 / kelvin;
    const double x = kelvin <= 4000 ? cubic(-.2661239, -.2343580, .8776956, .179910, t)
                                    : cubic(-3.0258469, 2.1070379, .2226347, .240390, t);
    if (kelvin <= 2222) return {x, cubic(-1.1063814, -1.34811020, 2.18555832, -.20219683, x)};
    if (kelvin <= 4000) return {x, cubic(-.9549476, -1.37418593, 2.09137015, -.16748867, x)};
    return {x, cubic(3.0817580, -5.87338670, 3.75112997, -.37001483, x)};
}

miColor shown(const Chromaticity& color, miScalar intensity) {
    return colorOfChromaticity(1, color.x, color.y) * intensity;
}

bool cieD(miColor& result, miState* state, Temperature& p) {
    const Parameters in(state);
    result = shown(daylight(static_cast<double>(in.within(p.temperature, 4000, 25000))),
                   in.within(p.intensity, 0, miHUGE_SCALAR));
    return true;
}

bool blackbodyColor(miColor& result, miState* state, Temperature& p) {
    const Parameters in(state);
    result = shown(blackbody(static_cast<double>(in.within(p.temperature, 1667, 25000))),
                   in.within(p.intensity, 0, miHUGE_SCALAR));
    return true;
}

}  // namespace

MATERIALS_SHADER(mib_cie_d, miColor, Temperature, cieD)
MATERIALS_SHADER(mib_blackbody, miColor, Temperature, blackbodyColor)

}  // namespace materials
