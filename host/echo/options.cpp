// Options: what differs from the defaults, which are those of the reader.
#include "database/elements.h"
#include "echo/element_writers.h"
#include "elements/options_reader.h"
#include "mi/records.h"

#include <type_traits>
#include <variant>

namespace lumorender {

namespace {

class OptionsWriter {
public:
    OptionsWriter(ElementText& out, const miOptions& options, const OptionsDetail& detail)
        : out_(out), o_(options), detail_(detail) {}

    void write() {
        writeShaders();
        writeSampling();
        writeRays();
        writeShadows();
        writeMotion();
        writeSwitches();
        writeColors();
        writePhotons();
        writeFinalGather();
        writeApproximation(out_, detail_.approximation);
        for (const auto& [number, type] : detail_.frameBuffers) out_.statement("frame buffer", number, Quoted{type});
        writeDataStatements(out_, o_.userdata);
        if (const auto* strings = out_.database.detail<StringOptions>(o_.string_options)) writeStrings(*strings);
    }

private:
    ElementText& out_;
    const miOptions& o_;
    const OptionsDetail& detail_;
    const miOptions standard_ = defaultOptions();

    template <class... Field>
    bool differs(Field miOptions::*... fields) const {
        return (!isSameValue(o_.*fields, standard_.*fields) || ...);
    }

    /// The fields' values behind the words, where one is not as it is without the statement.
    template <class... Field>
    void values(const char* words, Field miOptions::*... fields) {
        if (!differs(fields...)) return;
        out_.statement(words);
        (add(o_.*fields), ...);
    }
    template <class Field>
    void add(const Field& value) {
        if constexpr (std::is_integral_v<Field> && sizeof(Field) < sizeof(int))
            out_.add(static_cast<int>(value));
        else
            out_.add(value);
    }

    template <class Field>
    void isOn(const char* words, Field miOptions::* field) {
        if (differs(field)) out_.statement(words, o_.*field != 0);
    }
    /// Features are kept as whether they are switched off.
    void isOff(const char* words, miCBoolean miOptions::* field) {
        if (differs(field)) out_.statement(words, o_.*field == 0);
    }

    void writeSampling() {
        if (differs(&miOptions::min_samples, &miOptions::max_samples, &miOptions::def_min_samples,
                    &miOptions::def_max_samples))
            out_.statement("samples", o_.min_samples, o_.max_samples, int{o_.def_min_samples}, int{o_.def_max_samples});
        values("samples collect", &miOptions::rast_collect_rate);
        values("samples motion", &miOptions::rast_motion_resample);
        values("shading samples", &miOptions::rast_shading_samples);
        values("contrast", &miOptions::contrast);
        values("time contrast", &miOptions::time_contrast);
        values("jitter", &miOptions::jitter);
        isOn("samplelock", &miOptions::samplelock);
        values("task size", &miOptions::task_size);
        if (differs(&miOptions::filter, &miOptions::filter_size_x, &miOptions::filter_size_y))
            out_.statement("filter", filterWords(), o_.filter_size_x, o_.filter_size_y);
    }

    const char* filterWords() const {
        switch (o_.filter) {
            case 't': return "triangle";
            case 'g': return "gauss";
            case 'm': return "mitchell";
            case 'l': return "lanczos";
            case 'M': return "clip mitchell";
            case 'L': return "clip lanczos";
            default: return "box";
        }
    }

    void writeRays() {
        isOn("trace", &miOptions::trace);
        values("trace depth", &miOptions::reflection_depth, &miOptions::refraction_depth, &miOptions::trace_depth);
        if (differs(&miOptions::scanline))
            out_.statement("scanline", o_.scanline == 'r' ? "rast" : o_.scanline ? "on" : "off");
        if (differs(&miOptions::face)) out_.statement("face", faceWord(o_.face));
        values("bsp size", &miOptions::space_max_size);
        values("bsp depth", &miOptions::space_max_depth);
        values("bsp memory", &miOptions::space_max_mem);
        isOn("bsp shadow", &miOptions::space_shadow_separate);
        values("max displace", &miOptions::maxdisplace);
    }

