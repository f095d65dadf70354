// Reads `light`.
#include "mi/records.h"
#include "elements/element_readers.h"
#include "parameters/shader_calls.h"
#include "parsing/statements.h"
#include "photometry/spectrum.h"
#include "parameters/user_data.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace lumorender {

namespace {

constexpr int kMostAreaSamples = 10000;

struct LightReader {
    SceneContext& scene;
    Cursor& in;
    miLight light = {};
    Detail detail = {};
    bool shaderSeen = false;
    bool hasOrigin = false, hasDirection = false, hasSpread = false;

    void setDefaults() {
        light.exponent = 2;
        light.samples_u = light.samples_v = 3;
        light.low_samples_u = light.low_samples_v = 2;
        light.low_level = 3;
        light.shadowmap_resolution = 256;
        light.shadowmap_samples = 1;
    }

    /// Which statements the light had before an incremental edit can be told from its type.
    void loadFormer(const miLight& former) {
        hasOrigin = former.type != miLIGHT_DIRECTION || former.dirlight_has_org;
        hasDirection = former.type != miLIGHT_ORIGIN;
        hasSpread = former.type == miLIGHT_SPOT || former.spread != 0;
    }

    bool readOther() {
        if (!atShader(in)) return false;
        const miTag added = readShaderList(scene);
        light.shader = shaderSeen ? joinShaders(scene, light.shader, added) : added;
        shaderSeen = true;
        return true;
    }

    void readDirection() {
        const miVector d = in.readVector();
        const double length = std::hypot(double{d.x}, double{d.y}, double{d.z});
        if (!(length > 0) || !std::isfinite(length)) {
            scene.problems.warning(in.place(), "the direction of the light has no length, it stays as it was");
            return;
        }
        hasDirection = true;
        // What has unit length but for rounding stays as it is: dividing would only stir its last bits.
        constexpr double kRounding = 1e-6;
        const bool isUnit = std::abs(length - 1) < kRounding;
        const auto part = [length](float x) { return static_cast<float>(x / length); };
        light.direction = isUnit ? d : miVector{part(d.x), part(d.y), part(d.z)};
    }

    void readProfile() {
        light.lightprofile = scene.readReference({miSCENE_LIGHTPROFILE}, "a light profile");
        light.use_lprof = light.lightprofile != miNULLTAG;
    }

    void readEnergy() {
        if (!in.accept("spectrum")) {
            light.energy = in.readColor(1);
            light.emitter_spectrum = miNULLTAG;
            return;
        }
        light.emitter_spectrum = scene.readReference({miSCENE_SPECTRUM}, "a spectrum");
        if (const auto* spectrum = scene.database.as<SpectrumRecord>(light.emitter_spectrum, miSCENE_SPECTRUM))
            light.energy = spectrum->color;
    }

    void readPhotons(miUint& store, miUint& emit) {
        in.expect("photons");
        store = static_cast<miUint>(in.readInteger());
        if (in.atInteger()) emit = static_cast<miUint>(in.readInteger());
    }

    short readCount() { return static_cast<short>(in.readInteger(0, kMostAreaSamples)); }

    /// Shaders see the number of a sample in 16 bits, and no picture needs so many.
    void bound(short& u, short& v) const {
        constexpr int kMost = 65536;
        const int wanted = std::max<int>(u, 1) * std::max<int>(v, 1);
        if (wanted <= kMost) return;
        const double factor = std::sqrt(static_cast<double>(kMost) / wanted);
        const std::string before = fmt::format("{} x {}", u, v);
        const auto less = [factor](short n) { return static_cast<short>(std::max(std::floor(n * factor), 1.0)); };
        u = less(u);
        v = less(v);
        scene.problems.warning(
            in.place(), fmt::format("{} samples of a light are more than {}; {} x {} are taken", before, kMost, u, v));
    }

    /// `[u [v [level [lu lv]]]]`
    void readAreaSamples() {
        if (!in.atInteger()) return;
        light.samples_u = readCount();
        light.samples_v = in.atInteger() ? readCount() : short{1};
        bound(light.samples_u, light.samples_v);
        if (in.atInteger()) light.low_level = readCount();
        if (!in.atInteger()) return;
        light.low_samples_u = readCount();
        light.low_samples_v = in.atInteger() ? readCount() : short{1};
        bound(light.low_samples_u, light.low_samples_v);
    }

    /// The bare keyword switches the area off. Of a former shape nothing stays.
    bool begins(miLight_area area) {
        light.primitive = {};
        const bool given = area == miLIGHT_OBJECT ? in.atString() : in.atVector();
        light.area = given ? area : miLIGHT_NONE;
        return given;
    }

    void readRectangle() {
        if (!begins(miLIGHT_RECTANGLE)) return;
        light.primitive.rectangle.edge_u = in.readVector();
        light.primitive.rectangle.edge_v = in.readVector();
        readAreaSamples();
    }

    void readDisc() {
        if (!begins(miLIGHT_DISC)) return;
        light.primitive.disc.normal = in.readVector();
        light.primitive.disc.radius = in.readFloat();
        readAreaSamples();
    }

    void readSphere() {
        if (!begins(miLIGHT_SPHERE)) return;
        light.primitive.sphere.radius = in.readFloat();
        readAreaSamples();
    }

    void readCylinder() {
        if (!begins(miLIGHT_CYLINDER)) return;
        light.primitive.cylinder.axis = in.readVector();
        light.primitive.cylinder.radius = in.readFloat();
        readAreaSamples();
    }

