// Reads `lightprofile` and the file that it names.
#include "photometry/light_profile.h"
#include "photometry/photometric_text.h"
#include "elements/element_readers.h"
#include "parsing/statements.h"
#include "support/files.h"

#include <fmt/format.h>

namespace lumorender {

namespace {

constexpr int kMostSteps = 1024;

struct LightProfileReader {
    SceneContext& scene;
    Cursor& in;
    LightProfile profile = {};
    Place filePlace = {};

    bool readOther() { return false; }

    void readFormat() {
        if (in.accept("ies"))
            profile.format = PhotometricFormat::Ies;
        else if (in.accept("eulumdat"))
            profile.format = PhotometricFormat::Eulumdat;
        else
            in.fail("ies or eulumdat");
    }

    void readFile() {
        filePlace = in.place();
        profile.file = scene.locate(scene.readFileName(), scene.settings.texturePath).string();
    }

    /// The degree of the curve between the measured angles.
    void readHermite() { profile.curve = in.readInteger(0, 3) > 1 ? Curve::Smooth : Curve::Straight; }

    void readResolution() {
        profile.horizontalSteps = in.readInteger(0, kMostSteps);
        profile.verticalSteps = in.readInteger(0, kMostSteps);
    }

    PhotometricFormat format() const {
        if (profile.format) return *profile.format;
        return endingOf(profile.file) == ".ldt" ? PhotometricFormat::Eulumdat : PhotometricFormat::Ies;
    }

    /// A profile with a broken file stays known by its name, so that its users are not reported too.
    void load() {
        profile.distribution.reset();
        if (!scene.settings.filesAllowed) return scene.problems.error(filePlace, "light profiles may not be read here");
        try {
            auto distribution =
                std::make_shared<LightDistribution>(readPhotometricFile(profile.file, format(), profile.curve));
            distribution->resample(profile.horizontalSteps, profile.verticalSteps);
            profile.distribution = std::move(distribution);
        } catch (const PhotometricError& problem) {
            const std::string ending = endingOf(profile.file);
            if (problem.line > 0 && ending != ".ies" && ending != ".ldt")
                return scene.problems.error(
                    filePlace, fmt::format("light profile {}: it is none; nothing of it is shown because its name does "
                                           "not end in .ies or .ldt",
                                           profile.file));
            const std::string line = problem.line > 0 ? fmt::format(":{}", problem.line) : "";
            scene.problems.error(filePlace, fmt::format("light profile {}{}: {}", profile.file, line, problem.text));
        }
    }

    void read();
};

using Reader = LightProfileReader;

const StatementTable<Reader>& statements() {
    static const StatementTable<Reader> table = {
        {"format", [](Reader& r) { r.readFormat(); }},
        {"flags", [](Reader& r) { r.in.readInteger(); }},
        {"file", [](Reader& r) { r.readFile(); }},
        {"hermite", [](Reader& r) { r.readHermite(); }},
        {"resolution", [](Reader& r) { r.readResolution(); }},
    };
    return table;
}

void LightProfileReader::read() {
    filePlace = in.place();
    const std::string name = scene.readNewName("the name of the light profile");
    if (const miTag former = scene.edited(name, miSCENE_LIGHTPROFILE, "light profile"))
        if (const auto* stored = scene.database.detail<LightProfile>(former)) profile = *stored;
    readStatements(*this, statements(), "lightprofile");
    if (profile.file.empty())
        scene.problems.error(filePlace,
                             fmt::format("light profile \"{}\": found no file, expected file \"name\"", name));
    else
        load();
    const LightProfileRecord record{profile.distribution.get(), nullptr};
    scene.store(name, miSCENE_LIGHTPROFILE, record, std::make_unique<LightProfile>(std::move(profile)));
}

}  // namespace

void readLightProfile(SceneContext& scene) { LightProfileReader{scene, scene.in}.read(); }

}  // namespace lumorender
