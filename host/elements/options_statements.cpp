// The statements of `options` by their first word, and those that concern indirect light.
#include "elements/object_flags.h"
#include "elements/options_reader.h"
#include "elements/element_readers.h"
#include "parameters/user_data.h"

#include <algorithm>

namespace lumorender {

namespace {

using Reader = OptionsReader;

/// Global switches are kept as their opposite.
miCBoolean readSwitchedOff(Reader& r) { return !r.in.readBoolean(); }

void skipWords(Reader& r) {
    while (!r.in.atEnd() && !r.in.at("end") && !optionStatements().find(r.in.current()) && !r.in.atString())
        r.in.skipGroup();
}

/// The kinds of acceleration are statements of their own as well.
void skipAcceleration(Reader& r) {
    r.in.accept("large");
    r.in.readName("the kind of acceleration");
}

void skipDiagnostic(Reader& r) {
    const Place place = r.in.place();
    if (r.in.accept("off")) return;
    r.in.readName("the kind of diagnostic");
    if (!r.in.at("off")) r.scene.problems.tell(place, "options", "diagnostic", "on");
    if (!r.in.accept("object")) r.in.accept("camera");
    skipWords(r);
}

}  // namespace

const StatementTable<OptionsReader>& optionStatements() {
    // clang-format off
    static const StatementTable<OptionsReader> table = {
        {"samples", [](Reader& r) { r.readSamples(); }},
        {"shading", [](Reader& r) { r.in.expect("samples"); r.options.rast_shading_samples = r.in.readFloat(); }},
        {"contrast", [](Reader& r) { r.readContrast(r.options.contrast); }},
        {"time", [](Reader& r) { r.in.expect("contrast"); r.readContrast(r.options.time_contrast); }},
        {"filter", [](Reader& r) { r.readFilter(); }},
        {"jitter", [](Reader& r) { r.options.jitter = r.in.readFloat(); }},
        {"trace", [](Reader& r) { r.readTrace(); }},
        {"scanline", [](Reader& r) { r.readScanline(); }},
        {"photon", [](Reader& r) { r.readPhoton(); }},
        {"shadow", [](Reader& r) { r.readShadow(); }},
        {"shadowmap", [](Reader& r) { r.readShadowmap(); }},
        {"face", [](Reader& r) { r.options.face = readFaceSide(r.in); }},
        {"field", [](Reader& r) { skipWords(r); }},
        {"samplelock", [](Reader& r) { r.options.samplelock = r.in.readBoolean(); }},
        {"shutter", [](Reader& r) { r.readShutter(); }},
        {"motion", [](Reader& r) { r.readMotion(); }},
        {"task", [](Reader& r) { r.in.expect("size"); r.options.task_size = r.in.readInteger(0, 1 << 20); }},
        {"acceleration", [](Reader& r) { skipAcceleration(r); }},
        {"bsp", [](Reader& r) { r.readBsp(); }},
        {"grid", [](Reader& r) { skipWords(r); }},
        {"object", [](Reader& r) { r.readSpace('o'); }},
        {"camera", [](Reader& r) { r.readSpace('c'); }},
        {"mixed", [](Reader& r) { r.readSpace('o'); }},
        {"lens", [](Reader& r) { r.options.no_lens = readSwitchedOff(r); }},
        {"volume", [](Reader& r) { r.options.no_volume = readSwitchedOff(r); }},
        {"geometry", [](Reader& r) { r.options.no_geometry = readSwitchedOff(r); }},
        {"displace", [](Reader& r) { r.readDisplace(); }},
        {"output", [](Reader& r) { r.options.no_output = readSwitchedOff(r); }},
        {"merge", [](Reader& r) { r.options.no_merge = readSwitchedOff(r); }},
        {"hair", [](Reader& r) { r.options.no_hair = readSwitchedOff(r); }},
        {"pass", [](Reader& r) { r.options.no_pass = readSwitchedOff(r); }},
        {"autovolume", [](Reader& r) { r.options.autovolume = r.in.readBoolean(); }},
        {"lightmap", [](Reader& r) { r.readLightmap(); }},
        {"colorclip", [](Reader& r) { r.readColorclip(); }},
        {"desaturate", [](Reader& r) { r.options.desaturate = r.in.readBoolean(); }},
        {"premultiply", [](Reader& r) { r.options.nopremult = !r.in.readBoolean(); }},
        {"dither", [](Reader& r) { r.options.dither = r.in.readBoolean(); }},
        {"gamma", [](Reader& r) { r.options.gamma = r.in.readFloat(); }},
        {"caustic", [](Reader& r) { r.readCaustic(); }},
        {"globillum", [](Reader& r) { r.readGlobillum(); }},
        {"photonvol", [](Reader& r) { r.readPhotonVolume(); }},
        {"photonmap", [](Reader& r) { r.readPhotonmap(); }},
        {"finalgather", [](Reader& r) { r.readFinalgather(); }},
        {"approximate",
         [](Reader& r) { readApproximation(r.scene, r.detail.approximation, ApproximationNames::None); }},
        {"max", [](Reader& r) { r.in.expect("displace"); r.options.maxdisplace = r.in.readFloat(); }},
        {"frame", [](Reader& r) { r.readFrameBuffer(); }},
        {"state", [](Reader& r) { r.readStateShaders(); }},
        {"contour", [](Reader& r) { r.readContour(); }},
        {"inheritance", [](Reader& r) { r.readInheritance(false); }},
        {"traversal", [](Reader& r) { r.readInheritance(true); }},
        {"luminance", [](Reader& r) { r.readLuminance(); }},
        {"diagnostic", [](Reader& r) { skipDiagnostic(r); }},
        {"colorprofile", [](Reader& r) { r.readColorProfile(); }},
        {"hardware", [](Reader& r) { skipWords(r); }},
        {"data", [](Reader& r) { readDataStatement(r.scene, r.options.userdata); }},
        {"attribute", [](Reader& r) { readOptionAttribute(r.scene, r.strings); }},
    };
    // clang-format on
    return table;
}

void OptionsReader::readBsp() {
    if (in.accept("size"))
        options.space_max_size = in.readInteger();
    else if (in.accept("depth"))
        options.space_max_depth = in.readInteger();
    else if (in.accept("memory"))
        options.space_max_mem = in.readInteger();
    else if (in.accept("shadow"))
        options.space_shadow_separate = in.readBoolean();
    else
        in.fail("size, depth, memory or shadow");
}

void OptionsReader::readShadowmap() {
    constexpr char kMapsOnly = static_cast<char>(0x80);
    if (in.atBoolean())
        options.use_shadow_maps = in.readBoolean();
    else if (in.accept("opengl"))
        options.use_shadow_maps = 'o';
    else if (in.accept("detail"))
        options.use_shadow_maps = 1;
    else if (in.accept("only"))
        options.use_shadow_maps = static_cast<char>(1 | kMapsOnly);
    else if (in.accept("rebuild"))
        options.recompute_shadow_maps = in.accept("merge") ? 'm' : in.readBoolean() ? 'y' : 'n';
    else if (in.accept("motion"))
        options.shadow_map_motion = in.readBoolean();
    else if (in.accept("bias"))
        options.shadowmap_bias = in.readFloat();
    else if (in.accept("trace") || in.accept("window"))
        in.readBoolean();
    else
        in.fail("a shadow map setting");
}

void OptionsReader::readDisplace() {
    if (in.accept("presample"))
        options.no_predisplace = !in.readBoolean();
    else
        options.no_displace = !in.readBoolean();
}

void OptionsReader::readLightmap() { options.lightmap = in.accept("only") ? 2 : in.readBoolean(); }

void OptionsReader::readColorclip() {
    if (in.accept("rgb"))
        options.colorclip = 0;
    else if (in.accept("alpha"))
        options.colorclip = 1;
    else if (in.accept("raw"))
        options.colorclip = 2;
    else
        in.fail("rgb, alpha or raw");
}

void OptionsReader::readAccuracy(int& count, float& radius) {
    count = in.readInteger();
    if (in.atNumber()) radius = in.readFloat();
}

void OptionsReader::readPhotonSwitch(miBoolean& enabled, miUint1& bits) {
    if (!in.atInteger()) {
        enabled = in.readBoolean();
        return;
    }
    bits = static_cast<miUint1>(in.readInteger(0, 15));
    enabled = bits != 0;
}

void OptionsReader::readCaustic() {
    if (in.accept("accuracy")) return readAccuracy(options.caustic_accuracy, options.caustic_radius);
    if (in.accept("scale")) {
        options.caustic_scale = in.readColor(1);
    } else if (in.accept("filter")) {
        options.caustic_filter = in.accept("box") ? 'b' : in.accept("cone") ? 'c' : 'g';
        if (options.caustic_filter == 'g') in.expect("gauss");
        if (in.atNumber()) options.caustic_filter_const = in.readFloat();
    } else {
        readPhotonSwitch(options.caustic, options.caustic_flag);
    }
}

void OptionsReader::readGlobillum() {
    if (in.accept("accuracy")) return readAccuracy(options.globillum_accuracy, options.globillum_radius);
    if (in.accept("scale"))
        options.globillum_scale = in.readColor(1);
    else
        readPhotonSwitch(options.globillum, options.globillum_flag);
}

void OptionsReader::readPhotonVolume() {
    if (in.accept("accuracy")) return readAccuracy(options.photonvol_accuracy, options.photonvol_radius);
    in.expect("scale");
    options.photonvol_scale = in.readColor(1);
}

void OptionsReader::readPhotonmapOnly() {
    in.expect("only");
    options.photonmap_only = in.readFlag();
}

void OptionsReader::readPhotonmap() {
    if (in.accept("file"))
        options.photonmap_file = readFileOrOff();
    else if (in.accept("rebuild"))
        options.photonmap_rebuild = in.readBoolean();
    else if (in.at("only"))
        readPhotonmapOnly();
    else if (in.accept("off"))
        options.photonmap_file = miNULLTAG;
    else
        in.fail("file, rebuild, only or off");
}

void OptionsReader::readFinalgatherDepths() {
    in.expect("depth");
    const auto readDepth = [this](int missing) {
        return static_cast<miUint1>(in.atInteger() ? in.readInteger(0, 255) : std::min(missing, 255));
    };
    options.fg_reflection_depth = static_cast<miUint1>(in.readInteger(0, 255));
    options.fg_refraction_depth = readDepth(options.fg_reflection_depth);
    options.fg_diffuse_depth = readDepth(0);
    options.fg_trace_depth = readDepth(options.fg_reflection_depth + options.fg_refraction_depth);
}

/// One name, a list in brackets, or `off`. The record has room for the first.
void OptionsReader::readFinalgatherFiles() {
    std::vector<std::string> names;
    if (in.accept('[')) {
        while (!in.accept(']')) {
            names.push_back(scene.readFileName());
            in.accept(',');
        }
    } else if (!in.accept("off")) {
        names.push_back(scene.readFileName());
    }
    detail.gatherFiles = std::move(names);
    options.finalgather_file =
        detail.gatherFiles.empty() ? miNULLTAG : scene.database.addString(detail.gatherFiles.front());
}

void OptionsReader::switchFinalgather(int mode, bool only) {
    options.finalgather = mode;
    detail.gatherOnly = only;
}

void OptionsReader::readFinalgather() {
    using Setting = void (*)(Reader&);
    // clang-format off
    static const StatementTable<OptionsReader> settings = {
        {"accuracy", [](Reader& r) {
            r.options.finalgather_view = r.in.accept("view");
            r.options.finalgather_rays = r.in.readInteger();
            if (r.in.atNumber()) r.options.finalgather_maxradius = r.in.readFloat();
            if (r.in.atNumber()) r.options.finalgather_minradius = r.in.readFloat();
        }},
        {"trace", [](Reader& r) { r.readFinalgatherDepths(); }},
        {"falloff", [](Reader& r) {
            const float first = r.in.readFloat();
            r.options.fg_falloff_start = r.in.atNumber() ? first : 0;
            r.options.fg_falloff_stop = r.in.atNumber() ? r.in.readFloat() : first;
        }},
        {"filter", [](Reader& r) { r.options.finalgather_filter = static_cast<miUint1>(r.in.readInteger(0, 255)); }},
        {"presample", [](Reader& r) { r.in.expect("density"); r.options.fg_presamp_density = r.in.readFloat(); }},
        {"scale", [](Reader& r) { r.options.finalgather_scale = r.in.readColor(1); }},
        {"secondary", [](Reader& r) { r.in.expect("scale"); r.options.finalgather_sec_scale = r.in.readColor(1); }},
        {"file", [](Reader& r) { r.readFinalgatherFiles(); }},
        {"rebuild", [](Reader& r) { r.options.finalgather_rebuild = r.in.accept("freeze") ? 2 : r.in.readBoolean(); }},
        {"fastlookup", [](Reader& r) { r.switchFinalgather('f'); }},
        {"only", [](Reader& r) { r.switchFinalgather(miTRUE, true); }},
    };
    // clang-format on
    if (const Setting setting = settings.find(in.current())) {
        in.advance();
        return setting(*this);
    }
    switchFinalgather(in.readBoolean());
}

}  // namespace lumorender
