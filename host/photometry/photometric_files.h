// Readers of the two formats in which makers of luminaires hand out their measurements.
#pragma once

#include "photometry/light_distribution.h"

#include <filesystem>
#include <string_view>

namespace lumorender {

enum class PhotometricFormat { Ies, Eulumdat };

/// LM-63 of 1986 to 2002: intensities in candela, multiplier and ballast factors applied. Tilt factors are not: they
/// tell how a lamp behaves in a tilted luminaire.
PhotometricData readIes(std::string_view text);

/// Eulumdat: intensities per 1000 lumens of the lamps, turned into candela with the flux of the first set of lamps.
PhotometricData readEulumdat(std::string_view text);

/// Reads a file. All readers throw PhotometricError where the text is not what the format asks for.
LightDistribution readPhotometricFile(const std::filesystem::path& file, PhotometricFormat format, Curve curve);

}  // namespace lumorender
