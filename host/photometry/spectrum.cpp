#include "photometry/spectrum.h"

#include <cmath>
#include <iterator>

namespace lumorender {

namespace {

/// Source: Wyman, Sloan and Shirley, "Simple Analytic Approximations to the CIE XYZ Color Matching Functions", JCGT 2(2),
/// 2013.
Imath::V3d matching(double nanometers) {
    const auto lobe = [&](double middle, double below, double above) {
        const double t = (nanometers - middle) / (nanometers < middle ? below : above);
        return std::exp(-.5 * t * t);
    };
    return {1.056 * lobe(599.8, 37.9, 31.0) + .362 * lobe(442.0, 16.0, 26.7) - .065 * lobe(501.1, 20.4, 26.2),
            .821 * lobe(568.8, 46.9, 40.5) + .286 * lobe(530.9, 16.3, 31.1),
            1.217 * lobe(437.0, 11.8, 36.0) + .681 * lobe(459.0, 26.0, 13.8)};
}

double valueAt(const Spectrum& spectrum, double nanometers) {
    const auto above = spectrum.values.lower_bound(nanometers);
    if (above == spectrum.values.end()) return 0;
    if (above->first == nanometers) return above->second;
    if (above == spectrum.values.begin()) return 0;
    const auto& [from, low] = *std::prev(above);
    return low + (above->second - low) * (nanometers - from) / (above->first - from);
}

}  // namespace

miColor colorOfSpectrum(const Spectrum& spectrum, const ColorSpace& space) {
    constexpr int kFirst = 380, kLast = 780;
    Imath::V3d sum(0, 0, 0);
    double whole = 0;
    for (int nanometers = kFirst; nanometers <= kLast; ++nanometers) {
        const Imath::V3d weight = matching(nanometers);
        sum += weight * valueAt(spectrum, nanometers);
        whole += weight.y;
    }
    const Imath::V3d color = sum / whole * space.toXyz.inverse();
    return {static_cast<float>(color.x), static_cast<float>(color.y), static_cast<float>(color.z), 1};
}

}  // namespace lumorender
