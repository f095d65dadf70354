#include "photometry/color_space.h"

#include <cctype>
#include <cmath>
#include <string>

namespace lumorender {

namespace {

using Imath::M33d;
using Imath::V2d;
using Imath::V3d;

V3d xyzOf(const V2d& chromaticity) {
    return {chromaticity.x / chromaticity.y, 1, (1 - chromaticity.x - chromaticity.y) / chromaticity.y};
}

void setRow(M33d& matrix, int row, const V3d& values) {
    for (int column = 0; column < 3; ++column) matrix[row][column] = values[column];
}

constexpr V2d kD65 = {.3127, .3290}, kD50 = {.3457, .3585}, kC = {.3101, .3162}, kE = {1. / 3, 1. / 3};

struct KnownSpace {
    std::string_view name;  ///< small letters and digits only
    V2d primaries[3];
    V2d white;
    double gamma;
};

// Sources: IEC 61966-2-1 (sRGB), ITU-R BT.709 and BT.2020, Adobe RGB (1998), ISO 22028-2 (ProPhoto), SMPTE ST 2065 and the
// ACES documents; the others as in Pascale, "A Review of RGB Color Spaces", 2003.
constexpr KnownSpace kKnown[] = {
    {"srgb", {{.64, .33}, {.30, .60}, {.15, .06}}, kD65, 0},
    {"linearsrgb", {{.64, .33}, {.30, .60}, {.15, .06}}, kD65, 1},
    {"rec709", {{.64, .33}, {.30, .60}, {.15, .06}}, kD65, 1},
    {"rec2020", {{.708, .292}, {.170, .797}, {.131, .046}}, kD65, 1},
    {"adobergb", {{.64, .33}, {.21, .71}, {.15, .06}}, kD65, 2.19921875},
    {"adobergb1998", {{.64, .33}, {.21, .71}, {.15, .06}}, kD65, 2.19921875},
    {"applergb", {{.625, .34}, {.28, .595}, {.155, .07}}, kD65, 1.8},
    {"ntsc", {{.67, .33}, {.21, .71}, {.14, .08}}, kC, 2.2},
    {"pal", {{.64, .33}, {.29, .60}, {.15, .06}}, kD65, 2.2},
    {"ciergb", {{.7347, .2653}, {.2738, .7174}, {.1666, .0089}}, kE, 2.2},
    {"prophotorgb", {{.7347, .2653}, {.1596, .8404}, {.0366, .0001}}, kD50, 1.8},
    {"widegamutrgb", {{.7347, .2653}, {.1152, .8264}, {.1566, .0177}}, kD50, 2.2},
    {"acescg", {{.713, .293}, {.165, .830}, {.128, .044}}, {.32168, .33767}, 1},
};

/// Cone responses of XYZ, for row vectors.
const M33d kBradford(.8951, -.7502, .0389, .2664, 1.7135, -.0685, -.1614, .0367, 1.0296);

M33d adaptation(const V3d& from, const V3d& to) {
    const V3d a = from * kBradford, b = to * kBradford;
    M33d scale;
    for (int c = 0; c < 3; ++c) scale[c][c] = a[c] != 0 ? b[c] / a[c] : 1;
    return kBradford * scale * kBradford.inverse();
}

double linear(double value, const ColorSpace& space) {
    const double size = std::abs(value);
    if (space.hasToe) return std::copysign(size <= .04045 ? size / 12.92 : std::pow((size + .055) / 1.055, 2.4), value);
    return space.gamma == 1 ? value : std::copysign(std::pow(size, space.gamma), value);
}

}  // namespace

ColorSpace ColorSpace::ofPrimaries(const V2d (&primaries)[3], const V2d& white, double gamma) {
    ColorSpace space;
    space.white = xyzOf(white);
    space.gamma = gamma;
    for (int row = 0; row < 3; ++row) setRow(space.toXyz, row, xyzOf(primaries[row]));
    // As much of each as together makes white.
    const V3d shares = space.white * space.toXyz.inverse();
    for (int row = 0; row < 3; ++row)
        for (int column = 0; column < 3; ++column) space.toXyz[row][column] *= shares[row];
    return space;
}

ColorSpace ColorSpace::usual() { return *named("linear sRGB"); }

std::optional<ColorSpace> ColorSpace::named(std::string_view name) {
    std::string plain;
    for (const char c : name)
        if (std::isalnum(static_cast<unsigned char>(c)))
            plain += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (plain == "xyz" || plain == "ciexyz") return ColorSpace{M33d(), {1, 1, 1}, 1, false};
    for (const KnownSpace& known : kKnown) {
        if (plain != known.name) continue;
        ColorSpace space = ofPrimaries(known.primaries, known.white, known.gamma);
        space.hasToe = known.gamma == 0;
        return space;
    }
    return std::nullopt;
}

ColorConversion::ColorConversion(const ColorSpace& from, const ColorSpace& to)
    : from_(from), matrix_(from.toXyz * adaptation(from.white, to.white) * to.toXyz.inverse()) {}

miColor ColorConversion::operator()(const miColor& color) const {
    const V3d from(linear(static_cast<double>(color.r), from_), linear(static_cast<double>(color.g), from_),
                   linear(static_cast<double>(color.b), from_));
    const V3d to = from * matrix_;
    return {static_cast<float>(to.x), static_cast<float>(to.y), static_cast<float>(to.z), color.a};
}

ColorSpace ColorProfile::space() const {
    ColorSpace made = name.empty() ? ColorSpace::usual() : *ColorSpace::named(name);
    if (transform.size() == 9) {
        for (int i = 0; i < 9; ++i)
            made.toXyz[i / 3][i % 3] = static_cast<double>(transform[static_cast<std::size_t>(i)]);
        made.white = V3d(1, 1, 1) * made.toXyz;
    }
    const auto number = [this](std::size_t i) { return static_cast<double>(white[i]); };
    if (white.size() == 3) made.white = {number(0), number(1), number(2)};
    if (white.size() == 2) made.white = xyzOf({number(0), number(1)});
    if (gamma > 0) {
        made.gamma = static_cast<double>(gamma);
        made.hasToe = false;
    }
    return made;
}

ColorSpace spaceOfProfile(const Database& database, miTag profile) {
    const auto* detail = database.detail<ColorProfile>(profile);
    return detail ? detail->space() : ColorSpace::usual();
}

}  // namespace lumorender