    void readObjectShape() {
        if (!begins(miLIGHT_OBJECT)) return;
        light.primitive.object.object = scene.readReference({miSCENE_INSTANCE, miSCENE_OBJECT}, "an object's instance");
        readAreaSamples();
    }

    void readUserShape() {
        light.primitive = {};
        light.area = miLIGHT_USER;
        readAreaSamples();
    }

    void readShadowmap();

    /// The statements that are present make the type.
    void setType() {
        light.dirlight_has_org = hasDirection && hasOrigin && !hasSpread;
        light.type = !hasDirection ? miLIGHT_ORIGIN : hasOrigin && hasSpread ? miLIGHT_SPOT : miLIGHT_DIRECTION;
    }

    void read();
};

using Reader = LightReader;

const StatementTable<Reader>& statements() {
    // clang-format off
    static const StatementTable<Reader> table = {
        {"origin", [](Reader& r) { r.light.origin = r.in.readVector(); r.hasOrigin = true; }},
        {"direction", [](Reader& r) { r.readDirection(); }},
        {"spread", [](Reader& r) { r.light.spread = r.in.readFloat(); r.hasSpread = true; }},
        {"energy", [](Reader& r) { r.readEnergy(); }},
        {"exponent", [](Reader& r) { r.light.exponent = r.in.readFloat(); }},
        {"emitter", [](Reader& r) { r.light.emitter = readShaderList(r.scene); }},
        {"caustic", [](Reader& r) { r.readPhotons(r.light.caustic_store_photons, r.light.caustic_emit); }},
        {"globillum", [](Reader& r) { r.readPhotons(r.light.global_store_photons, r.light.global_emit); }},
        {"photons", [](Reader& r) { r.in.expect("only"); r.light.photons_only = r.in.readFlag(); }},
        {"visible", [](Reader& r) { r.light.visible = r.in.readFlag(); }},
        {"tag", [](Reader& r) { r.light.label = static_cast<miUint>(r.in.readInteger()); }},
        {"lightprofile", [](Reader& r) { r.readProfile(); }},
        {"rectangle", [](Reader& r) { r.readRectangle(); }},
        {"disc", [](Reader& r) { r.readDisc(); }},
        {"sphere", [](Reader& r) { r.readSphere(); }},
        {"cylinder", [](Reader& r) { r.readCylinder(); }},
        {"object", [](Reader& r) { r.readObjectShape(); }},
        {"user", [](Reader& r) { r.readUserShape(); }},
        {"shadowmap", [](Reader& r) { r.readShadowmap(); }},
        {"data", [](Reader& r) { readDataStatement(r.scene, r.light.userdata); }},
        {"attribute", [](Reader& r) { readAttribute(r.scene, r.detail); }},
    };
    // clang-format on
    return table;
}

const StatementTable<Reader>& shadowmapStatements() {
    // clang-format off
    static const StatementTable<Reader> table = {
        {"detail", [](Reader& r) {
            r.light.shmap.type = 1;
            if (r.in.accept("samples")) r.light.shmap.samples = r.readCount();
        }},
        {"resolution", [](Reader& r) { r.light.shadowmap_resolution = r.in.readInteger(); }},
        {"softness", [](Reader& r) { r.light.shadowmap_softness = r.in.readFloat(); }},
        {"samples", [](Reader& r) { r.light.shadowmap_samples = r.in.readInteger(); }},
        {"bias", [](Reader& r) { r.light.shadowmap_bias = r.in.readFloat(); }},
        {"accuracy", [](Reader& r) { r.light.shmap.accuracy = r.in.readFloat(); }},
        {"color", [](Reader&) {}},
        {"alpha", [](Reader&) {}},
        {"filter", [](Reader& r) {
            r.light.shmap.filter = static_cast<miUint1>(r.in.readName("a filter").substr(0, 1).empty() ? 0 : 1);
            if (r.in.atNumber()) r.light.shmap.filter_u = r.light.shmap.filter_v = r.in.readFloat();
            if (r.in.atNumber()) r.light.shmap.filter_v = r.in.readFloat();
        }},
        {"file", [](Reader& r) { r.light.shadowmap_file = r.scene.database.addString(r.scene.readFileName()); }},
        {"camera", [](Reader& r) {
            r.light.shmap.camera = r.scene.readReference({miSCENE_CAMERA, miSCENE_INSTANCE}, "a camera");
        }},
        {"merge", [](Reader& r) { r.in.readBoolean(); }},
        {"trace", [](Reader& r) { r.in.readBoolean(); }},
        {"window", [](Reader& r) { r.in.readFloats(4); }},
    };
    // clang-format on
    return table;
}

/// `shadowmap on`, or one of its settings; several may follow one `shadowmap` word.
void LightReader::readShadowmap() {
    auto read = shadowmapStatements().find(in.current());
    if (!read) light.use_shadow_maps = in.readFlag();
    while ((read = shadowmapStatements().find(in.current()))) {
        in.advance();
        read(*this);
    }
}

void LightReader::read() {
    const std::string name = scene.readNewName("the name of the light");
    setDefaults();
    if (const miTag former = scene.edited(name, miSCENE_LIGHT, "light")) {
        loadFormer(*scene.database.as<miLight>(former, miSCENE_LIGHT));
        scene.loadEdited(former, miSCENE_LIGHT, light, detail);
    }
    readStatements(*this, statements(), "light");
    setType();
    scene.store(name, miSCENE_LIGHT, light, std::make_unique<Detail>(detail));
}

}  // namespace

void readLight(SceneContext& scene) { LightReader{scene, scene.in}.read(); }

}  // namespace lumorender
