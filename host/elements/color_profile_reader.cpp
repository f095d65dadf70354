// Reads `colorprofile` and `spectrum`.
#include "elements/element_readers.h"
#include "parsing/statements.h"
#include "photometry/spectrum.h"

#include <fmt/format.h>

#include <cmath>

namespace lumorender {

namespace {

struct ColorProfileReader {
    SceneContext& scene;
    Cursor& in;
    ColorProfile profile = {};

    /// A name of a space may stand alone.
    bool readOther() {
        if (!in.atString()) return false;
        readSpace();
        return true;
    }

    void readSpace() {
        const Place place = in.place();
        const std::string name(in.readName("the name of a color space"));
        if (ColorSpace::named(name))
            profile.name = name;
        else
            scene.problems.error(place, fmt::format("found color space \"{}\", expected one like sRGB, Adobe RGB, "
                                                    "Rec 2020, ProPhoto RGB, ACEScg or XYZ",
                                                    name));
    }

    void readTransform() {
        constexpr double kFlat = 1e-9;
        const Place place = in.place();
        profile.transform.resize(9);
        in.readFloats(profile.transform.data(), 9);
        if (!(std::abs(profile.space().toXyz.determinant()) > kFlat))
            throw SyntaxError{place, "the transform leads to no color space: it has no inverse"};
    }

    void readWhite() {
        const Place place = in.place();
        profile.white = in.readFloats(3);
        if (profile.white.size() < 2) in.fail("two or three numbers of a white");
        if (!(profile.white[1] > 0))
            throw SyntaxError{place, "found a white without light, expected one whose second number is above 0"};
    }

    void readGamma() {
        profile.gamma = in.readFloat();
        if (!(profile.gamma > 0)) in.fail("a gamma above 0 before this");
    }

    void read();
};

using Reader = ColorProfileReader;

const StatementTable<Reader>& statements() {
    static const StatementTable<Reader> table = {
        {"color",
         [](Reader& r) {
             r.in.expect("space");
             r.readSpace();
         }},
        {"space", [](Reader& r) { r.readSpace(); }},
        {"transform", [](Reader& r) { r.readTransform(); }},
        {"white", [](Reader& r) { r.readWhite(); }},
        {"gamma", [](Reader& r) { r.readGamma(); }},
    };
    return table;
}

void ColorProfileReader::read() {
    const std::string name = scene.readNewName("the name of the color profile");
    if (const miTag former = scene.edited(name, miSCENE_COLORPROFILE, "color profile"))
        if (const auto* stored = scene.database.detail<ColorProfile>(former)) profile = *stored;
    readStatements(*this, statements(), "colorprofile");
    scene.storeBytes(name, miSCENE_COLORPROFILE, nullptr, 16, std::make_unique<ColorProfile>(std::move(profile)));
}

}  // namespace

void readColorProfile(SceneContext& scene) { ColorProfileReader{scene, scene.in}.read(); }

void readSpectrum(SceneContext& scene) {
    Cursor& in = scene.in;
    const std::string name = scene.readNewName("the name of the spectrum");
    auto spectrum = std::make_unique<Spectrum>();
    while (!in.acceptEnd("spectrum")) {
        if (in.accept(',')) continue;
        const Place place = in.place();
        const double nanometers = static_cast<double>(in.readFloat()), value = static_cast<double>(in.readFloat());
        if (!(nanometers > 0) || !std::isfinite(value))
            throw SyntaxError{
                place, fmt::format("found {} at {} nm, expected a number at a wavelength above 0", value, nanometers)};
        spectrum->values[nanometers] = value;
    }
    const SpectrumRecord record{colorOfSpectrum(*spectrum, spaceOfProfile(scene.database, scene.renderProfile))};
    scene.store(name, miSCENE_SPECTRUM, record, std::move(spectrum));
}

}  // namespace lumorender
