// Colors of spectra.
#pragma once

#include "photometry/color_space.h"

#include <map>

namespace lumorender {

/// Of a miSCENE_SPECTRUM.
struct Spectrum : Detail {
    std::map<double, double> values;  ///< by wavelength in nanometers; straight in between, nothing outside
};

/// What shaders find in the record of a spectrum.
struct SpectrumRecord {
    miColor color;  ///< linear, in the space that the scene is rendered in
};

/// As linear color of the space. The luminance of a spectrum that is 1 everywhere is 1. Colors that the space does not
/// have have numbers below 0.
miColor colorOfSpectrum(const Spectrum& spectrum, const ColorSpace& space);

}  // namespace lumorender
