#include "elements/options_reader.h"

#include "database/declaration.h"
#include "elements/element_readers.h"
#include "parameters/shader_calls.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace lumorender {

void readOptions(SceneContext& scene) { OptionsReader(scene).read(); }

void OptionsReader::read() {
    const std::string name = scene.readNewName("the name of the options");
    if (const miTag former = scene.edited(name, miSCENE_OPTIONS, "options")) {
        scene.loadEdited(former, miSCENE_OPTIONS, options, detail);
        if (const auto* given = scene.database.detail<StringOptions>(options.string_options)) strings = *given;
    }
    readStatements(*this, optionStatements(), "options");
    store(name);
}

void OptionsReader::store(const std::string& name) {
    scene.inheritance = options.inh_funcdecl;
    scene.renderProfile = options.render_cprof;
    const auto isOn = [&](std::string_view option) {
        const auto given = strings.values.find(option);
        return given != strings.values.end() && given->second == StringOptions::Value(true);
    };
    options.irradiance_particles = isOn("irradiance particles");
    options.unified_sampling = isOn("unified sampling");
    options.string_options =
        scene.storeBytes({}, miSCENE_LOCAL, nullptr, 16, std::make_unique<StringOptions>(std::move(strings)));
    scene.store(name, miSCENE_OPTIONS, options, std::make_unique<OptionsDetail>(std::move(detail)));
}

miOptions defaultOptions() {
    miOptions options = {};
    options.trace = miTRUE;
    options.scanline = 1;
    options.reflection_depth = options.refraction_depth = 2;
    options.trace_depth = 4;
    options.min_samples = -2;
    options.def_min_samples = -128;
    options.def_max_samples = 127;
    options.contrast = {0.1f, 0.1f, 0.1f, 0.1f};
    options.time_contrast = {0.2f, 0.2f, 0.2f, 0.2f};
    options.filter = 'b';
    options.filter_size_x = options.filter_size_y = 1;
    options.rast_collect_rate = 3;
    options.rast_motion_resample = 1;
    options.rast_shading_samples = 1;
    options.samplelock = miTRUE;
    options.shadow = 1;
    options.recompute_shadow_maps = 'n';
    options.shadow_map_motion = miTRUE;
    options.face = 'a';
    options.smethod = 'q';
    options.render_space = 'o';
    options.acceleration = 'b';
    options.space_max_size = 10;
    options.space_max_depth = 40;
    options.no_images = 1;
    options.n_motion_vectors = 1;
    options.lightmap = 1;
    options.gamma = 1;
    options.fb_virtual = 1;
    options.photon_reflection_depth = options.photon_refraction_depth = options.photon_trace_depth = 5;
    options.caustic_flag = options.globillum_flag = miFLAG_CAST | miFLAG_RECEIVE;
    options.caustic_accuracy = 100;
    options.caustic_filter = 'b';
    options.caustic_filter_const = 1.1f;
    options.globillum_accuracy = 500;
    options.photonvol_accuracy = 30;
    options.photonmap_rebuild = miTRUE;
    options.caustic_scale = options.globillum_scale = options.photonvol_scale = {1, 1, 1, 1};
    options.finalgather_scale = options.finalgather_sec_scale = {1, 1, 1, 1};
    options.finalgather_rays = 1000;
    options.finalgather_filter = 0;
    options.finalgather_rebuild = miTRUE;
    options.fg_presamp_density = 1;
    options.luminance_weight = {0.299f, 0.587f, 0.114f, 0};
    return options;
}

bool OptionsReader::readOther() {
    if (!in.atString()) return false;
    readStringOption(scene, strings);
    return true;
}

void OptionsReader::readSamples() {
    if (in.accept("collect")) {
        options.rast_collect_rate = static_cast<char>(in.readInteger(0, 127));
        return;
    }
    if (in.accept("motion")) {
        options.rast_motion_resample = static_cast<char>(in.readInteger(0, 127));
        return;
    }
    const int first = in.readInteger(-128, 127);
    options.min_samples = in.atInteger() ? first : first - 2;
    options.max_samples = in.atInteger() ? in.readInteger(-128, 127) : first;
    if (!in.atInteger()) return;
    options.def_min_samples = static_cast<miSint1>(in.readInteger(-128, 127));
    if (in.atInteger()) options.def_max_samples = static_cast<miSint1>(in.readInteger(-128, 127));
}

/// The clipped kinds have capital letters. Each kind has a width of its own where none is given.
void OptionsReader::readFilter() {
    struct Kind {
        std::string_view word;
        char code;
        float width;
    };
    static constexpr Kind kKinds[] = {
        {"box", 'b', 1}, {"triangle", 't', 2}, {"gauss", 'g', 3}, {"mitchell", 'm', 4}, {"lanczos", 'l', 4}};
    const bool clips = in.accept("clip");
    const auto* kind = std::find_if(std::begin(kKinds), std::end(kKinds), [&](const Kind& k) { return in.at(k.word); });
    if (kind == std::end(kKinds)) in.fail("box, triangle, gauss, mitchell or lanczos");
    in.advance();
    options.filter = clips && kind->width == 4 ? static_cast<char>(kind->code - 'a' + 'A') : kind->code;
    options.filter_size_x = in.atNumber() ? in.readFloat() : kind->width;
    options.filter_size_y = in.atNumber() ? in.readFloat() : options.filter_size_x;
}

