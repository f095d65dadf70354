// Color spaces by their primaries, and colors from one to another.
#pragma once

#include "database/database.h"

#include <ImathMatrix.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lumorender {

/// How the three numbers of a color become CIE XYZ.
struct ColorSpace {
    Imath::M33d toXyz;                        ///< of linear numbers; its rows are XYZ of red, green and blue
    Imath::V3d white = {.95047, 1, 1.08883};  ///< XYZ of what looks white in it: D65
    double gamma = 1;                         ///< numbers to this power are linear
    bool hasToe = false;                      ///< sRGB's curve instead: a straight piece below its power of 2.4

    /// From chromaticities of red, green, blue and white, which have x and y.
    static ColorSpace ofPrimaries(const Imath::V2d (&primaries)[3], const Imath::V2d& white, double gamma);
    /// The one that colors are in where nobody says otherwise: that of sRGB, linear.
    static ColorSpace usual();
    /// By a name such as "sRGB", "Adobe RGB" or "ACEScg"; capitals, blanks and dashes do not matter.
    static std::optional<ColorSpace> named(std::string_view name);
};

/// Of a miSCENE_COLORPROFILE: what the scene says of it. What it says nothing of is that of the usual space.
struct ColorProfile : Detail {
    std::string name;              ///< of a space that is known; empty = none
    std::vector<float> transform;  ///< nine numbers, the rows of ColorSpace::toXyz; their sum is white
    std::vector<float> white;      ///< X Y Z, or the chromaticity x y
    float gamma = 0;               ///< 0 = not given

    ColorSpace space() const;
};

/// Colors of one space as linear colors of another. White becomes white (Bradford's adaptation; Lam, "Metamerism and
/// Colour Constancy", 1985). Alpha stays.
class ColorConversion {
public:
    ColorConversion(const ColorSpace& from, const ColorSpace& to);
    miColor operator()(const miColor& color) const;
    /// Of linear colors: rows for red, green and blue.
    const Imath::M33d& matrix() const { return matrix_; }

private:
    ColorSpace from_;
    Imath::M33d matrix_;
};

/// The space of a profile element, or the usual one where the tag names none.
ColorSpace spaceOfProfile(const Database& database, miTag profile);

}  // namespace lumorender
