// Scenes in cases/ beside what is expected of them. Blank lines part a file into paragraphs, which are read one after
// the other into the same database. `#=` begins what a paragraph expects:
//   camera "c" focal wide end camera      #= error found wide     of this line; also warning, info and renders
//   #= error b.mi:1: cannot include       wherever. Whatever is said has to be expected, but what "has no effect".
//   #= ends                               not even the next element is read; otherwise reading goes on behind an error
//   #= "c" camera focal 3                 an element's kind, and what differs from the file's first one of the kind
//   #=     frame 7                        continues the line before; "..." at the end is anything
//   #= (0 0 9 0 0 -1 f .5) one red ...    what a ray meets below the group "root": org, dir, side, time; see shot()
//   #= [lights] ...                       what becomes of the scene graph below that group; see graph()
//   #= geometry warning "o": 1 polygon    said of either
#include "database/declaration.h"
#include "photometry/light_profile.h"
#include "geometry/placement_at.h"
#include "geometry/flattener.h"
#include "tests/host/geometry/traced_scene.h"

#include <map>
#include <regex>

namespace lumorender {
namespace {

class Case : public TracedScene {
public:
    explicit Case(std::filesystem::path path) : file(std::move(path)) {}

    using SceneTest::database;
    using SceneTest::nameOf;

    /// Of no element: one of zeros.
    template <class Record>
    const Record& recordOf(miTag tag) const {
        static const Record none = {};
        return tag ? *static_cast<const Record*>(database.record(tag)) : none;
    }
    template <class Kind>
    const Kind& detailOf(miTag tag) const {
        static const Kind none;
        const auto* found = database.detail<Kind>(tag);
        return found ? *found : none;
    }

    std::string names(const std::vector<miTag>& tags) const {
        std::string all;
        for (const miTag tag : tags) all.append(all.empty() ? "" : " ").append(nameOf(tag));
        return all;
    }
    /// Declarations and parameters, which are numbers, of a list of shaders.
    std::string shaders(miTag list) const {
        std::vector<miTag> tags = detailOf<FunctionList>(list).functions;
        if (tags.empty() && list) tags = {list};
        std::string all;
        for (const miTag tag : tags) {
            const auto& function = recordOf<miFunction>(tag);
            const auto* numbers = reinterpret_cast<const miScalar*>(function.parameters);
            all.append(all.empty() ? "" : "; ").append(nameOf(function.function_decl));
            for (int i = 0; i < function.parameter_size / 4; ++i) all += " " + wordOf(numbers[i]);
        }
        return all;
    }
    /// Material, label, kind and corners.
    std::string polygons(const ObjectSource& object) const {
        std::string all;
        for (const PolygonGroupSource& group : object.groups)
            for (const PolygonSource& p : group.polygons) {
                const auto* corners = &group.corners[p.first];
                all += asText(all.empty() ? "" : ";", nameOf(p.material), p.label, p.convex ? "c" : "p",
                              std::vector<int>(corners, corners + p.count));
            }
        return all;
    }

private:
    void TestBody() override;
    bool render(const RenderCommand& command) override {
        said.push_back({"renders", fmt::format("{}: {} {} {}", command.where, nameOf(command.rootGroup),
                                               nameOf(command.cameraInstance), nameOf(command.options))});
        return !said.back().text.ends_with("last");
    }

    struct Message {
        std::string kind, text;
        std::string place = {};
        int line = 0;
    };
    struct Paragraph {
        int line = 1;
        std::string text = {};
        std::vector<Message> messages = {}, elements = {};
        bool windows = false, ends = false;  // line ends of another system; reading ends here
    };

    std::vector<Paragraph> paragraphs() const;
    void expectMessage(const Message& expected);
    std::string describe(const std::string& name);
    std::string shot(const std::string& given);
    std::string graph(const std::string& what);
    template <class List>
    std::string placements(const List& list) const;

