// Options, cameras, lights, textures, objects, instances and light profiles as records and details.
#include "photometry/light_profile.h"
#include "scene_fixture.h"

namespace lumorender {
namespace {

template <class Record>
struct Field {
    const char* name;
    std::string (*text)(const Record&);
};

struct Row {
    const char* statements;
    const char* changed;  ///< members that differ from an element without statements; that one itself from zeros
};

class Elements : public SceneTest {
protected:
    template <class Record, std::size_t N>
    void expectChanges(const char* kind, int type, const Field<Record> (&members)[N], std::initializer_list<Row> rows) {
        Record former = {};
        for (const Row& row : rows) {
            readClean(fmt::format("{0} \"{0}\" {1} end {0}", kind, row.statements));
            const auto& made = record<Record>(kind, type);
            std::string changed;
            for (const Field<Record>& m : members)
                if (m.text(made) != m.text(former)) changed += fmt::format(" {} {}", m.name, m.text(made));
            EXPECT_EQ(changed, std::string(" ") + row.changed) << row.statements;
            if (!*row.statements) former = made;
        }
    }

    std::string names(const std::vector<miTag>& tags) {
        std::string text;
        for (const miTag tag : tags) text += nameOf(tag) + " ";
        return text;
    }

    /// Material, label, kind and corners of each polygon.
    std::string polygons(std::string_view object) {
        std::string text;
        for (const PolygonGroupSource& group : detail<ObjectSource>(object).groups)
            for (const PolygonSource& p : group.polygons) {
                const auto* corners = &group.corners[p.first];
                text += asText(database.name(p.material), p.label, p.convex ? "c" : "p",
                               std::vector<int>(corners, corners + p.count)) +
                        "; ";
            }
        return text;
    }
};

#define F(member) {#member, [](const Record& r) { return asText(r.member); }}

TEST_F(Elements, OptionsByStatement) {
    using Record = miOptions;
    // clang-format off
    constexpr Field<Record> kMembers[] = {
        F(min_samples), F(max_samples), F(def_min_samples), F(def_max_samples), F(rast_collect_rate),
        F(rast_motion_resample), F(rast_shading_samples), F(contrast), F(time_contrast), F(filter), F(filter_size_x),
        F(filter_size_y), F(reflection_depth), F(refraction_depth), F(trace_depth), F(trace), F(scanline),
        F(photon_reflection_depth), F(photon_refraction_depth), F(photon_trace_depth), F(shutter_delay), F(shutter),
        F(motion), F(n_motion_vectors), F(shadow), F(shadow_sort), F(face), F(render_space), F(use_shadow_maps),
        F(recompute_shadow_maps), F(shadow_map_motion), F(space_max_size), F(space_max_depth), F(no_images), F(no_lens),
        F(no_geometry), F(no_displace), F(no_predisplace), F(no_output), F(no_merge), F(no_hair), F(no_pass),
        F(samplelock), F(nopremult), F(lightmap), F(colorclip), F(gamma), F(fb_virtual), F(luminance_weight), F(caustic),
        F(caustic_flag), F(caustic_accuracy), F(caustic_radius), F(caustic_scale), F(caustic_filter),
        F(caustic_filter_const), F(globillum), F(globillum_flag), F(globillum_accuracy), F(globillum_scale),
        F(photonvol_accuracy), F(photonvol_scale), F(photonmap_rebuild), F(photonmap_only), F(finalgather),
        F(finalgather_view), F(finalgather_rays), F(finalgather_maxradius), F(finalgather_minradius),
        F(finalgather_filter), F(finalgather_rebuild), F(finalgather_scale), F(finalgather_sec_scale),
        F(fg_reflection_depth), F(fg_refraction_depth), F(fg_diffuse_depth), F(fg_trace_depth), F(fg_falloff_start),
        F(fg_falloff_stop), F(fg_presamp_density)};
    expectChanges("options", miSCENE_OPTIONS, kMembers, {
        {"", "min_samples -2 def_min_samples -128 def_max_samples 127 rast_collect_rate 3 rast_motion_resample 1 "
         "rast_shading_samples 1 contrast 0.1 0.1 0.1 0.1 time_contrast 0.2 0.2 0.2 0.2 filter b filter_size_x 1 "
         "filter_size_y 1 reflection_depth 2 refraction_depth 2 trace_depth 4 trace 1 scanline 1 "
         "photon_reflection_depth 5 photon_refraction_depth 5 photon_trace_depth 5 n_motion_vectors 1 shadow 1 face a "
         "render_space o recompute_shadow_maps n shadow_map_motion 1 space_max_size 10 "
         "space_max_depth 40 no_images 1 samplelock 1 lightmap 1 gamma 1 fb_virtual 1 luminance_weight 0.299 0.587 "
         "0.114 0 caustic_flag 3 caustic_accuracy 100 caustic_scale 1 1 1 1 caustic_filter b caustic_filter_const 1.1 "
         "globillum_flag 3 globillum_accuracy 500 globillum_scale 1 1 1 1 photonvol_accuracy 30 photonvol_scale 1 1 1 "
         "1 photonmap_rebuild 1 finalgather_rays 1000 finalgather_filter 1 finalgather_rebuild 1 finalgather_scale 1 1 "
         "1 1 finalgather_sec_scale 1 1 1 1 fg_presamp_density 1"},
        {"samples 3 filter triangle shadow off shadowmap opengl",
         "min_samples 1 max_samples 3 filter t filter_size_x 2 filter_size_y 2 shadow 0 use_shadow_maps o"},
        {"samples 1 4 -5 6 filter clip gauss 5 shadow sort face front",
         "min_samples 1 max_samples 4 def_min_samples -5 def_max_samples 6 filter g filter_size_x 5 filter_size_y 5 "
         "shadow l shadow_sort 1 face f"},
        {"filter clip lanczos trace depth 3 shutter .75 motion steps 5 shadow segments scanline off",
         "filter L filter_size_x 4 filter_size_y 4 reflection_depth 3 refraction_depth 3 trace_depth 6 scanline 0 "
         "shutter 0.75 motion 1 n_motion_vectors 5 shadow s"},
        {"filter mitchell 5 6 trace depth 4 5 trace off shutter .25 .75 motion off scanline rapid face back",
         "filter m filter_size_x 5 filter_size_y 6 reflection_depth 4 refraction_depth 5 trace_depth 9 trace 0 "
         "scanline 114 shutter_delay 0.25 shutter 0.75 face b"},
        {"trace depth 2 2 7 photon trace depth 1 2 contrast .1 .2 .6 time contrast .4 .5 .6 .7",
         "contrast 0.1 0.2 0.6 0.3 time_contrast 0.4 0.5 0.6 0.7 trace_depth 7 photon_reflection_depth 1 "
         "photon_refraction_depth 2 photon_trace_depth 3"},
        {"trace depth 2147483647 2 shadowmap only shadowmap rebuild merge bsp size 11 bsp depth 30 acceleration large "
         "bsp grid 3 4", "reflection_depth 2147483647 trace_depth 2147483647 use_shadow_maps -127 "
         "recompute_shadow_maps m space_max_size 11 space_max_depth 30"},
        {"lens off volume on geometry off displace off displace presample off output off merge off hair off pass off "
         "premultiply off", "no_lens 1 no_geometry 1 no_displace 1 no_predisplace 1 no_output 1 no_merge 1 no_hair 1 "
         "no_pass 1 nopremult 1"},
        {"shadowmap rebuild on lightmap only colorclip raw luminance weight .2 .3 .5 object space hardware 1",
         "recompute_shadow_maps y lightmap 2 colorclip 2 luminance_weight 0.2 0.3 0.5 0"},
        {"caustic 2 caustic accuracy 70 .5 caustic filter cone 1.5 globillum on globillum accuracy 80 globillum scale "
         "2 3 4 5", "caustic 1 caustic_flag 2 caustic_accuracy 70 caustic_radius 0.5 caustic_filter c "
         "caustic_filter_const 1.5 globillum 1 globillum_accuracy 80 globillum_scale 2 3 4 5"},
        {"caustic 0 caustic scale 2 3 4 caustic filter gauss photonmap only", "caustic_flag 0 caustic_scale 2 3 4 1 "
         "caustic_filter g photonmap_only 1"},
        {"finalgather on finalgather accuracy 70 .5 finalgather falloff 3 finalgather trace depth 4",
         "finalgather 1 finalgather_rays 70 finalgather_maxradius 0.5 fg_reflection_depth 4 fg_refraction_depth 4 "
         "fg_trace_depth 8 fg_falloff_stop 3"},
        {"finalgather fastlookup finalgather accuracy view 50 10 2 finalgather falloff 3 4 finalgather rebuild freeze "
         "finalgather trace depth 200 100 3 finalgather filter 2 finalgather scale 2 3 4",
         "finalgather 102 finalgather_view 1 finalgather_rays 50 finalgather_maxradius 10 finalgather_minradius 2 "
         "finalgather_filter 2 finalgather_rebuild 2 finalgather_scale 2 3 4 1 fg_reflection_depth 200 "
         "fg_refraction_depth 100 fg_diffuse_depth 3 fg_trace_depth 255 fg_falloff_start 3 fg_falloff_stop 4"}});
    // clang-format on
}

TEST_F(Elements, OptionsNameBuffersShadersAndStrings) {
    readClean(R"(
declare shader "state" (integer "n") end declare declare shader "inherit" (string "mask", integer "level") end declare
options "o" samples 3 frame buffer 0 "+rgba_fp" frame buffer 7 state [ "state" ("n" 1), "state" ("n" 2) ]
    inheritance "inherit" "rays" 64 "progressive" on "who" "knows" "scale" 0.5 "gi color" 1 2 3
    attribute const integer "who2" 4 "progressive" off "unified sampling" on finalgather only
    approximate fine view length 0.5 0 4 all diagnostic samples on diagnostic grid object 2
    finalgather file ["a.fg", "b.fg"] autovolume off end options
incremental options "o" "who" 7 samples 0 2 end options instance "i" ( "level" 4, "mask" "ab" ) end instance)");
    const auto& o = record<miOptions>("o", miSCENE_OPTIONS);
    const auto& d = detail<OptionsDetail>("o");
    EXPECT_EQ(asText(o.min_samples, o.max_samples, o.no_images, o.unified_sampling, o.irradiance_particles,
                     detail<FunctionList>(o.state_func).functions.size(), d.gatherOnly, d.gatherFiles),
              "0 2 3 1 0 2 true a.fg b.fg");
    EXPECT_EQ(d.frameBuffers, (std::map<int, std::string>{{0, "+rgba_fp"}, {7, "rgba"}}));
    std::string text;
    for (const auto& [name, value] : detail<StringOptions>(o.string_options).values)
        text += std::visit([&](const auto& v) { return asText(name, v, ""); }, value);
    EXPECT_EQ(text, "gi color 1 2 3 progressive false rays 64 scale 0.5 unified sampling true who 7 who2 4 ");
    // Instance parameters are laid out for the inheritance function.
    const auto* i = database.as<miInstance>(find("i"), miSCENE_INSTANCE);
    miTag words[2] = {};
    std::memcpy(words, i->param, sizeof words);
    EXPECT_EQ(asText(i->param_size, nameOf(i->param_decl), database.string(words[0]), words[1]), "8 inherit ab 4");

    EXPECT_TRUE(read("options \"b\"\n autovolume on\n autovolume on camera space\nend options"));
    EXPECT_TRUE(record<miOptions>("b", miSCENE_OPTIONS).autovolume);
    expectParts(warnings, {"test.mi:2: automatic volumes are not supported", "camera space is not supported"});
    EXPECT_EQ(warnings.find("test.mi:3: automatic"), std::string::npos) << warnings;
}

TEST_F(Elements, CameraBuffersAndOutputs) {
    using Record = miCamera;
    // clang-format off
    constexpr Field<Record> kMembers[] = {
        F(orthographic), F(focal), F(aperture), F(aspect), F(clip.min), F(clip.max), F(x_resolution), F(y_resolution),
        F(window.xl), F(window.yl), F(window.xh), F(window.yh), F(frame), F(frame_time), F(x_offset), F(y_offset)};
    expectChanges("camera", miSCENE_CAMERA, kMembers, {
        {"", "focal 1 aperture 1 aspect 1.33 clip.min 0.0001 clip.max 1e+06 x_resolution 768 y_resolution 576 "
         "window.xh 65535 window.yh 65535"},
        {"focal infinity resolution 40 30 window 3 4 30 20 frame 7",
         "orthographic 1 x_resolution 40 y_resolution 30 window.xl 3 window.yl 4 window.xh 30 window.yh 20 frame 7"},
        {"focal 3 aperture 1.5 aspect 2 clip .5 90 offset 1.5 -2 frame 8 .25",
         "focal 3 aperture 1.5 aspect 2 clip.min 0.5 clip.max 90 frame 8 frame_time 0.25 x_offset 1.5 y_offset -2"}});
    // clang-format on
    readClean(R"(declare shader "post" () end declare
camera "c" resolution 40 30 lens "post" () "post" () volume "post" () framebuffer "depth" datatype "z" filtering on
    framebuffer "main" filename "main.exr" compression "piz" datatype "rgba_fp"
    framebuffer "id" datatype "tag" user on quality 6 dod on filetype "iff" framebuffer "depth" filename "z.exr"
    framebuffer "last" primary on primary off
    output "rgba" "tif" "a.tif" quality 80 output "pic" "b.pic" output "rgba,+z" "post" ()
    output "+z" "exr" "z.exr" compress "zip" end camera
camera "d" framebuffer "a" datatype "-rgb_h" framebuffer "b" primary on datatype "s" end camera)");
    const auto& c = record<Record>("c", miSCENE_CAMERA);
    using B = FrameBufferDescription;
    std::string text;
    for (const char* camera : {"c", "d"})
        for (const B& b : detail<FrameBufferSet>(record<Record>(camera, miSCENE_CAMERA).buffertag).buffers)
            text += fields(b, &B::name, &B::datatype, &B::filtering, &B::primary, &B::user, &B::dataWindow,
                           &B::filename, &B::filetype, &B::compression, &B::quality) +
                    "; ";
    EXPECT_EQ(text,
              "depth 10 true false false false z.exr   -1; main 13 true true false false main.exr  piz -1; "
              "id 12 false false true true  iff  6; last 0 true false false false    -1; "
              "a 22 false false false false    -1; b 6 true true false false    -1; ");  // the first color is primary
    text.clear();
    using O = OutputFile;
    for (const O& file : detail<CameraDetail>("c").files)
        text += fields(file, &O::type, &O::format, &O::file, &O::compression, &O::quality) + "; ";
    EXPECT_EQ(text, "rgba tif a.tif  80; pic b.pic  -1; +z exr z.exr zip -1; ");
    EXPECT_EQ(asText(detail<FunctionList>(c.lens).functions.size(), database.type(c.output) == miSCENE_FUNCTION),
              "2 true");
    readClean(R"(incremental camera "c" focal 2 lens "post" () volume output end camera)");
    const auto& e = record<Record>("c", miSCENE_CAMERA);
    EXPECT_EQ(asText(e.focal, e.x_resolution, database.type(e.lens) == miSCENE_FUNCTION, e.volume,
                     detail<CameraDetail>("c").files.size(), detail<FrameBufferSet>(e.buffertag).buffers.size()),
              "2 40 true 0 0 0");
}

TEST_F(Elements, LightsByStatement) {
    using Record = miLight;
    // clang-format off
    constexpr Field<Record> kMembers[] = {
        F(type), F(dirlight_has_org), F(origin), F(direction), F(spread), F(area), F(primitive.rectangle.edge_u),
        F(primitive.rectangle.edge_v), F(samples_u), F(samples_v), F(low_level), F(low_samples_u), F(low_samples_v),
        F(energy), F(exponent), F(visible), F(caustic_store_photons), F(caustic_emit), F(label), F(use_shadow_maps),
        F(shadowmap_resolution), F(shadowmap_samples), F(shadowmap_bias)};
    // Types: point 0, direction 1, spot 2; areas: rectangle 1, disc 2, sphere 3, cylinder 4, user 6.
    expectChanges("light", miSCENE_LIGHT, kMembers, {
        {"", "samples_u 3 samples_v 3 low_level 3 low_samples_u 2 low_samples_v 2 exponent 2 shadowmap_resolution 256 "
         "shadowmap_samples 1"},
        {"origin 1 2 3 spread .5 sphere 1.5",
         "origin 1 2 3 spread 0.5 area 3 primitive.rectangle.edge_u 1.5 0 0"},
        {"direction 0 0 -2 spread .5 disc 1 2 3 1.5 4", "type 1 direction 0 0 -1 spread 0.5 area 2 "
         "primitive.rectangle.edge_u 1 2 3 primitive.rectangle.edge_v 1.5 0 0 samples_u 4 samples_v 1"},
        {"origin 1 2 3 direction 0 3 4 user 4 5 6 7 8", "type 1 dirlight_has_org 1 origin 1 2 3 direction 0 0.6 0.8 "
         "area 6 samples_u 4 samples_v 5 low_level 6 low_samples_u 7 low_samples_v 8"},
        {"origin 1 2 3 direction 2 3 6 spread .9 cylinder 1 2 3 1.5 4 5 6 7",
         "type 2 origin 1 2 3 direction 0.28571 0.42857 0.85714 spread 0.9 area 4 primitive.rectangle.edge_u 1 2 3 "
         "primitive.rectangle.edge_v 1.5 0 0 samples_u 4 samples_v 5 low_level 6 low_samples_u 7 low_samples_v 1"},
        {"rectangle 1 2 3 4 5 6 visible energy 1 2 3 exponent 1.5 caustic photons 7 8",
         "area 1 primitive.rectangle.edge_u 1 2 3 primitive.rectangle.edge_v 4 5 6 energy 1 2 3 1 exponent 1.5 visible "
         "1 caustic_store_photons 7 caustic_emit 8"},
        {"shadowmap on shadowmap resolution 99 samples 6 bias .25 tag 5", "label 5 use_shadow_maps 1 "
         "shadowmap_resolution 99 shadowmap_samples 6 shadowmap_bias 0.25"}});
    // clang-format on
    readClean(R"(light "spot" origin 0 0 0 direction 0 0 1 spread 0.9 rectangle 1 0 0 0 2 0 5 end light
                 incremental light "spot" exponent 1 end light incremental light "spot" rectangle end light)");
    EXPECT_EQ(fields(record<Record>("spot", miSCENE_LIGHT), &Record::type, &Record::exponent, &Record::area,
                     &Record::samples_u, &Record::samples_v),
              "2 1 0 5 1");
}

TEST_F(Elements, LightProfiles) {
    settings.texturePath.push_back(folder);
    write("good.ies", "TILT=NONE\n1 1 1 2 1 1 2 0 0 0\n1 1 1\n0 90\n0\n8 4\n");
    write("bad.ies", "TILT=NONE\n1 1 1 2 1 1\n2 0 wide 0");
    const auto text = [&] {
        const LightProfile& p = detail<LightProfile>("p");
        EXPECT_EQ(record<LightProfileRecord>("p", miSCENE_LIGHTPROFILE).distribution, p.distribution.get());
        return asText(p.curve, p.distribution->grid().horizontal.size(), p.distribution->grid().vertical.size());
    };
    readClean("lightprofile \"p\" format ies flags 0 file \"good.ies\" hermite 3 resolution 4 6 end lightprofile");
    EXPECT_EQ(text(), asText(Curve::Smooth, 5, 7));
    readClean("incremental lightprofile \"p\" hermite 1 resolution 0 0 end lightprofile");
    EXPECT_EQ(text(), asText(Curve::Straight, 2, 2));
    EXPECT_TRUE(
        read("lightprofile q flags 4 file \"good.ies\" end lightprofile\nlight \"l\" lightprofile p end light"));
    expectParts(warnings,
                {"test.mi:1: flags of a light profile", "test.mi:2: the light profile of a light element is not"});
    EXPECT_EQ(nameOf(record<miLight>("l", miSCENE_LIGHT).lightprofile), "p");
    const std::pair<const char*, const char*> broken[] = {
        {"file \"bad.ies\"", "bad.ies:3: found \"wide\", expected the length"},
        {"file \"none.ies\"", "none.ies: the file cannot be read, or is empty"},
        {"format ies", "light profile \"p\": found no file, expected file \"name\""},
        {"format eulumdat file \"good.ies\"", "good.ies:4: found 0, expected the number of C planes"},
        {"file \"good.ies\" hermite 9", "expected"}};
    for (const auto& [body, message] : broken) {
        errors.clear();
        EXPECT_FALSE(read(fmt::format("\nlightprofile \"p\"\n {} end lightprofile\n", body))) << body;
        expectParts(errors, {"test.mi:", message});
    }
}

TEST_F(Elements, Textures) {
    readClean(R"(declare shader "noise" (scalar "s" default 2) end declare
                 local filter 2.5 color texture "file" "missing.tif"
                 scalar texture "gray" [ 2 2 ] '00ff' '80 00'
                 filter color texture "wide" [ 1 1 2 ] 'ffff00008000ffff'
                 vector texture "float" [ 1 1 4 ] '3fc00000 40200000 c0000000'
                 color texture "made" "noise" ("s" 3))");
    using T = TextureDetail;
    const auto text = [&](const char* name) {
        return fields(detail<T>(name), &T::components, &T::width, &T::height, &T::filterScale, &T::local, &T::pixels);
    };
    EXPECT_EQ(text("file"), "4 0 0 2.5 true ");
    EXPECT_EQ(text("gray"), "1 2 2 0 false 0 1 0.50196 0");
    EXPECT_EQ(text("wide"), "4 1 1 1 false 1 0 0.50001 1");  // 8000 / ffff
    EXPECT_EQ(text("float"), "3 1 1 0 false 1.5 2.5 -2");
    EXPECT_EQ(database.type(find("made")), miSCENE_FUNCTION);
}

TEST_F(Elements, PolygonsOfAllKinds) {
    readClean(R"(material "red" end material material "m" end material
object "o" transform 2 0 0 0 0 3 0 0 0 0 4 0 5 0 0 1
    group _mesh merge 0.1
        0 0 0  4 0 0  4 4 0  0 4 0  1 1 0  2 1 0  1 2 0  0 0 1  .5 .25 0
        v 0 n 7 t 8  v 1 n 7 t 8 7 7  v 2 d 7 7 t 8 m 1 u 2  v 3 cusp level 2  v 4 v 5 d 1 2 3 4 5 v 6
        c 0 1 2 3  p "red" 0 1 2 3 hole 4 5 6  cp 0 1 2  c "m" 3 2 1  strip 0 1 2 3 4  fan 0 1 2 3
        approximate fine view length 0.5 0 5
    end group
end object
object "tags" tagged on group 0 0 0 1 0 0 0 1 0 v 0 v 1 v 2 c 4294967295 0 1 2 c 7 0 1 2 end group end object
object group 0 0 0 v 0 v 0 v 0 c 0 1 2 end group end object)");
    // A material stays for what follows; every other triangle of a strip is turned, so that all face one side.
    EXPECT_EQ(polygons("o"),
              "0 c 0 1 2 3; red 0 p 0 1 2 3 -1 4 5 6; red 0 c 0 1 2; m 0 c 3 2 1; m 0 c 0 1 2; "
              "m 0 c 2 1 3; m 0 c 2 3 4; m 0 c 0 1 2; m 0 c 0 2 3; ");
    EXPECT_EQ(polygons("tags"), "4294967295 c 0 1 2; 7 c 0 1 2; ");
    const PolygonGroupSource& g = detail<ObjectSource>("o").groups.at(0);
    std::string vertices;
    using V = VertexSource;
    for (const V& v : g.vertices)
        vertices += fields(v, &V::normal, &V::firstExtra, &V::derivatives, &V::textures, &V::motions, &V::users) + "; ";
    EXPECT_EQ(vertices,
              "7 0 0 1 0 0; 7 3 0 1 0 0; -1 6 2 1 1 1; -1 13 0 0 0 0; -1 13 0 0 0 0; -1 13 5 0 0 0; -1 18 0 0 0 0; ");
    EXPECT_EQ(asText(g.extras), "8 -1 -1 8 7 7 7 7 8 -1 -1 1 2 1 2 3 4 5");
    const auto& o = record<miObject>("o", miSCENE_OBJECT);
    EXPECT_EQ(asText(o.bbox_min, o.bbox_max), "5 0 0 13 12 0");  // of the vertices, not of all vectors
}

TEST_F(Elements, TriangleLists) {
    // One vertex of everything: its 24 numbers in the order of the letters, whatever order the lists have.
    const std::string floats("\x3f\x80\0\0\x40\0\0\0\x40\x40\0\0", 12), corners("\0\0\0\0\0\0\0\0\0\0\0\0", 12);
    readClean(R"(material "m" end material
object "text" trilist vertex 1 p n d m b t 2 u 1 triangle 2
    [ 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20 21 22 23 24 ] [ 0 0 0 "m" 0 0 0 ] end trilist
    approximate trilist fine view length 1 end object
object "binary" tagged trilist vertex 1 p triangle 1 scalar `)" +
              floats + "` integer `" + corners + "` integer `" + std::string("\0\0\1\2", 4) +
              "` end trilist end object");
    const PolygonGroupSource& g = detail<ObjectSource>("text").groups.at(0);
    EXPECT_EQ(asText(g.vectors), "1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20 21 22 23 0 24 0 0");
    EXPECT_EQ(asText(g.vertices.at(0).normal, g.extras), "1 2 3 7 5 6 4 8");
    EXPECT_EQ(polygons("text"), "0 c 0 0 0; m 0 c 0 0 0; ");
    EXPECT_EQ(asText(detail<ObjectSource>("binary").groups.at(0).vectors), "1 2 3");
    EXPECT_EQ(polygons("binary"), "258 c 0 0 0; ");

    // What is not supported is left out with a warning.
    EXPECT_TRUE(read(R"(object "o" basis "b" bezier 3
group 0 0 0 v 0
  surface "s" "m" "b" 0.0 1.0 0.0 "b" 0. 1. 0. 0 0 0 end group
group 1 2 3 v 0 v 0 v 0 c 0 1 2 end group end object
object "h" hair radius 1 hair t 2 scalar [ 6 ] 0 0 0 1 1 1 hair [ 2 ] 0 6 end hair end object)"));
    expectParts(warnings, {"test.mi:3: geometry of the kind \"surface\" is not supported", "test.mi:5: hair is not"});
    EXPECT_EQ(asText(detail<ObjectSource>("o").groups.at(0).vectors), "1 2 3");
}

TEST_F(Elements, ObjectsByStatement) {
    using Record = miObject;
    // clang-format off
    constexpr Field<Record> kMembers[] = {
        F(visible), F(shadow), F(reflection), F(refraction), F(transparency), F(finalgather), F(caustic), F(globillum),
        F(face), F(bbox_min), F(bbox_max), F(bbox_min_m), F(bbox_max_m), F(mbox_explicit), F(label), F(min_samples),
        F(max_samples), F(maxdisplace), F(ray_offset), F(volume_id), F(shading_samples)};
    expectChanges("object", miSCENE_OBJECT, kMembers, {
        {"", "shadow 2 reflection 2 refraction 2 transparency 3 finalgather 2 caustic 2 globillum 2 face 97 "
         "min_samples -128 max_samples 127"},
        {"visible shadow 1 trace face back", "visible 1 shadow 1 reflection 3 refraction 3 finalgather 3 face 98"},
        {"refraction 0 transparency off caustic on globillum", "refraction 0 transparency 2 caustic 3 globillum 3"},
        {"trace 1 finalgather on reflection off", "refraction 1 finalgather 3"},
        {"box 1 2 3 4 5 6 tag 13", "bbox_min 1 2 3 bbox_max 4 5 6 label 13"},
        {"motion box 7 8 9 10 11 12", "bbox_min_m 7 8 9 bbox_max_m 10 11 12 mbox_explicit 1"},
        {"samples 3 max displace .5", "max_samples 3 maxdisplace 0.5"},
        {"samples 3 4 ray offset .25 volume group 6", "min_samples 3 max_samples 4 ray_offset 0.25 volume_id 6"}});
    // clang-format on
}

TEST_F(Elements, Instances) {
    readClean(R"(material "a" end material material "b" end material light "l" end light
instance "l1" "l" end instance instance "l2" "l" end instance
instgroup "both" "l1" "l2" end instgroup instance "bothi" "both" end instance
declare shader "loop" (array light "lights", light "one") end declare
shader "s" "loop" ("lights" [ "bothi", "l1" ], "one" "l2")
instance "i" "later" hide on visible off shadow off trace off transparency 1 caustic globillum 5 face back
    override material [ "a", "b" ] light "exclusive" [ "bothi" ] light shadow [ ] tag 9
    transform 2 0 0 0  0 4 0 0  0 0 5 0  -2 -4 -6 1  motion transform 1 0 0 0 0 1 0 0 0 0 1 0 2 3 4 1 end instance
object "later" end object instance "plain" "later" material b end instance)");
    const auto text = [&](const char* name) {
        const auto& i = record<miInstance>(name, miSCENE_INSTANCE);
        const auto& d = detail<InstanceDetail>(name);
        const float *down = i.tf.global_to_local, *up = i.tf.local_to_global;
        return asText(nameOf(i.item), i.off, i.mtl_override, i.mtl_array_size, i.label, i.exclusive, i.shadow_excl,
                      i.shadow, i.reflection, "flags", d.visible, d.shadow, d.reflection, d.refraction, d.transparency,
                      d.finalgather, d.caustic, d.globillum, d.face, "lists", names(d.materials), names(d.lights),
                      d.hasLights, d.hasShadowLights, d.shadowLights.size(), "matrices", i.tf.identity, down[0],
                      down[5], down[10], down[13], up[0], up[5], up[10], up[13], d.hasMotionTransform, d.motionOff,
                      i.motion_transform[13]);
    };
    EXPECT_EQ(text("i"),
              "later 1 1 2 9 1 0 6 12 flags 0 6 12 12 1 12 3 5 b lists a b  l1 l2  true true 0 "
              "matrices 0 2 4 5 -4 0.5 0.25 0.2 1 true false 3");
    EXPECT_EQ(text("plain"),
              "later 0 0 0 0 0 0 0 0 flags -1 -1 -1 -1 -1 -1 -1 -1 0 lists b   false false 0 "
              "matrices 1 1 1 1 0 1 1 1 0 false false 0");
    // The group's lights take the place of its instance in arrays.
    int lights[2];
    std::memcpy(lights, record<miFunction>("s", miSCENE_FUNCTION).parameters, sizeof lights);
    EXPECT_EQ(lights[1], 3);
    readClean(R"(incremental instance "i" visible on transform motion off end instance)");
    EXPECT_EQ(text("i"),
              "later 1 1 2 9 1 0 6 12 flags 1 6 12 12 1 12 3 5 b lists a b  l1 l2  true true 0 "
              "matrices 1 1 1 1 0 1 1 1 0 false true 3");
    EXPECT_TRUE(read("instance \"flat\" transform 1 0 0 0 0 1 0 0 0 0 0 0 0 0 0 1 end instance"));
    expectParts(warnings, {"singular"});
}

}  // namespace
}  // namespace lumorender
