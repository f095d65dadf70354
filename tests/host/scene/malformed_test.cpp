// What is wrong with a scene is said with its line, what was found and what was expected; reading goes on behind it.
#include "scene_fixture.h"

namespace lumorender {
namespace {

struct Malformed {
    const char* text;
    int line;
    const char* message;
};

constexpr Malformed kMalformed[] = {
    {"camera \"c\"\n focal wide end camera", 2, "found wide, expected a number"},
    {"camera \"c\"\nend light", 2, "found \"end light\", expected \"end camera\""},
    {"camera \"c\" focal 1\nmaterial \"x\" end material", 2,
     "found material, expected a statement of camera or \"end camera\""},
    {"echo \"open", 1, "expected a closing quote"},
    {"nonsense", 1, "found nonsense, expected a command or an element"},
    {"system \"rm -rf /\"", 1, "system is refused"},
    {"\ncode '00ff'", 2, "code is refused"},
    {"\n$code\nint x; \"\n$end code", 2, "$code is refused"},
    {"$endif", 1, "$endif without"},
    {"\n$ifdef \"x\"\n$else\n", 2, "expected $endif"},
    {"$nothing \"x\"", 1, "found $nothing, expected a directive"},
    {"shader \"s\"\n \"what\" ()", 2, "shader \"what\" is not declared"},
    {"shader \"s\" \"d\" (\n \"nix\" 1)", 2, "found \"nix\", expected the name of a parameter that shader \"d\" has"},
    {"shader \"s\" \"d\" (\n \"x\" \"text\")", 2, "found \"text\", expected a number"},
    {"shader \"s\" \"d\" (\"n\" 1.5)", 1, "found 1.5, expected an integer"},
    {"shader \"s\" \"d\" (\"n\" 99999999999)", 1, "expected an integer of 32 bits"},
    {"shader \"s\" \"d\" (\"x\" = \"none\")", 1, "\"none\" is not defined, expected the name of a shader"},
    {"shader \"s\" \"d\" (\"t\" \"m0\")", 1, "\"m0\" is defined as something else, expected a texture"},
    {"shader \"s\" \"d\" (\"a\" [ 1 2 ])", 1, "expected \",\" or \"]\""},
    {"shader \"s\" \"p\" ()", 1, "is a phenomenon"},
    {"shader \"d\" \"d\" ()", 1, "\"d\" is the name of a declaration"},
    {"declare shader \"e\" (\n number \"x\") end declare", 2, "found number, expected a parameter type"},
    {"declare shader \"e\" (scalar \"x\")\n camera \"c\" end camera", 2, "expected \"end declare\""},
    {"object \"o\" group 0 0 0 v 0 v 1\nend group end object", 1, "found 1, expected a vector number from 0 to 0"},
    {"object \"o\" group 0 0 0 v 0\n v 0 v 0 c 0 1 -2 end group end object", 2,
     "found -2, expected a vertex number from 0 to 2"},
    {"object \"o\" group 0 0 0 v 0 v 0 c 0 1 end group end object", 1, "expected at least three vertices"},
    {"object \"o\" group 0 0 end group end object", 1, "found end, expected a number"},
    {"object \"o\" group 0 0 0 v 0 v 0 v 0 c \"none\" 0 1 2 end group end object", 1,
     "\"none\" is not defined, expected the name of a material"},
    {"object \"o\" group `short` end group end object", 1, "expected 12 bytes between back quotes"},
    {"object \"o\" trilist vertex 1 p triangle 1 [ 0 0 0 ] [ 0 0 1 ] end trilist end object", 1,
     "found vertex number 1"},
    {"object \"o\" group wrong wrong `1234567890123456` end group end object", 1, "expected a vertex, a polygon"},
    {"incremental light \"none\" end light", 1, "no light \"none\" that could be changed"},
    {"instance \"i\" \"x\" transform 1 2 3 end instance", 1, "found end, expected a number"},
    {"data \"x\" 4 [ '00ff' ]", 1, "found 2 bytes of data, expected 4"},
    {"data \"x\" 2 [ '00f' ]", 1, "even number of hexadecimal digits"},
    {"color texture \"t\" [ 2 2 ] '00'", 1, "found 1 bytes of pixels, expected 4 for each component"},
    {"camera \"c\" framebuffer \"f\" datatype \"half\" end camera", 1, "found data type \"half\""},
    {"render \"w\" \"c\" \"o\"", 1, "\"w\" is not defined, expected the name of an instance group"},
    {"$include \"/etc/hostname\"", 1, "files may not be included here"},
    {"link \"x.so\"", 1, "modules may not be linked here"},
    {"shader \"s\" \"d\" (\"x\" [ 1 ])", 1, "found \"[\", expected a number"},
    {"shader \"s\" \"d\" (\"x\" = \"m0\")", 1, "\"m0\""},
    {"shader \"s\" \"d\" ()\nshader \"t\" \"d\" (\"x\" = \"s.member\")", 2, "member"},
    {"object \"o\" group 0 0 0 v 77 end group end object", 1, "77"},
    {"object \"o\" trilist vertex 2000000000 p triangle 2000000000\n[ 0 0 0 ] [ \"m0\" 0 0 0 ] end trilist end object",
     1, "2000000000"},
};

TEST_F(SceneTest, MalformedStatementsAreReportedAndSteppedOver) {
    settings.filesAllowed = false;
    ASSERT_TRUE(read(R"(declare shader "d" (scalar "x", integer "n", array scalar "a", color texture "t") end declare
                        declare phenomenon "p" () root material "m" end declare material "m0" end material)"));
    for (const Malformed& wrong : kMalformed) {
        reportRepeatedMessages();
        errors.clear();
        EXPECT_FALSE(read(std::string(wrong.text) + "\nmaterial \"after\" end material\n"));
        EXPECT_EQ(errors.find(fmt::format("test.mi:{}: ", wrong.line)), 0u) << errors;
        expectParts(errors, {wrong.message});
        EXPECT_EQ(database.type(find("after")), miSCENE_MATERIAL) << wrong.text << errors;
        database.remove(find("after"));
    }
}

TEST_F(SceneTest, SeveralErrorsAreSeenAtOnce) {
    EXPECT_FALSE(
        read("declare shader \"d\" (scalar \"x\", scalar \"y\") end declare\n"
             "shader \"s\" \"d\" (\"x\" off,\n \"z\" [ 1, { } ],\n \"y\" \"text\")\n"
             "camera \"c\" focal end camera\n"));
    for (const char* line : {"test.mi:2: ", "test.mi:3: ", "test.mi:4: ", "test.mi:5: "})
        EXPECT_NE(errors.find(line), std::string::npos) << line << errors;
}

TEST_F(SceneTest, WhatIsNoErrorIsLeftOutWithAWarning) {
    EXPECT_TRUE(read("object \"o\"\n group 1e999 0 0 v 0 end group end object"));
    EXPECT_TRUE(read("instance \"i\" \"o\"\n\n transform 1 0 0 0 0 0 0 0 0 0 0 0 0 0 0 1 end instance"));
    for (const char* told : {"test.mi:2: ", "not finite", "test.mi:3: ", "singular"})
        EXPECT_NE(warnings.find(told), std::string::npos) << told << warnings;
    warnings.clear();
    EXPECT_TRUE(read("camera \"c\"\n wobble 1 2 ( a b ) \"x\" focal 3 end camera"));
    EXPECT_EQ(warnings, "test.mi:2: camera has no statement wobble, it is skipped\n");
    EXPECT_EQ(record<miCamera>("c", miSCENE_CAMERA).focal, 3.0f);
}

}  // namespace
}  // namespace lumorender