    const std::filesystem::path file;
    std::vector<Message> said;
    std::map<int, std::vector<std::string>> first;  // of each type, the fields of its first element
};

template <class Record, class... Members>
std::string list(const std::vector<Record>& records, Members... members) {
    const auto word = [](const std::string& text) { return text.empty() ? "-" : text; };
    std::string all;
    for (const Record& each : records) all += asText(all.empty() ? "" : ";", word(wordOf(each.*members))...);
    return all;
}

struct Field {
    const char* name;
    std::string (*text)(const Case& test, miTag element);
};
using Fields = std::vector<Field>;

#define TEXT(name, expression)                                        \
    {name, [](const Case& test, miTag tag) -> std::string {           \
         [[maybe_unused]] const auto& r = test.recordOf<Record>(tag); \
         [[maybe_unused]] const auto& d = test.detailOf<Kept>(tag);   \
         return expression;                                           \
     }}
#define F(member) TEXT(#member, asText(r.member))
#define D(member) TEXT(#member, asText(d.member))

// clang-format off
Fields options() {
    using Record = miOptions;
    using Kept = OptionsDetail;
    return {
        F(min_samples), F(max_samples), F(def_min_samples), F(def_max_samples), F(rast_collect_rate),
        F(rast_motion_resample), F(rast_shading_samples), F(contrast), F(time_contrast), F(filter), F(filter_size_x),
        F(filter_size_y), F(reflection_depth), F(refraction_depth), F(trace_depth), F(trace), F(scanline),
        F(photon_reflection_depth), F(photon_refraction_depth), F(photon_trace_depth), F(shutter_delay), F(shutter),
        F(motion), F(n_motion_vectors), F(shadow), F(shadow_sort), F(face), F(render_space), F(use_shadow_maps),
        F(recompute_shadow_maps), F(shadow_map_motion), F(space_max_size), F(space_max_depth), F(no_images), F(no_lens),
        F(no_geometry), F(no_displace), F(no_predisplace), F(no_output), F(no_merge), F(no_hair), F(no_pass),
        F(samplelock), F(nopremult), F(lightmap), F(colorclip), F(gamma), F(fb_virtual), F(luminance_weight),
        F(caustic), F(caustic_flag), F(caustic_accuracy), F(caustic_radius), F(caustic_scale), F(caustic_filter),
        F(caustic_filter_const), F(globillum), F(globillum_flag), F(globillum_accuracy), F(globillum_scale),
        F(photonvol_accuracy), F(photonvol_scale), F(photonmap_rebuild), F(photonmap_only), F(finalgather),
        F(finalgather_view), F(finalgather_rays), F(finalgather_maxradius), F(finalgather_minradius),
        F(finalgather_filter), F(finalgather_rebuild), F(finalgather_scale), F(finalgather_sec_scale),
        F(fg_reflection_depth), F(fg_refraction_depth), F(fg_diffuse_depth), F(fg_trace_depth), F(fg_falloff_start),
        F(fg_falloff_stop), F(fg_presamp_density), F(unified_sampling), F(irradiance_particles), F(autovolume),
        F(jitter), F(task_size), F(maxdisplace), F(desaturate), F(dither), F(no_volume), F(globillum_radius),
        F(photonvol_radius), F(shadowmap_bias), F(space_max_mem), F(space_shadow_separate), F(photon_autovolume),
        F(inh_is_traversal),
        TEXT("inherits", test.nameOf(r.inh_funcdecl)), TEXT("contrasts", test.shaders(r.contour_contrast)),
        TEXT("stores", test.shaders(r.contour_store)), TEXT("photons", asText(test.database.string(r.photonmap_file))),
        TEXT("points", asText(test.database.string(r.finalgather_file))), TEXT("data", test.nameOf(r.userdata)),
        D(gatherOnly), D(gatherFiles), D(frameBuffers), TEXT("state", test.shaders(r.state_func)),
        TEXT("strings", asText(test.detailOf<StringOptions>(r.string_options).values))};
}

Fields camera() {
    using Record = miCamera;
    using Kept = CameraDetail;
    using File = OutputFile;
    using Buffer = FrameBufferDescription;
    return {
        F(orthographic), F(focal), F(aperture), F(aspect), F(clip.min), F(clip.max), F(x_resolution), F(y_resolution),
        F(window.xl), F(window.yl), F(window.xh), F(window.yh), F(frame), F(frame_time), F(x_offset), F(y_offset),
        TEXT("lens", test.shaders(r.lens)), TEXT("volume", test.shaders(r.volume)),
        TEXT("environment", test.shaders(r.environment)), TEXT("data", test.nameOf(r.userdata)),
        TEXT("output", test.shaders(r.output)),
        TEXT("files", list(d.files, &File::type, &File::format, &File::file, &File::compression, &File::quality)),
        TEXT("buffers", list(test.detailOf<FrameBufferSet>(r.buffertag).buffers, &Buffer::name, &Buffer::datatype,
                             &Buffer::filtering, &Buffer::primary, &Buffer::user, &Buffer::dataWindow,
                             &Buffer::filename, &Buffer::filetype, &Buffer::compression, &Buffer::quality))};
}

Fields light() {
    using Record = miLight;
    using Kept = Detail;
    return {
        F(type), F(dirlight_has_org), F(origin), F(direction), F(spread), F(area), F(primitive.rectangle.edge_u),
        F(primitive.rectangle.edge_v), F(samples_u), F(samples_v), F(low_level), F(low_samples_u), F(low_samples_v),
        F(energy), F(exponent), F(visible), F(caustic_store_photons), F(caustic_emit), F(label), F(use_shadow_maps),
        F(shadowmap_resolution), F(shadowmap_samples), F(shadowmap_bias), F(global_store_photons), F(global_emit),
        F(photons_only), F(shadowmap_softness), F(shmap.type), F(shmap.samples), F(shmap.accuracy), F(shmap.filter),
        F(shmap.filter_u), F(shmap.filter_v),
        TEXT("file", asText(test.database.string(r.shadowmap_file))), TEXT("camera", test.nameOf(r.shmap.camera)),
        TEXT("shader", test.shaders(r.shader)), TEXT("emitter", test.shaders(r.emitter)),
        TEXT("object", r.area == miLIGHT_OBJECT ? test.nameOf(r.primitive.object.object) : ""),
        TEXT("spectrum", test.nameOf(r.emitter_spectrum)), TEXT("data", test.nameOf(r.userdata)),
        TEXT("profile", test.nameOf(r.lightprofile))};
}

Fields lightProfile() {
    using Record = LightProfileRecord;
    using Kept = LightProfile;
    return {D(curve), TEXT("angles", !d.distribution || r.distribution != d.distribution.get() ? "" :
        asText(d.distribution->grid().horizontal, "by", d.distribution->grid().vertical))};
}

Fields texture() {
    using Record = miTag;
    using Kept = TextureDetail;
    return {D(file), D(components), D(width), D(height), D(filterScale), D(local), D(pixels)};
}

Fields material() {
    using Record = miMaterial;
    using Kept = Detail;
    return {
        F(opaque), TEXT("shader", test.shaders(r.shader)), TEXT("displace", test.shaders(r.displace)),
        TEXT("shadow", test.shaders(r.shadow)), TEXT("volume", test.shaders(r.volume)),
        TEXT("environment", test.shaders(r.environment)), TEXT("contour", test.shaders(r.contour)),
        TEXT("photon", test.shaders(r.photon)), TEXT("photonvol", test.shaders(r.photonvol)),
        TEXT("lightmap", test.shaders(r.lightmap)), TEXT("bsdf", test.shaders(r.bsdf))};
}

Fields object() {
    using Record = miObject;
    using Kept = ObjectSource;
    using V = VertexSource;
    return {
        F(visible), F(shadow), F(reflection), F(refraction), F(transparency), F(finalgather), F(caustic), F(globillum),
        F(face), F(bbox_min), F(bbox_max), F(bbox_min_m), F(bbox_max_m), F(mbox_explicit), F(label), F(min_samples),
        F(max_samples), F(maxdisplace), F(ray_offset), F(volume_id), F(shading_samples),
        F(shadowmap), TEXT("data", test.nameOf(r.userdata)),
        TEXT("vectors", d.groups.empty() ? "" : asText(d.groups[0].vectors)),
        TEXT("vertices", d.groups.empty() ? "" : list(d.groups[0].vertices, &V::normal, &V::firstExtra,
                                                      &V::derivatives, &V::textures, &V::motions, &V::users)),
        TEXT("extras", d.groups.empty() ? "" : asText(d.groups[0].extras)), TEXT("polygons", test.polygons(d))};
}

Fields instance() {
    using Record = miInstance;
    using Kept = InstanceDetail;
    return {
        TEXT("item", test.nameOf(r.item)), F(off), F(mtl_override), F(mtl_array_size), F(label), F(exclusive),
        F(shadow_excl), F(shadowmap), F(shading_samples), TEXT("data", test.nameOf(r.userdata)),
         TEXT("casts", asText(r.shadow, r.reflection)), D(visible), D(shadow), D(reflection),
        D(refraction), D(transparency), D(finalgather), D(caustic), D(globillum), D(face),
        TEXT("materials", test.names(d.materials)), D(hasLights), TEXT("lights", test.names(d.lights)),
        D(hasShadowLights), TEXT("shadowLights", test.names(d.shadowLights)), F(tf.identity),
        F(tf.global_to_local), F(tf.local_to_global),
        D(hasMotionTransform), D(motionOff), F(motion_transform)};
}
// clang-format on

struct Kind {
    const char* name;
    Fields fields = {};
};
const std::map<int, Kind> kKinds = {
    {miSCENE_NONE, {"nothing"}},
    {miSCENE_OPTIONS, {"options", options()}},
    {miSCENE_CAMERA, {"camera", camera()}},
    {miSCENE_LIGHT, {"light", light()}},
    {miSCENE_LIGHTPROFILE, {"lightprofile", lightProfile()}},
    {miSCENE_IMAGE, {"texture", texture()}},
    {miSCENE_OBJECT, {"object", object()}},
    {miSCENE_INSTANCE, {"instance", instance()}},
    {miSCENE_FUNCTION, {"shader"}},
    {miSCENE_MATERIAL, {"material", material()}},
};

std::string Case::describe(const std::string& name) {
    const miTag tag = find(name);
    const int type = database.type(tag);
    const auto& [text, fields] = kKinds.at(type);
    std::string all = text;
    std::vector<std::string> values;
    for (const Field& field : fields) {
        values.push_back(field.text(*this, tag));
        if (values.back() != (first.contains(type) ? first[type][values.size() - 1] : field.text(*this, 0)))
            all += fmt::format(" {} {}", field.name, values.back().empty() ? "-" : values.back());
    }
    first.emplace(type, values);
    return all;
}

/// Instance, material and label; distance, point, normal, geometric normal, cosine to the ray and side. For each
/// texture space coordinates, derivatives (of the first alone) and bump basis. On hair: the place across and along it
/// and along its piece, derivatives along and across, and texture coordinates.
std::string Case::shot(const std::string& given) {
    Ray ray = rayFrom({}, {});
    bool turns = true;
    std::istringstream words(given);
    words >> ray.org.x >> ray.org.y >> ray.org.z >> ray.dir.x >> ray.dir.y >> ray.dir.z;
    for (std::string word; words >> word;)
        if (word == "unturned")
            turns = false;
        else
            std::isalpha(word[0]) ? ray.face = word[0] : ray.time = std::stof(word);
    const auto hit = shoot(ray, turns);
    EXPECT_EQ(geometry->occluded(ray), hit->found);
    if (!hit->found) return "nothing";
    const miState& s = hit->state;
    std::string text = asText(nameOf(s.instance), nameOf(s.material), s.label, s.dist, s.point, s.normal, s.normal_geom,
                              s.dot_nd, s.inv_normal ? "back" : "front");
    const HitListSizes sizes = geometry->listSizes(*hit->hit.instance);
    if (hit->hit.instance->hair) {
        text += asText(" |", s.bary[0], s.bary[1], s.bary[2], "|", s.derivs[0], s.derivs[1]);
        for (std::uint32_t i = 0; i < sizes.textures; ++i) text += asText(" |", s.tex_list[i]);
        return text;
    }
    EXPECT_EQ(asText(s.bary[0] + s.bary[1] + s.bary[2], s.tex_list != nullptr, s.bump_x_list != nullptr,
                     s.derivs != nullptr, sizes.derivatives),
              sizes.textures ? "1 true true true true" : "1 false false false false");
    for (std::uint32_t i = 0; i < sizes.textures; ++i) {
        text += asText(" |", s.tex_list[i]);
        if (i == 0) text += asText(" |", std::vector(s.derivs, s.derivs + (s.derivs[2].x != 0 ? 5 : 2)));
        text += asText(" |", s.bump_x_list[i], s.bump_y_list[i]);
    }
    return text;
}

/// Path (of objects the last of it), scale and place, whether it moves and where to, scale and place the other way.
template <class List>
std::string Case::placements(const List& list) const {
    std::string all;
    for (const auto& each : list) {
        const auto &m = each.placement->localToWorld, &close = placementAtClose(each).localToWorld;
        const double* up = each.placement->worldToLocal.getValue();
        std::string path = nameOf(each.instance);
        if constexpr (requires { each.path; }) path = names(each.path);
        all += asText(all.empty() ? "" : ";", path, m[0][0], m[3][0], m[3][1], m[3][2], each.motionSteps ? "to" : "is",
                      close[3][0], close[3][1], close[3][2], "back", up[5], up[13]);
    }
    return all;
}

/// Of [an instance] where its first path leads. Of [flags]: label, instances with lists of lights, of shadows and with
/// parameters, face, gathering, bits.
std::string Case::graph(const std::string& what) {
    const auto statistics = geometry->statistics();
    if (what == "statistics") return asText(statistics.triangles, statistics.instances, statistics.meshes);
    miVector low, high;
    geometry->bounds(low, high);
    if (what == "bounds") return asText(low, high);
    MemoryBudget budget;
    const FlatScene flat = flatten(database, find("root"), record<miOptions>("o", miSCENE_OPTIONS), {}, false, budget);
    std::string all;
    for (const FlatInstance& i : flat.instances)
        all += asText(all.empty() ? "" : ";", i.label, nameOf(i.lightListInstance), nameOf(i.shadowListInstance),
                      nameOf(i.parameterInstance), i.face, i.gathers, fmt::format("{:x}", i.flags));
    if (what == "flags") return all;
    if (what == "objects") return placements(flat.instances);
    if (what == "lights") return placements(flat.lights);
    if (what == "cameras") return placements(flat.cameras);
    const Placement* const place = geometry->placement(find(what));
    return place ? asText(place->localToWorld[0][0], place->localToWorld[3][0], place->localToWorld[3][1]) : "nowhere";
}

std::vector<Case::Paragraph> Case::paragraphs() const {
    static const std::regex parts(R"re(^(.*?)(?:\s*#= ?(.*))?$)re"),
        words(R"re(^("[^"]*"|\([^)]*\)|\[\w*\]|geometry \w+|\w+) ?(.*))re");
    std::vector<Paragraph> all(1);
    std::ifstream stream(file);
    std::smatch part, word;
    std::string line;
    for (int number = 1; std::getline(stream, line); ++number) {
        std::regex_match(line, part, parts);
        Paragraph& current = all.back();
        current.text += part[1].str() + "\n";
        const std::string expected = part[2];
        if (line.empty())
            all.push_back({number + 1, std::string(static_cast<std::size_t>(number), '\n')});
        else if (expected.starts_with(" "))
            current.elements.back().text += expected.substr(expected.find_first_not_of(' ') - 1);
        else if (expected == "ends")
            current.ends = true;
        else if (expected == "windows")
            current.windows = true;
        else if (std::regex_match(expected, word, words))
            (std::isalpha(expected[0]) ? current.messages : current.elements)
                .push_back({word[1], word[2],
                            part[1].length() ? fmt::format("{}:{}: ", file.filename().string(), number) : "", number});
        else if (part[2].matched)
            ADD_FAILURE_AT(file.c_str(), number) << "not known: " << expected;
    }
    return all;
}

void Case::expectMessage(const Message& expected) {
    const auto found = std::find_if(said.begin(), said.end(), [&](const Message& m) {
        return m.kind == expected.kind && m.text.starts_with(expected.place) &&
               m.text.find(expected.text, expected.place.size()) != std::string::npos;
    });
    if (found == said.end())
        ADD_FAILURE_AT(file.c_str(), expected.line) << "not said: " << expected.text;
    else
        said.erase(found);
}

void Case::TestBody() {
    setMessageSink([this](MessageClass c, std::string_view module, std::string_view text) {
        const char* kinds[] = {"", "error", "error", "warning", "", "info"};
        if (c == MessageClass::Progress || c > MessageClass::Info) return;
        const std::string kind = kinds[static_cast<int>(c)];
        said.push_back({module == "GEOM" ? "geometry " + kind : kind, std::string(text)});
    });
    std::filesystem::current_path(file.parent_path());
    settings.includePath = settings.texturePath = {"parts"};
    settings.substitutions = readSubstitutions("/gone=parts;D:\\lib\\=parts/more");
    settings.filesAllowed = file.stem() != "malformed";
    setenv("LUMO_TEST_PLACE", "here", 1);
    for (Paragraph& p : paragraphs()) {
        bool fails = false;
        for (const Message& m : p.messages)  // what is left out does not keep the rest from being rendered
            fails = fails || (m.kind == "error" && m.text.find("has no effect") == std::string::npos);
        if (fails) p.text += "\nmaterial \"after\" end material";
        if (p.windows) p.text = std::regex_replace(p.text, std::regex("\n"), "\r\n") + "\x1a";
        EXPECT_EQ(readSceneText(p.text, file.filename(), database, modules, *this, settings), !fails) << file << p.line;
        EXPECT_EQ(database.type(find("after")), fails && !p.ends ? miSCENE_MATERIAL : miSCENE_NONE) << file << p.line;
        database.remove(find("after"));
        geometry.reset();
        for (const Message& e : p.elements) {
            const std::string key = e.kind.substr(1, e.kind.size() - 2);
            if (e.kind[0] != '"' && !geometry)
                geometry = SceneGeometry::build(database, find("root"), record<miOptions>("o", miSCENE_OPTIONS));
            const std::string is = e.kind[0] == '"' ? describe(key) : e.kind[0] == '(' ? shot(key) : graph(key);
            const bool cut = e.text.ends_with("...");
            if (cut ? !is.starts_with(e.text.substr(0, e.text.size() - 3)) : is != e.text)
                ADD_FAILURE_AT(file.c_str(), e.line) << e.kind << " " << is;
        }
        for (const Message& m : p.messages) expectMessage(m);
        for (const Message& m : said)
            if (m.kind != "info" || m.text.find("\" has no effect: ") == std::string::npos)
                ADD_FAILURE_AT(file.c_str(), p.line) << "said: " << m.text;
        reportRepeatedMessages();
        said.clear();
    }
}

const bool registered = [] {
    for (const auto& entry : std::filesystem::directory_iterator(LUMO_SCENE_CASES))
        if (entry.path().extension() == ".mi")
            testing::RegisterTest("SceneCases", entry.path().stem().c_str(), nullptr, nullptr, __FILE__, __LINE__,
                                  [path = entry.path()]() -> SceneTest* { return new Case(path); });
    return true;
}();

}  // namespace
}  // namespace lumorender
