// Options, cameras, lights, textures, objects and instances as records and details.
#include "scene_fixture.h"

namespace lumorender {
namespace {

class Elements : public SceneTest {
protected:
    const PolygonGroupSource& group(std::string_view name, std::size_t index = 0) {
        static const PolygonGroupSource none;
        const auto* source = database.detail<ObjectSource>(database.find(name));
        EXPECT_TRUE(source && index < source->groups.size()) << errors;
        return source && index < source->groups.size() ? source->groups[index] : none;
    }

    std::vector<int> corners(const PolygonGroupSource& g, std::size_t polygon) {
        const PolygonSource& p = g.polygons.at(polygon);
        return {g.corners.begin() + p.first, g.corners.begin() + p.first + p.count};
    }
};

TEST_F(Elements, Options) {
    readClean(R"(
declare shader "state" (integer "n") end declare declare shader "inherit" (string "mask", integer "level") end declare
options "plain" end options
options "o" samples 3 shadow segments shutter 0.25 0.75 trace depth 3 trace depth 4 5 photon trace depth 1 2 9
    filter clip lanczos scanline rast object space lens off contrast 1 0 0.5 premultiply off
    acceleration large bsp bsp depth 30 diagnostic samples on diagnostic grid object 2
    caustic 2 globillum on globillum accuracy 70 0.5 finalgather fastlookup finalgather accuracy view 50 10 2
    finalgather trace depth 1 2 3 finalgather rebuild freeze approximate fine view length 0.5 0 4 all
    frame buffer 0 "+rgba_fp" state [ "state" ("n" 1), "state" ("n" 2) ] inheritance "inherit"
    "ambient occlusion rays" 64 "progressive" on "who" "knows" "light relative scale" 0.5 "gi color" 1 2 3
    attribute const integer "who2" 4 "progressive" off
end options
incremental options "o" "who" 7 samples 0 2 end options
instance "i" ( "level" 4, "mask" "ab" ) end instance)");

    const auto& plain = record<miOptions>("plain", miSCENE_OPTIONS);
    EXPECT_EQ(plain.min_samples, -2);
    EXPECT_EQ(plain.shadow, 1);
    EXPECT_EQ(plain.render_space, 'o');
    EXPECT_EQ(plain.finalgather_rays, 1000);
    EXPECT_EQ(plain.def_min_samples, -128);
    EXPECT_NEAR(plain.luminance_weight.g, 0.587f, 1e-6f);

    const auto& o = record<miOptions>("o", miSCENE_OPTIONS);
    EXPECT_EQ(o.min_samples, 0);
    EXPECT_EQ(o.max_samples, 2);
    EXPECT_EQ(o.shadow, 's');
    EXPECT_EQ(o.shutter_delay, 0.25f);
    EXPECT_EQ(o.shutter, 0.75f);
    EXPECT_EQ(o.motion, 1u);
    EXPECT_EQ(o.reflection_depth, 4);
    EXPECT_EQ(o.trace_depth, 9);
    EXPECT_EQ(o.photon_trace_depth, 9);
    EXPECT_EQ(o.filter, 'L');
    EXPECT_EQ(o.filter_size_y, 4.0f);
    EXPECT_EQ(o.scanline, 'r');
    EXPECT_EQ(o.no_lens, miTRUE);
    EXPECT_EQ(o.contrast.a, 0.5f);
    EXPECT_EQ(o.nopremult, miTRUE);
    EXPECT_EQ(o.caustic_flag, 2);
    EXPECT_EQ(o.globillum_accuracy, 70);
    EXPECT_EQ(o.finalgather, 'f');
    EXPECT_EQ(o.finalgather_view, 1);
    EXPECT_EQ(o.fg_diffuse_depth, 3);
    EXPECT_EQ(o.fg_trace_depth, 3);
    EXPECT_EQ(database.detail<FunctionList>(o.state_func)->functions.size(), 2u);
    EXPECT_EQ(database.detail<OptionsDetail>(database.find("o"))->frameBuffers.at(0), "+rgba_fp");

    const auto& values = database.detail<StringOptions>(o.string_options)->values;
    EXPECT_EQ(std::get<int>(values.at("ambient occlusion rays")), 64);
    EXPECT_EQ(std::get<bool>(values.at("progressive")), false);
    EXPECT_EQ(std::get<int>(values.at("who")), 7);
    EXPECT_EQ(std::get<int>(values.at("who2")), 4);
    EXPECT_EQ(std::get<float>(values.at("light relative scale")), 0.5f);
    EXPECT_EQ(std::get<std::vector<float>>(values.at("gi color"))[2], 3.0f);

    // Instance parameters are laid out for the inheritance function.
    const auto* i = database.as<miInstance>(database.find("i"), miSCENE_INSTANCE);
    ASSERT_EQ(i->param_size, 8);
    EXPECT_EQ(i->param_decl, database.find("inherit"));
    miTag words[2];
    std::memcpy(words, i->param, sizeof words);
    EXPECT_EQ(database.string(words[0]), "ab");
    EXPECT_EQ(words[1], 4u);
}

TEST_F(Elements, CameraBuffersAndOutputs) {
    readClean(R"(declare shader "post" () end declare
camera "c" focal infinity resolution 40 30 lens "post" () "post" () volume "post" ()
    framebuffer "depth" datatype "z" filtering on
    framebuffer "main" filename "main.exr" compression "piz" datatype "rgba_fp"
    framebuffer "id" datatype "tag" user on
    framebuffer "depth" filename "main.exr"
    output "rgba" "tif" "a.tif" quality 80 output "pic" "b.pic" output "rgba,+z" "post" ()
    output "+z" "exr" "z.exr" compress "zip"
end camera)");
    const auto& c = record<miCamera>("c", miSCENE_CAMERA);
    EXPECT_TRUE(c.orthographic);
    EXPECT_NEAR(c.aspect, 1.33f, 1e-6f);
    EXPECT_EQ(c.window.xh, 65535);
    EXPECT_EQ(database.detail<FunctionList>(c.lens)->functions.size(), 2u);
    const auto* buffers = database.detail<FrameBufferSet>(c.buffertag);
    ASSERT_EQ(buffers->buffers.size(), 3u);
    EXPECT_EQ(buffers->buffers[0].datatype, miIMG_TYPE_Z);
    EXPECT_TRUE(buffers->buffers[0].filtering);
    EXPECT_EQ(buffers->buffers[0].filename, "main.exr");
    EXPECT_EQ(buffers->primaryPosition(), 1);  // the first color buffer
    EXPECT_FALSE(buffers->buffers[2].filtering);
    EXPECT_EQ(buffers->shaderIndex("id"), 2);
    const auto* detail = database.detail<CameraDetail>(database.find("c"));
    ASSERT_EQ(detail->files.size(), 3u);
    EXPECT_EQ(detail->files[0].quality, 80);
    EXPECT_EQ(detail->files[1].format, "pic");
    EXPECT_EQ(detail->files[2].type, "+z");
    EXPECT_EQ(detail->files[2].compression, "zip");
    EXPECT_EQ(database.type(c.output), miSCENE_FUNCTION);

    readClean(R"(incremental camera "c" focal 2 lens "post" () volume output end camera)");
    const auto& edited = record<miCamera>("c", miSCENE_CAMERA);
    EXPECT_FALSE(edited.orthographic);
    EXPECT_EQ(edited.x_resolution, 40);
    EXPECT_EQ(database.type(edited.lens), miSCENE_FUNCTION);
    EXPECT_EQ(edited.volume, 0u);
    EXPECT_TRUE(database.detail<CameraDetail>(database.find("c"))->files.empty());
    EXPECT_TRUE(database.detail<FrameBufferSet>(edited.buffertag)->buffers.empty());
}

TEST_F(Elements, LightTypesFollowFromStatements) {
    readClean(R"(light "point" origin 1 2 3 spread 0.5 end light light "infinite" direction 0 0 -2 spread 0.5 end light
                 light "plane" origin 0 0 0 direction 0 3 4 end light
                 light "spot" origin 0 0 0 direction 0 0 1 spread 0.9 rectangle 1 0 0 0 2 0 5 energy 1 2 3 end light
                 incremental light "spot" exponent 1 end light
                 incremental light "spot" rectangle end light)");
    EXPECT_EQ(record<miLight>("point", miSCENE_LIGHT).type, miLIGHT_ORIGIN);
    EXPECT_EQ(record<miLight>("infinite", miSCENE_LIGHT).type, miLIGHT_DIRECTION);
    EXPECT_EQ(record<miLight>("infinite", miSCENE_LIGHT).direction.z, -1.0f);
    EXPECT_TRUE(record<miLight>("plane", miSCENE_LIGHT).dirlight_has_org);
    EXPECT_FLOAT_EQ(record<miLight>("plane", miSCENE_LIGHT).direction.y, 0.6f);
    const auto& spot = record<miLight>("spot", miSCENE_LIGHT);
    EXPECT_EQ(spot.type, miLIGHT_SPOT);
    EXPECT_EQ(spot.exponent, 1.0f);
    EXPECT_EQ(spot.energy.a, 1.0f);  // outside of parameters a missing alpha is 1
    EXPECT_EQ(spot.area, miLIGHT_NONE);
    EXPECT_EQ(spot.samples_u, 5);
    EXPECT_EQ(spot.samples_v, 1);
}

TEST_F(Elements, Textures) {
    readClean(R"(declare shader "noise" (scalar "s" default 2) end declare
                 local filter 2.5 color texture "file" "missing.tif"
                 scalar texture "gray" [ 2 2 ] '00ff' '80 00'
                 color texture "wide" [ 1 1 2 ] 'ffff00008000ffff'
                 color texture "made" "noise" ("s" 3))");
    const auto* file = database.detail<TextureDetail>(database.find("file"));
    EXPECT_TRUE(file->local);
    EXPECT_EQ(file->filterScale, 2.5f);
    const auto* gray = database.detail<TextureDetail>(database.find("gray"));
    ASSERT_EQ(gray->pixels.size(), 4u);
    EXPECT_EQ(gray->pixels[1], 1.0f);
    const auto* wide = database.detail<TextureDetail>(database.find("wide"));
    ASSERT_EQ(wide->components, 4);
    EXPECT_NEAR(wide->pixels[2], 0x8000 / 65535.0f, 1e-6f);
    EXPECT_EQ(database.type(database.find("made")), miSCENE_FUNCTION);
}

TEST_F(Elements, PolygonsOfAllKinds) {
    readClean(R"(material "red" end material material "p" end material
object "o" visible shadow 1 trace transform 2 0 0 0 0 2 0 0 0 0 2 0 5 0 0 1
    group _mesh merge 0.1
        0 0 0  4 0 0  4 4 0  0 4 0  1 1 0  2 1 0  1 2 0  0 0 1  .5 .25 0
        v 0 n 7 t 8  v 1 n 7 t 8 7 7  v 2 d 7 7 t 8 m 1 u 2  v 3  v 4 v 5 v 6
        c 0 1 2 3  p "red" 0 1 2 3 hole 4 5 6  cp 0 1 2  c "p" 3 2 1  strip 0 1 2 3 4  fan 0 1 2 3
        approximate fine view length 0.5 0 5
    end group
end object)");
    const auto& g = group("o");
    ASSERT_EQ(g.polygons.size(), 4u + 3u + 2u);
    EXPECT_EQ(g.polygons[0].material, 0u);
    EXPECT_FALSE(g.polygons[1].convex);
    EXPECT_EQ(corners(g, 1), (std::vector<int>{0, 1, 2, 3, -1, 4, 5, 6}));
    EXPECT_EQ(g.polygons[2].material, database.find("red"));  // the name stays
    EXPECT_EQ(g.polygons[3].material, database.find("p"));
    EXPECT_EQ(corners(g, 4), (std::vector<int>{0, 1, 2}));
    EXPECT_EQ(corners(g, 5), (std::vector<int>{2, 1, 3}));  // turned, so that it faces as the first does
    EXPECT_EQ(corners(g, 6), (std::vector<int>{2, 3, 4}));
    EXPECT_EQ(corners(g, 8), (std::vector<int>{0, 2, 3}));
    ASSERT_EQ(g.vertices.size(), 7u);
    EXPECT_EQ(g.vertices[1].textures, 1);
    EXPECT_EQ(g.extras[g.vertices[0].firstExtra + 1], -1);
    EXPECT_EQ(g.extras[g.vertices[1].firstExtra + 2], 7);
    const auto& v = g.vertices[2];
    EXPECT_EQ(v.normal, -1);
    EXPECT_EQ(std::vector<int>(g.extras.begin() + v.firstExtra, g.extras.begin() + v.firstExtra + 7),
              (std::vector<int>{7, 7, 8, -1, -1, 1, 2}));
    const auto* o = database.as<miObject>(database.find("o"), miSCENE_OBJECT);
    EXPECT_EQ(o->visible, 1);
    EXPECT_EQ(o->shadow, 1);
    EXPECT_EQ(o->reflection, 3);
    EXPECT_EQ(o->caustic, 2);
    EXPECT_EQ(o->bbox_min.x, 5.0f);
    EXPECT_EQ(o->bbox_max.x, 13.0f);
}

TEST_F(Elements, TaggedObjectsAndTriangleLists) {
    readClean(R"(material "m" end material
object "tags" tagged on group 0 0 0 1 0 0 0 1 0 v 0 v 1 v 2 c 4294967295 0 1 2 c 7 0 1 2 end group end object
object group 0 0 0 v 0 v 0 v 0 c 0 1 2 end group end object
object "tri" trilist vertex 3 p n t 2 triangle 2
    [ 0 0 0 0 0 1 .5 .25   1 0 0 0 0 1 1 1   0 1 0 0 0 1 2 2 ] [ "m" 0 1 2 2 1 0 ] end trilist
    approximate trilist fine view length 1 end object)");
    const auto& tags = group("tags");
    EXPECT_EQ(tags.polygons[0].label, 0xffffffffu);
    EXPECT_EQ(tags.polygons[1].label, 7u);
    EXPECT_EQ(tags.polygons[1].count, 3u);
    const auto& tri = group("tri");
    ASSERT_EQ(tri.polygons.size(), 2u);
    EXPECT_EQ(tri.polygons[1].material, database.find("m"));
    EXPECT_EQ(corners(tri, 1), (std::vector<int>{2, 1, 0}));
    const auto& v = tri.vertices[0];
    const miVector& uv = tri.vectors[static_cast<std::size_t>(tri.extras[v.firstExtra])];
    EXPECT_EQ(uv.y, 0.25f);
    EXPECT_EQ(tri.vectors[static_cast<std::size_t>(v.normal)].z, 1.0f);
}

TEST_F(Elements, OtherGeometryIsLeftOutWithAWarning) {
    EXPECT_TRUE(read(R"(object "o" basis "b" bezier 3
group 0 0 0 v 0
  surface "s" "m" "b" 0.0 1.0 0.0 "b" 0. 1. 0. 0 0 0 end group
group 1 2 3 v 0 v 0 v 0 c 0 1 2 end group end object
object "h" hair radius 1 hair t 2 scalar [ 6 ] 0 0 0 1 1 1 hair [ 2 ] 0 6 end hair end object)"));
    EXPECT_NE(warnings.find("test.mi:3: geometry of the kind \"surface\" is not supported"), std::string::npos);
    EXPECT_NE(warnings.find("test.mi:5: hair is not supported"), std::string::npos) << warnings;
    EXPECT_EQ(group("o").vectors[0].z, 3.0f);
}

TEST_F(Elements, AutomaticVolumesAreKeptWithAWarning) {
    readClean("options \"a\" autovolume off photon autovolume off end options");
    EXPECT_TRUE(read("options \"b\"\n autovolume on\n autovolume on\nend options"));
    EXPECT_TRUE(record<miOptions>("b", miSCENE_OPTIONS).autovolume);
    EXPECT_EQ(warnings.find("test.mi:2: automatic volumes are not supported"), 0U) << warnings;
    EXPECT_EQ(warnings.find("test.mi:3"), std::string::npos) << warnings;
}

TEST_F(Elements, InstanceFlagsLightsAndMaterials) {
    readClean(R"(material "a" end material material "b" end material light "l" end light
instance "l1" "l" end instance instance "l2" "l" end instance
instgroup "both" "l1" "l2" end instgroup instance "bothi" "both" end instance
declare shader "loop" (array light "lights", light "one") end declare
shader "s" "loop" ("lights" [ "bothi", "l1" ], "one" "l2")
instance "i" "later" hide on visible off shadow off trace off transparency 1 caustic globillum 5 face back
    override material [ "a", "b" ] light "exclusive" [ "bothi" ] light shadow [ ] tag 9
    transform 2 0 0 0  0 2 0 0  0 0 2 0  -2 -4 -6 1  motion transform 1 0 0 0 0 1 0 0 0 0 1 0 0 0 1 1 end instance
object "later" end object
instance "plain" end instance)");
    const auto& i = record<miInstance>("i", miSCENE_INSTANCE);
    const auto* d = database.detail<InstanceDetail>(database.find("i"));
    EXPECT_EQ(i.item, database.find("later"));
    EXPECT_EQ(i.off, 1);
    EXPECT_EQ(d->visible, 0);
    EXPECT_EQ(d->shadow, 6);
    EXPECT_EQ(d->reflection, 12);
    EXPECT_EQ(d->transparency, 1);
    EXPECT_EQ(d->caustic, 3);
    EXPECT_EQ(d->globillum, 5);
    EXPECT_EQ(d->face, 'b');
    EXPECT_EQ(i.mtl_override, 1);
    EXPECT_EQ(d->materials.size(), 2u);
    EXPECT_TRUE(d->hasLights && d->hasShadowLights && i.exclusive && !i.shadow_excl);
    EXPECT_EQ(d->lights, (std::vector<miTag>{database.find("l1"), database.find("l2")}));
    EXPECT_EQ(i.tf.global_to_local[13], -4.0f);
    EXPECT_EQ(i.tf.local_to_global[13], 2.0f);
    EXPECT_EQ(i.tf.local_to_global[0], 0.5f);
    EXPECT_FALSE(i.tf.identity);
    EXPECT_TRUE(d->hasMotionTransform);
    EXPECT_EQ(i.motion_transform[14], 1.0f);
    EXPECT_EQ(database.detail<InstanceDetail>(database.find("plain"))->shadow, -1);
    EXPECT_TRUE(record<miInstance>("plain", miSCENE_INSTANCE).tf.identity);
    // The group's lights take the place of its instance in arrays.
    int lights[2];
    std::memcpy(lights, function("s").parameters, sizeof lights);
    EXPECT_EQ(lights[1], 3);

    readClean(R"(incremental instance "i" visible on transform motion off end instance)");
    EXPECT_EQ(database.detail<InstanceDetail>(database.find("i"))->visible, 1);
    EXPECT_EQ(database.detail<InstanceDetail>(database.find("i"))->shadow, 6);
    EXPECT_TRUE(record<miInstance>("i", miSCENE_INSTANCE).tf.identity);
    EXPECT_TRUE(database.detail<InstanceDetail>(database.find("i"))->motionOff);
    EXPECT_TRUE(read("instance \"flat\" transform 1 0 0 0 0 1 0 0 0 0 0 0 0 0 0 1 end instance"));
    EXPECT_NE(warnings.find("singular"), std::string::npos);
}

}  // namespace
}  // namespace lumorender
