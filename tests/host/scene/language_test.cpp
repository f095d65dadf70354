// Tokens, directives, files, top-level commands.
#include "scene_fixture.h"

namespace lumorender {
namespace {

class Language : public SceneTest {
protected:
    std::string vectors(const std::string& text) {
        EXPECT_TRUE(read("object \"o\" group " + text + " end group end object")) << errors;
        return asText(detail<ObjectSource>("o").groups.at(0).vectors);
    }
};

TEST_F(Language, Numbers) {
    EXPECT_EQ(vectors("1 -2 +3\t.5 2. -1.4e-05\r\n 1e3 -.25 1E+2 # comment 9 9\n -0.5 123456789012 1e-50"),
              "1 -2 3 0.5 2 -1.4e-05 1000 -0.25 100 -0.5 1.2346e+11 0");
    EXPECT_EQ(warnings, "");
    EXPECT_EQ(vectors("nan inf -inf 1e99 1.#QNAN -1.#IND 0 0 0").substr(0, 16), "nan inf -inf inf");
    expectParts(warnings, {"test.mi:1: 2 vectors of this group are not finite"});
    // 1.0 is 3f800000; bytes may be a back quote (60), a line feed (0a), a quote (22).
    const std::string bytes("\x3f\x80\x00\x00\x42\x60\x60\x60\x41\x0a\x22\x23", 12);
    EXPECT_EQ(vectors("`" + bytes + "` 4 5 6 `" + bytes + "`"), "1 56.094 8.6333 4 5 6 1 56.094 8.6333");
}

TEST_F(Language, ConditionsCutThroughStatements) {
    readClean(
        "set \"gone\" \"x\"\r\n$ifdef \"gone\"\r\nset \"big\" \"yes\" set \"gone\"\r\n$endif\r\n"
        "$ifdef \"gone\"\r\nset \"big\"\r\n$endif\r\n"
        "camera \"c\" resolution\r\n"
        "$ifdef \"big\"\r\n 100\r\n$ifndef \"big\"\r\n 1\r\n$else\r\n 50\r\n$endif\r\n"
        "$elseifeq \"big\" \"yes\"\r\n 3 4\r\n$else\r\n 7 7\r\n$endif\r\n"
        "$ifdef \"gone\"\r\n aperture 5 \"unterminated\r\n$elseifeq \"big\" \"yes\"\r\n aperture 6\r\n"
        "$elseifdef \"big\"\r\n aperture 7\r\n$else\r\n aperture 8\r\n$endif\r\n"
        "$ifneq \"big\" \"no\"\r\n aspect 2\r\n$endif\r\n"
        "$ifeq \"big\" \"no\"\r\n$ifdef \"big\"\r\n$endif\r\n focal 5\r\n$endif\r\nend camera\r\n");
    const auto& c = record<miCamera>("c", miSCENE_CAMERA);
    EXPECT_EQ(asText(c.x_resolution, c.y_resolution, c.aperture, c.aspect, c.focal), "100 50 6 2 1");
}

TEST_F(Language, Inclusion) {
    write("main.mi",
          "object \"o\" group\n$include \"parts/vectors.mi\" # those\n"
          "v 0 v 1 v 2 c 0 1 2 end group end object\n$include <found.mi>\n$include <found.mi>\n");
    write("parts/vectors.mi", "0 0 0 1 0 0\n$include \"more.mi\"\n");
    write("parts/more.mi", "0 1 0");
    write("parts/found.mi", "texture_is_no_command");
    write("found.mi", "material \"m\" end material");
    settings.includePath = {folder};
    EXPECT_TRUE(readFile("main.mi")) << errors;
    EXPECT_EQ(asText(detail<ObjectSource>("o").groups.at(0).vectors), "0 0 0 1 0 0 0 1 0");
    EXPECT_EQ(database.type(find("m")), miSCENE_MATERIAL);

    write("a.mi", "\n$include \"b.mi\"\nmaterial \"a\" end material");
    write("b.mi", "$include \"a.mi\"\n$include \"missing.mi\"\n$include \"/dev/zero\"\nmaterial \"b\" end material");
    EXPECT_FALSE(readFile("a.mi"));
    expectParts(errors,
                {"b.mi:1: file \"" + (folder / "a.mi").string() + "\" includes itself",
                 "b.mi:2: cannot include \"missing.mi\"", "b.mi:3: cannot include \"/dev/zero\": it is not a regular"});
    EXPECT_EQ(database.type(find("a")) + database.type(find("b")), 2 * miSCENE_MATERIAL);
}

TEST_F(Language, RegistryAndSubstitution) {
    setenv("LUMO_TEST_PLACE", "here", 1);
    write("main.mi", R"(registry "root" value "{base}/tex" end registry
registry "base" value "/data" end registry
registry "loop" value "{loop}{loop}" end registry
registry "run" mi "found.mi" echo "looked up" end registry
$lookup "run"
color texture "t" "{root}/a.png" color texture "u" "{nothing}{_silent}b.png" color texture "l" "{loop}"
color texture "e" "${LUMO_TEST_PLACE}{$?LUMO_TEST_PLACE}{$?LUMO_NO_PLACE}.png"
$ifeq "{base}" "/data"
camera "c" end camera
$endif
$lookup "run"
)");
    write("found.mi", "material \"m\" end material");
    EXPECT_TRUE(readFile("main.mi")) << errors;
    const auto file = [&](const char* name) { return detail<TextureDetail>(name).file; };
    EXPECT_EQ(asText(file("t"), file("u"), file("e")), "/data/tex/a.png b.png here1.png");
    EXPECT_EQ(infos.find("looked up"), infos.rfind("looked up")) << "once";
    expectParts(warnings, {"no value for \"{nothing}\""});
    EXPECT_EQ(warnings.find("_silent"), std::string::npos);
    EXPECT_EQ(asText(database.type(find("m")), database.type(find("c"))), asText(miSCENE_MATERIAL, miSCENE_CAMERA));
}

TEST_F(Language, RenderCommands) {
    readClean(
        "options \"o\" end options camera \"c\" end camera instance \"ci\" \"c\" end instance\n"
        "instgroup \"w\" \"ci\" \"later\" end instgroup render \"w\" \"ci\" \"o\"\nrender w ci o");
    std::string text;
    for (const RenderCommand& r : renders)
        text += asText(nameOf(r.rootGroup), nameOf(r.cameraInstance), nameOf(r.options), r.where, "");
    EXPECT_EQ(text, "w ci o test.mi:2 w ci o test.mi:3 ");
    goOn = false;
    EXPECT_TRUE(read("render w ci o render w ci o"));
    EXPECT_FALSE(read("camera \"bad\" focal on end camera render w ci o"));
    EXPECT_FALSE(read("render w w o"));
    EXPECT_EQ(renders.size(), 3u);
    expectParts(warnings, {"nothing is rendered"});
}

TEST_F(Language, VersionsNamespacesAndDeletion) {
    readClean("version \"3.12\" min version \"3.12.1.0\" max version \"4\" material \"m\" end material");
    EXPECT_FALSE(read("version \"3.13\" material \"after\" end material"));
    expectParts(errors, {"test.mi:1: the scene is made for a renderer version from 3.13"});
    EXPECT_FALSE(read("max version \"3.4.9\""));
    EXPECT_EQ(find("after"), 0u);

    EXPECT_TRUE(read(R"(material "m" opaque end material
        namespace "a" material "m" end material namespace "b" material "only" end material end namespace
        object "o" group 0 0 0 v 0 v 0 v 0 c "m" 0 1 2 c "::m" 0 1 2 c "b::only" 0 1 2 end group end object
        end namespace delete "m" delete "none")"));
    std::string names;
    for (const PolygonSource& p : detail<ObjectSource>("a::o").groups.at(0).polygons)
        names += asText(database.name(p.material), find("m"), "");
    EXPECT_EQ(names, "a::m 0 0 a::b::only 0 ");
    expectParts(warnings, {"there is no \"none\" to delete"});
    read("verbose 4");
    settings.verbosityIsFixed = true;
    read("verbose 6");
    EXPECT_EQ(verbosity(), 4);
}

TEST_F(Language, ManyErrorsAndDeepNestingEndTheReading) {
    std::string cameras, shaders = "declare shader \"s\" (color \"c\") end declare material \"m\" ",
                         structs = "declare shader \"t\" (";
    for (int i = 0; i < 5000; ++i) {
        cameras += "camera \"c\" focal on end camera\n";
        shaders += " = shader \"x\" \"s\" (\"c\" ";
        structs += "struct \"s\" {";
    }
    EXPECT_FALSE(read(cameras));
    expectParts(errors, {"test.mi:20: too many errors"});
    EXPECT_EQ(errors.find("test.mi:21"), std::string::npos);
    EXPECT_FALSE(read(shaders) || read(structs) || read("gui " + std::string(200000, '{')));
    expectParts(errors, {"nested too deeply"});
}

}  // namespace
}  // namespace lumorender
