// Tokens, directives, top-level commands.
#include "scene_fixture.h"

#include <cmath>
#include <filesystem>
#include <fstream>

namespace lumorender {
namespace {

class Language : public SceneTest {
protected:
    std::vector<miVector> vectors(const std::string& text) {
        EXPECT_TRUE(read("object \"o\" group " + text + " end group end object")) << errors;
        const auto* source = database.detail<ObjectSource>(database.find("o"));
        return source && !source->groups.empty() ? source->groups.front().vectors : std::vector<miVector>{};
    }
};

TEST_F(Language, Numbers) {
    const auto w = vectors("1 -2 +3\t.5 2. -1.4e-07\r\n 1e3 -.25 1E+2 # comment 9 9\n -0.0 123456789012 1e-50");
    ASSERT_EQ(w.size(), 4u);
    EXPECT_EQ(w[0].y, -2.0f);
    EXPECT_EQ(w[1].x, 0.5f);
    EXPECT_EQ(w[1].z, -1.4e-07f);
    EXPECT_EQ(w[2].z, 100.0f);
    EXPECT_TRUE(std::signbit(w[3].x));
    EXPECT_EQ(w[3].y, 123456789012.0f);
    EXPECT_EQ(w[3].z, 0.0f);
}

TEST_F(Language, NumbersThatAreNone) {
    const auto v = vectors("nan inf -inf 1e99 1.#QNAN -1.#IND 0 0 0");
    ASSERT_EQ(v.size(), 3u);
    EXPECT_TRUE(std::isnan(v[0].x) && std::isinf(v[1].x) && std::isnan(v[1].y));
    EXPECT_LT(v[0].z, 0);
    EXPECT_NE(warnings.find("test.mi:1: 2 vectors of this group are not finite"), std::string::npos) << warnings;
}

TEST_F(Language, BinaryVectorsMayHoldAnyByte) {
    // 1.0 is 3f800000; 0x60 is a back quote, 0x0a a line feed, 0x22 a quote.
    const std::string bytes("\x3f\x80\x00\x00\x60\x60\x60\x60\x0a\x22\x23\x24", 12);
    const auto v = vectors("`" + bytes + "` 4 5 6 `" + bytes + "`");
    ASSERT_EQ(v.size(), 3u);
    EXPECT_EQ(v[0].x, 1.0f);
    EXPECT_EQ(v[1].y, 5.0f);
    EXPECT_EQ(v[2].x, 1.0f);
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
        "$ifneq \"big\" \"no\"\r\n aspect 2\r\n$endif\r\nend camera\r\n");
    const auto& camera = record<miCamera>("c", miSCENE_CAMERA);
    EXPECT_EQ(camera.x_resolution, 100);
    EXPECT_EQ(camera.y_resolution, 50);
    EXPECT_EQ(camera.aperture, 6.0f);
    EXPECT_EQ(camera.aspect, 2.0f);
}

class Files : public Language {
protected:
    Files() : folder(std::filesystem::path(testing::TempDir()) / "lumorender_scene_test") {
        std::filesystem::remove_all(folder);
        std::filesystem::create_directories(folder / "parts");
    }
    ~Files() override { std::filesystem::remove_all(folder); }
    void write(const std::string& name, std::string_view text) { std::ofstream(folder / name) << text; }
    bool readFile(const std::string& name) { return readScene(folder / name, database, modules, *this, settings); }