    void writeShadows() {
        if (differs(&miOptions::shadow))
            out_.statement("shadow", o_.shadow == 'l'   ? "sort"
                                     : o_.shadow == 's' ? "segments"
                                     : o_.shadow        ? "on"
                                                        : "off");
        constexpr int kMapsOnly = 0x80;
        if (differs(&miOptions::use_shadow_maps))
            out_.statement("shadowmap", o_.use_shadow_maps == 'o'        ? "opengl"
                                        : o_.use_shadow_maps & kMapsOnly ? "only"
                                        : o_.use_shadow_maps             ? "on"
                                                                         : "off");
        if (differs(&miOptions::recompute_shadow_maps))
            out_.statement("shadowmap rebuild", o_.recompute_shadow_maps == 'm' ? "merge" : "on");
        isOn("shadowmap motion", &miOptions::shadow_map_motion);
        values("shadowmap bias", &miOptions::shadowmap_bias);
    }

    /// A shutter that is open for a while switches motion on, so the switch stands behind it.
    void writeMotion() {
        values("shutter", &miOptions::shutter_delay, &miOptions::shutter);
        if (differs(&miOptions::motion) || o_.shutter > 0) out_.statement("motion", (o_.motion & 1) != 0);
        values("motion steps", &miOptions::n_motion_vectors);
    }

    void writeSwitches() {
        isOff("lens", &miOptions::no_lens);
        isOff("volume", &miOptions::no_volume);
        isOff("geometry", &miOptions::no_geometry);
        isOff("displace", &miOptions::no_displace);
        isOff("displace presample", &miOptions::no_predisplace);
        isOff("output", &miOptions::no_output);
        isOff("merge", &miOptions::no_merge);
        isOff("hair", &miOptions::no_hair);
        isOff("pass", &miOptions::no_pass);
        isOn("autovolume", &miOptions::autovolume);
        if (differs(&miOptions::lightmap))
            out_.statement("lightmap", o_.lightmap == 2 ? "only" : o_.lightmap ? "on" : "off");
    }

    void writeColors() {
        if (differs(&miOptions::colorclip))
            out_.statement("colorclip", o_.colorclip == 2 ? "raw" : o_.colorclip == 1 ? "alpha" : "rgb");
        isOn("desaturate", &miOptions::desaturate);
        if (differs(&miOptions::nopremult)) out_.statement("premultiply", o_.nopremult == 0);
        isOn("dither", &miOptions::dither);
        values("gamma", &miOptions::gamma);
        values("luminance weight", &miOptions::luminance_weight);
        if (o_.render_cprof) out_.statement("colorprofile", Name{o_.render_cprof});
    }

    /// Numbers of generate and receive bits switch on or off, too, so the switch stands behind them.
    void writePhotonSwitch(const char* word, miBoolean miOptions::* enabled, miUint1 miOptions::* bits) {
        values(word, bits);
        if (differs(enabled, bits)) out_.statement(word, o_.*enabled != 0);
    }