void OptionsReader::readTrace() {
    if (in.accept("depth"))
        readDepths(options.reflection_depth, options.refraction_depth, options.trace_depth);
    else
        options.trace = in.readBoolean();
}

/// One number stands for both depths; without a sum the sum is no limit of its own.
void OptionsReader::readDepths(int& reflection, int& refraction, int& sum) {
    reflection = in.readInteger();
    refraction = in.atInteger() ? in.readInteger() : reflection;
    const long long both = static_cast<long long>(reflection) + refraction;
    sum = in.atInteger() ? in.readInteger() : static_cast<int>(std::clamp(both, -2147483647ll, 2147483647ll));
}

void OptionsReader::readScanline() {
    if (in.atBoolean()) {
        options.scanline = in.readBoolean();
    } else if (in.accept("rast") || in.accept("rapid")) {
        options.scanline = 'r';
    } else {
        in.expect("opengl");
        options.scanline = 1;
    }
}

void OptionsReader::readPhoton() {
    if (in.accept("autovolume")) {
        options.photon_autovolume = in.readBoolean();  // shaders ask for it
        return;
    }
    in.expect("trace");
    in.expect("depth");
    readDepths(options.photon_reflection_depth, options.photon_refraction_depth, options.photon_trace_depth);
}

void OptionsReader::readShadow() {
    options.shadow_sort = miFALSE;
    if (in.atBoolean()) {
        options.shadow = in.readBoolean();
    } else if (in.accept("simple")) {
        options.shadow = miTRUE;
    } else if (in.accept("sort")) {
        options.shadow = 'l';
        options.shadow_sort = miTRUE;
    } else {
        in.expect("segments");
        options.shadow = 's';
    }
}

void OptionsReader::readShutter() {
    const float first = in.readFloat();
    options.shutter_delay = in.atNumber() ? first : 0;
    options.shutter = in.atNumber() ? in.readFloat() : first;
    if (options.shutter > 0) options.motion |= 1;
}

void OptionsReader::readMotion() {
    if (in.accept("steps")) {
        options.n_motion_vectors = static_cast<miUint1>(in.readInteger(1, 15));
        return;
    }
    const bool on = in.readBoolean();
    options.motion = on ? options.motion | 1 : options.motion & ~1u;
}

/// Whichever is asked for.
void OptionsReader::readSpace(char space) {
    in.expect("space");
    options.render_space = space;
}

void OptionsReader::readFrameBuffer() {
    in.expect("buffer");
    const int number = in.readInteger(0, 4095);
    const Place place = in.place();
    const std::string type = in.atString() ? in.readString() : "";
    if (!isBufferType(type))
        scene.problems.error(place, fmt::format("found data type \"{}\", expected one like rgba_fp", type));
    detail.frameBuffers[number] = type.empty() ? "rgba" : type;
    options.no_images = std::max(options.no_images, static_cast<int>(detail.frameBuffers.size()) + 1);
}

void OptionsReader::readStateShaders() {
    in.accept("shader");  // some writers put the word, some leave it out
    if (!in.accept('[')) {
        options.state_func = readShaderList(scene);
        return;
    }
    options.state_func = miNULLTAG;
    while (!in.accept(']')) {
        if (!atShader(in) && !in.at(',')) in.fail("a shader or \"]\"");
        options.state_func = joinShaders(scene, options.state_func, readShaderList(scene));
        in.accept(',');
    }
}

void OptionsReader::readContour() {
    const bool store = in.accept("store");
    if (!store) in.expect("contrast");
    (store ? options.contour_store : options.contour_contrast) = readShaderList(scene);
}

void OptionsReader::readInheritance(bool traversal) {
    if (!in.atName()) in.fail("the name of a declaration");
    options.inh_funcdecl = scene.require(in.current().text, {miSCENE_FUNCTION_DECL}, "a declared inheritance function");
    options.inh_is_traversal = traversal && options.inh_funcdecl;
    scene.inheritance = options.inh_funcdecl;
    in.advance();
}

void OptionsReader::readLuminance() {
    in.expect("weight");
    if (in.accept("ntsc"))
        options.luminance_weight = {0.299f, 0.587f, 0.114f, 0};
    else
        options.luminance_weight = in.readColor(0);
}

void OptionsReader::readColorProfile() {
    options.render_cprof = scene.readReference({miSCENE_COLORPROFILE}, "a color profile");
}

void OptionsReader::readContrast(miColor& contrast) {
    contrast.r = in.readFloat();
    contrast.g = in.readFloat();
    contrast.b = in.readFloat();
    contrast.a = in.atNumber() ? in.readFloat() : (contrast.r + contrast.g + contrast.b) / 3;
}

miTag OptionsReader::readFileOrOff() {
    if (in.accept("off")) return miNULLTAG;
    return scene.database.addString(scene.readFileName());
}

}  // namespace lumorender