    std::filesystem::path folder;
};

TEST_F(Files, InclusionInsideAGroup) {
    write("main.mi",
          "object \"o\" group\n$include \"parts/vectors.mi\" # those\n"
          "v 0 v 1 v 2 c 0 1 2 end group end object\n"
          "$include <found.mi>\n$include <found.mi>\n");
    write("parts/vectors.mi", "0 0 0 1 0 0\n$include \"more.mi\"\n");
    write("parts/more.mi", "0 1 0");
    write("parts/found.mi", "texture_is_no_command");
    write("found.mi", "material \"m\" end material");
    settings.includePath = {folder};
    EXPECT_TRUE(readFile("main.mi")) << errors;
    EXPECT_EQ(database.detail<ObjectSource>(database.find("o"))->groups.front().vectors.size(), 3u);
    EXPECT_NE(database.find("m"), 0u);
}

TEST_F(Files, FilesThatIncludeEachOtherOrAreMissing) {
    write("a.mi", "\n$include \"b.mi\"\nmaterial \"m\" end material");
    write("b.mi", "$include \"a.mi\"\n$include \"missing.mi\"\n$include \"/dev/zero\"\nmaterial \"n\" end material");
    EXPECT_FALSE(readFile("a.mi"));
    EXPECT_NE(errors.find("b.mi:1: file \"" + (folder / "a.mi").string() + "\" includes itself"), std::string::npos);
    EXPECT_NE(errors.find("b.mi:2: cannot include \"missing.mi\""), std::string::npos) << errors;
    EXPECT_NE(errors.find("b.mi:3: cannot include \"/dev/zero\": it is not a regular"), std::string::npos) << errors;
    EXPECT_NE(database.find("m"), 0u);
    EXPECT_NE(database.find("n"), 0u);
}

TEST_F(Files, RegistryAndSubstitution) {
    write("main.mi",
          "registry \"root\" value \"{base}/tex\" end registry\n"
          "registry \"base\" value \"/data\" end registry\n"
          "registry \"loop\" value \"{loop}{loop}\" end registry\n"
          "registry \"run\" mi \"found.mi\" echo \"looked up\" end registry\n$lookup \"run\"\n"
          "color texture \"t\" \"{root}/a.png\" color texture \"u\" \"{nothing}{_silent}b.png\"\n"
          "color texture \"l\" \"{loop}\"\n"
          "$lookup \"run\"\n");
    write("found.mi", "material \"m\" end material");
    EXPECT_TRUE(readFile("main.mi")) << errors;
    EXPECT_EQ(database.detail<TextureDetail>(database.find("t"))->file, "/data/tex/a.png");
    EXPECT_EQ(database.detail<TextureDetail>(database.find("u"))->file, "b.png");
    EXPECT_NE(warnings.find("no value for \"{nothing}\""), std::string::npos);
    EXPECT_EQ(warnings.find("_silent"), std::string::npos);
    EXPECT_EQ(infos, "looked up\n");
    EXPECT_NE(database.find("m"), 0u);
}

constexpr std::string_view kWorld = R"(options "o" end options camera "c" end camera instance "ci" "c" end instance
instgroup "w" "ci" "later" end instgroup
)";

TEST_F(Language, RenderCommands) {
    readClean(std::string(kWorld) +
              "render \"w\" \"ci\" \"o\"\nincremental camera \"c\" focal 3 end camera\n"
              "render w ci o");
    ASSERT_EQ(renders.size(), 2u);
    EXPECT_EQ(renders[0].rootGroup, database.find("w"));
    EXPECT_EQ(renders[0].where, "test.mi:3");
    EXPECT_EQ(renders[1].options, database.find("o"));

    goOn = false;
    EXPECT_TRUE(read("render w ci o render w ci o"));
    EXPECT_EQ(renders.size(), 3u);

    EXPECT_FALSE(read("camera \"bad\" focal on end camera render w ci o"));
    EXPECT_FALSE(read("render w w o"));
    EXPECT_EQ(renders.size(), 3u);
    EXPECT_NE(warnings.find("nothing is rendered"), std::string::npos);
}

TEST_F(Language, Versions) {
    readClean("version \"3.12\" min version \"3.12.1.0\" max version \"4\" material \"m\" end material");
    EXPECT_FALSE(read("version \"3.13\" material \"after\" end material"));
    EXPECT_NE(errors.find("test.mi:1: the scene is made for a renderer version from 3.13"), std::string::npos);
    EXPECT_FALSE(read("max version \"3.4.9\""));
    EXPECT_EQ(database.find("after"), 0u);
}

TEST_F(Language, Namespaces) {
    readClean(R"(material "m" opaque end material
        namespace "a" material "m" end material namespace "b" material "only" end material end namespace
        object "o" group 0 0 0 v 0 v 0 v 0 c "m" 0 1 2 c "::m" 0 1 2 c "b::only" 0 1 2 end group end object
        end namespace)");
    const auto& polygons = database.detail<ObjectSource>(database.find("a::o"))->groups.front().polygons;
    EXPECT_EQ(polygons[0].material, database.find("a::m"));
    EXPECT_EQ(polygons[1].material, database.find("m"));
    EXPECT_EQ(polygons[2].material, database.find("a::b::only"));
}

TEST_F(Language, ManyErrorsEndTheReading) {
    std::string text;
    for (int i = 0; i < 40; ++i) text += "camera \"c\" focal on end camera\n";
    EXPECT_FALSE(read(text));
    EXPECT_NE(errors.find("test.mi:20: too many errors"), std::string::npos);
    EXPECT_EQ(errors.find("test.mi:21"), std::string::npos);
}

TEST_F(Language, DeepNestingIsRefused) {
    std::string shaders = "declare shader \"s\" (color \"c\") end declare material \"m\" ";
    for (int i = 0; i < 5000; ++i) shaders += " = shader \"x\" \"s\" (\"c\" ";
    EXPECT_FALSE(read(shaders));
    std::string structs = "declare shader \"t\" (";
    for (int i = 0; i < 5000; ++i) structs += "struct \"s\" {";
    EXPECT_FALSE(read(structs));
    EXPECT_NE(errors.find("nested too deeply"), std::string::npos);
    EXPECT_FALSE(read("gui " + std::string(200000, '{')));
}

}  // namespace
}  // namespace lumorender