    void writePhotons() {
        values("photon trace depth", &miOptions::photon_reflection_depth, &miOptions::photon_refraction_depth,
               &miOptions::photon_trace_depth);
        isOn("photon autovolume", &miOptions::photon_autovolume);
        writePhotonSwitch("caustic", &miOptions::caustic, &miOptions::caustic_flag);
        values("caustic accuracy", &miOptions::caustic_accuracy, &miOptions::caustic_radius);
        values("caustic scale", &miOptions::caustic_scale);
        if (differs(&miOptions::caustic_filter, &miOptions::caustic_filter_const))
            out_.statement("caustic filter",
                           o_.caustic_filter == 'c'   ? "cone"
                           : o_.caustic_filter == 'g' ? "gauss"
                                                      : "box",
                           o_.caustic_filter_const);
        writePhotonSwitch("globillum", &miOptions::globillum, &miOptions::globillum_flag);
        values("globillum accuracy", &miOptions::globillum_accuracy, &miOptions::globillum_radius);
        values("globillum scale", &miOptions::globillum_scale);
        values("photonvol accuracy", &miOptions::photonvol_accuracy, &miOptions::photonvol_radius);
        values("photonvol scale", &miOptions::photonvol_scale);
        if (o_.photonmap_file) out_.statement("photonmap file", Quoted{out_.database.string(o_.photonmap_file)});
        isOn("photonmap rebuild", &miOptions::photonmap_rebuild);
        isOn("photonmap only", &miOptions::photonmap_only);
    }

    void writeFinalGather() {
        if (differs(&miOptions::finalgather) || detail_.gatherOnly)
            out_.statement("finalgather", detail_.gatherOnly      ? "only"
                                          : o_.finalgather == 'f' ? "fastlookup"
                                          : o_.finalgather        ? "on"
                                                                  : "off");
        if (differs(&miOptions::finalgather_view, &miOptions::finalgather_rays, &miOptions::finalgather_maxradius,
                    &miOptions::finalgather_minradius))
            out_.statement(o_.finalgather_view ? "finalgather accuracy view" : "finalgather accuracy",
                           o_.finalgather_rays, o_.finalgather_maxradius, o_.finalgather_minradius);
        values("finalgather trace depth", &miOptions::fg_reflection_depth, &miOptions::fg_refraction_depth,
               &miOptions::fg_diffuse_depth, &miOptions::fg_trace_depth);
        values("finalgather falloff", &miOptions::fg_falloff_start, &miOptions::fg_falloff_stop);
        values("finalgather filter", &miOptions::finalgather_filter);
        values("finalgather presample density", &miOptions::fg_presamp_density);
        values("finalgather scale", &miOptions::finalgather_scale);
        values("finalgather secondary scale", &miOptions::finalgather_sec_scale);
        if (differs(&miOptions::finalgather_rebuild))
            out_.statement("finalgather rebuild", o_.finalgather_rebuild == 2 ? "freeze" : "off");
        if (detail_.gatherFiles.empty()) return;
        out_.statement("finalgather file [");
        for (const std::string& file : detail_.gatherFiles) out_.add(Quoted{file});
        out_.add("]");
    }

    /// They come first, and a statement behind them: a string option there would be taken for one more shader.
    void writeShaders() {
        writeSlotStatement(out_, "state", o_.state_func);
        writeSlotStatement(out_, "contour store", o_.contour_store);
        writeSlotStatement(out_, "contour contrast", o_.contour_contrast);
        out_.statement(o_.render_space == 'c' ? "camera space" : "object space");
        if (o_.inh_funcdecl) out_.statement(o_.inh_is_traversal ? "traversal" : "inheritance", Name{o_.inh_funcdecl});
    }

    void writeStrings(const StringOptions& strings) {
        for (const auto& [name, value] : strings.values) {
            out_.line();
            out_.add(Quoted{name});
            std::visit([this](const auto& given) { addString(given); }, value);
        }
    }
    void addString(const std::string& text) { out_.add(Quoted{text}); }
    void addString(const std::vector<float>& numbers) {
        for (const float number : numbers) out_.add(number);
    }
    template <class Number>
    void addString(Number number) {
        out_.add(number);
    }
};

}  // namespace

void writeOptions(ElementText& out, miTag tag) {
    static const OptionsDetail kNothing;
    const auto* detail = out.database.detail<OptionsDetail>(tag);
    out.text += "options";
    out.add(Quoted{out.database.name(tag)});
    OptionsWriter(out, *out.database.as<miOptions>(tag, miSCENE_OPTIONS), detail ? *detail : kNothing).write();
    out.text += "\nend options\n";
}

}  // namespace lumorender
