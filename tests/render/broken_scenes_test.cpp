// Scenes with one thing wrong: the program says what and where and fails, or warns and renders. It never crashes, hangs
// or succeeds without a picture.
#include "harness.h"

#include <algorithm>

namespace rendertest {
namespace {

/// What the edits below break.
constexpr const char* kGood = R"(link "plain_material.so"
declare shader color "plain_constant" ( color "color", integer "spare" ) version 1 end declare
declare shader color "plain_texture" ( color texture "tex", vector "repeat" default 1 1 1 ) version 1 end declare
options "opt" object space end options
camera "cam"
    framebuffer "beauty" datatype "rgba_fp" primary on filename "out.exr" filetype "exr"
    focal 1 aperture 2 aspect 1 resolution 4 4
end camera
instance "cam_i" "cam" end instance
material "m" "plain_constant" ( "color" 1 0 0 1 ) end material
object "o" visible shadow trace
    group
        -9 -9 -5  9 -9 -5  9 9 -5  -9 9 -5
        v 0 v 1 v 2 v 3
        c "m" 0 1 2 3
    end group
end object
instance "i" "o" end instance
instgroup "world" "cam_i" "i" end instgroup
render "world" "cam_i" "opt"
)";

enum class Ending { Fails, Warns };

/// `instead` takes the place of `text` in the good scene. An @ in it marks the line that the message has to name.
struct Broken {
    const char* name;
    const char* text;
    std::string instead;
    const char* says;
    Ending ending = Ending::Fails;
};

void PrintTo(const Broken& broken, std::ostream* out) { *out << broken.name; }

std::string edited(std::string scene, const std::string& text, const std::string& instead) {
    const auto at = scene.find(text);
    EXPECT_NE(at, std::string::npos) << text;
    return scene.replace(at, text.size(), instead);
}

class BrokenScene : public RenderTest {
protected:
    BrokenScene() { timeoutSeconds = 30; }

    Outcome renderBroken(std::string scene) {
        const auto mark = scene.find('@');
        if (mark != std::string::npos) {
            place_ =
                "scene.mi:" +
                std::to_string(1 + std::count(scene.begin(), scene.begin() + static_cast<std::ptrdiff_t>(mark), '\n'));
            scene.erase(mark, 1);
        }
        return renderText(scene, {"-threads", "2"});
    }

    void expectEnding(const Outcome& outcome, Ending ending, const std::string& says) {
        EXPECT_EQ(outcome.signal, 0) << outcome.messages;
        EXPECT_FALSE(outcome.timedOut);
        EXPECT_TRUE(outcome.says(says)) << "expected \"" << says << "\" in\n" << outcome.messages;
        EXPECT_TRUE(outcome.says(place_)) << "expected " << place_ << " in\n" << outcome.messages;
        if (ending == Ending::Fails) {
            EXPECT_EQ(outcome.exitCode, 1) << outcome.messages;
            EXPECT_TRUE(outcome.says("error")) << outcome.messages;
        } else {
            EXPECT_EQ(outcome.exitCode, 0) << outcome.messages;
            EXPECT_TRUE(outcome.says("warning")) << outcome.messages;
            EXPECT_TRUE(exists("out.exr"));
        }
    }

    std::string place_;
};

class OneThingWrong : public BrokenScene, public ::testing::WithParamInterface<Broken> {};

TEST_P(OneThingWrong, IsToldWithItsPlace) {
    const Broken& broken = GetParam();
    expectEnding(renderBroken(edited(kGood, broken.text, broken.instead)), broken.ending, broken.says);
}

// ---- What is wrong with the text.
INSTANTIATE_TEST_SUITE_P(
    Text, OneThingWrong,
    ::testing::Values(
        Broken{"unterminated string", "\"plain_constant\" ( \"color\" 1", "@\"plain_constant ( \"color\" 1",
               "closing quote"},
        Broken{"unknown statement", "focal 1", "@fokal 1", "fokal", Ending::Warns},
        Broken{"missing end", "end group\nend object", "@end object", "\"end object\", expected \"end group\""},
        Broken{"wrong end", "end group", "@end camera", "\"end camera\""},
        Broken{"missing include", "options \"opt\"", "@$include \"nowhere.mi\"\noptions \"opt\"", "nowhere.mi"},
        Broken{"missing endif", "options \"opt\"", "@$ifdef \"never\"\noptions \"opt\"", "endif"},
        Broken{"number out of range", "resolution 4 4", "@resolution 99999999999 4", "99999999999"},
        Broken{"shell command", "options \"opt\"", "@system \"touch hacked\"\noptions \"opt\"", "system"},
        Broken{"source code", "options \"opt\"", "@$code\nint x;\n$end code\noptions \"opt\"", "code"}));

// ---- Names and parameters.
INSTANTIATE_TEST_SUITE_P(
    Names, OneThingWrong,
    ::testing::Values(
        Broken{"unknown shader", "\"plain_constant\" ( \"color\" 1", "@\"plain_konstant\" ( \"color\" 1",
               "plain_konstant"},
        Broken{"unknown parameter", "( \"color\" 1 0 0 1 )", "@( \"colour\" 1 0 0 1 )", "colour"},
        Broken{"text for a color", "( \"color\" 1 0 0 1 )", "@( \"color\" \"red\" )",
               "found \"red\", expected a number"},
        Broken{"two numbers for a color", "( \"color\" 1 0 0 1 )", "@( \"color\" 1 0 )",
               "found \")\", expected a number"},
        Broken{"fraction for an integer", "( \"color\" 1 0 0 1 )", "@( \"spare\" 1.5 )", "1.5"},
        Broken{"array for a color", "( \"color\" 1 0 0 1 )", "@( \"color\" [ 1 0 0 1 ] )",
               "found \"[\", expected a number"},
        Broken{"unknown connection", "( \"color\" 1 0 0 1 )", "@( \"color\" = \"nobody\" )", "nobody"},
        Broken{"connection to no shader", "( \"color\" 1 0 0 1 )", "@( \"color\" = \"cam\" )", "cam"},
        Broken{"connection to no member", "material \"m\"",
               "shader \"s\" \"plain_constant\" ()\nmaterial \"n\" \"plain_constant\""
               "@ ( \"color\" = \"s.member\" ) end material\nmaterial \"m\"",
               "member"},
        Broken{"shader connected to itself", "material \"m\" \"plain_constant\" ( \"color\" 1 0 0 1 )",
               "shader \"s\" \"plain_constant\" ()\nincremental shader \"s\" \"plain_constant\" ( \"color\" = \"s\" )\n"
               "material \"m\" = \"s\"",
               "itself"},
        Broken{"ring of shaders", "material \"m\" \"plain_constant\" ( \"color\" 1 0 0 1 )",
               "shader \"s\" \"plain_constant\" ()\nshader \"t\" \"plain_constant\" ( \"color\" = \"s\" )\n"
               "incremental shader \"s\" \"plain_constant\" ( \"color\" = \"t\" )\nmaterial \"m\" = \"s\"",
               "itself"},
        Broken{"module without the shader", "material \"m\" \"plain_constant\" ( \"color\" 1 0 0 1 )",
               "declare shader color \"not_there\" () end declare\nmaterial \"m\" \"not_there\" ()", "not_there"},
        Broken{"missing module", "link \"plain_material.so\"", "@link \"nowhere.so\"", "nowhere.so"},
        Broken{"module outside the folders", "link \"plain_material.so\"", "@link \"/tmp/elsewhere.so\"",
               "elsewhere.so"},
        Broken{"module that is none", "link \"plain_material.so\"", "@link \"modules.mi\"", "modules.mi"},
        Broken{"unknown element", "instance \"i\" \"o\"", "instance \"i\" \"p\"", "\"p\""},
        Broken{"instance of a material", "instance \"i\" \"o\"", "instance \"i\" \"m\"", "\"m\""},
        Broken{"unknown material", "c \"m\" 0", "@c \"n\" 0", "\"n\""},
        Broken{"unknown member", "\"cam_i\" \"i\" end", "\"cam_i\" \"j\" end", "\"j\""}));

// ---- Geometry and placing.
INSTANTIATE_TEST_SUITE_P(
    Geometry, OneThingWrong,
    ::testing::Values(
        Broken{"vertex out of range", "c \"m\" 0 1 2 3", "@c \"m\" 0 1 2 9", "9"},
        Broken{"negative vertex", "c \"m\" 0 1 2 3", "@c \"m\" 0 1 2 -3", "-3"},
        Broken{"vector out of range", "v 0 v 1", "@v 77 v 1", "77"},
        Broken{"two corners", "c \"m\" 0 1 2 3", "c \"m\" 0 1 2 3 c 0 1", "three vertices"},
        Broken{"zero-area polygon", "c \"m\" 0 1 2 3", "c \"m\" 0 1 2 3 c \"m\" 0 0 1", "\"o\"", Ending::Warns},
        Broken{"infinite vector", "-9 -9 -5", "@1e999 -9 -5", "not finite", Ending::Warns},
        Broken{"vector that is no number", "-9 -9 -5", std::string("`\x7F\xC0\0\0\x7F\xC0\0\0\x7F\xC0\0\0`", 14),
               "\"o\"", Ending::Warns},
        Broken{"singular transform", "instance \"i\" \"o\"",
               "instance \"i\" \"o\" @transform 1 0 0 0 0 0 0 0 0 0 0 0 0 0 0 1", "singular", Ending::Warns},
        Broken{"group in itself", "instgroup \"world\" \"cam_i\" \"i\"",
               "instgroup \"g\" \"gi\" end instgroup\ninstance \"gi\" \"g\" end instance\ninstgroup \"world\" "
               "\"cam_i\" \"i\" \"gi\"",
               "itself"},
        Broken{"huge trilist", "    group",
               "trilist vertex 2000000000 p triangle 2000000000 @[ 0 0 0 ] [ \"m\" 0 0 0 ] end trilist\n"
               "    group",
               "2000000000"}));

// ---- The render.
INSTANTIATE_TEST_SUITE_P(
    Render, OneThingWrong,
    ::testing::Values(Broken{"huge picture", "resolution 4 4", "resolution 1000000 1000000", "GB"},
                      Broken{"empty picture", "resolution 4 4", "@resolution 0 4", "found 0"},
                      Broken{"negative picture", "resolution 4 4", "@resolution -4 4", "found -4"},
                      Broken{"empty window", "resolution 4 4", "resolution 4 4 window 3 3 1 1", "window"},
                      Broken{"no focal length", "focal 1", "focal 0", "focal"},
                      Broken{"negative aspect", "aspect 1", "aspect -1", "aspect"},
                      Broken{"unknown camera", "render \"world\" \"cam_i\"", "@render \"world\" \"nocam\"", "nocam"},
                      Broken{"camera instead of its instance", "render \"world\" \"cam_i\"",
                             "@render \"world\" \"cam\"", "\"cam\""},
                      Broken{"missing group", "render \"world\"", "@render \"desert\"", "desert"},
                      Broken{"object instead of a group", "render \"world\"", "@render \"o\"", "\"o\""},
                      Broken{"missing options", "\"opt\"\n", "@\"none\"\n", "none"},
                      Broken{"camera outside the root group", "\"cam_i\" \"i\" end", "\"i\" end", "cam_i"},
                      Broken{"unwritable file", "out.exr", "nowhere/out.exr", "nowhere/out.exr"},
                      Broken{"unknown file format", "filetype \"exr\"", "filetype \"xyz\"", "xyz"},
                      Broken{"unknown data type", "\"rgba_fp\"", "@\"rgba_zz\"", "rgba_zz"}));

// ---- Whole files.

TEST_F(BrokenScene, EmptyFilesAndGarbageAreNoScenes) {
    std::string garbage;
    for (unsigned i = 0, n = 12345; i < 5000; ++i) garbage += static_cast<char>((n = n * 1664525 + 1013904223) >> 24);
    for (const std::string& scene :
         {std::string(), std::string("\n\n# only a comment\n"), garbage, std::string(3000, '\0')}) {
        const Outcome outcome = renderText(scene);
        EXPECT_EQ(outcome.exitCode, 1) << outcome.messages;
        EXPECT_EQ(outcome.signal, 0);
        EXPECT_NE(outcome.messages, "");
    }
    const Outcome missing = run({"nowhere.mi"});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_TRUE(missing.says("nowhere.mi")) << missing.messages;
}

TEST_F(BrokenScene, CutFilesNeverSucceedOrCrash) {
    const std::string good = kGood;
    const auto end = good.find("render \"world\"");
    for (std::size_t length = 13; length < end + 20; length += 61) {
        const Outcome outcome = renderText(good.substr(0, length));
        EXPECT_EQ(outcome.exitCode, 1) << "cut at " << length << ", signal " << outcome.signal << "\n"
                                       << outcome.messages;
        EXPECT_NE(outcome.messages, "") << "cut at " << length;
    }
}

TEST_F(BrokenScene, IncludesThatIncludeEachOtherEnd) {
    write("a.mi", "$include \"b.mi\"\n");
    write("b.mi", "\n$include \"a.mi\"\n");
    const Outcome outcome = renderBroken(std::string("$include \"a.mi\"\n") + kGood);
    expectEnding(outcome, Ending::Fails, "include");
    EXPECT_TRUE(outcome.says(".mi:")) << outcome.messages;
}

TEST_F(BrokenScene, MissingTexturesStopTheRenderUnlessToldOtherwise) {
    const std::string scene = edited(edited(kGood, "material \"m\"",
                                            "color texture \"image\" \"nowhere.tif\"\nshader \"t\" "
                                            "\"plain_texture\" ( \"tex\" \"image\" )\nmaterial \"m\""),
                                     "( \"color\" 1 0 0 1 ) end", "( \"color\" = \"t\" ) end");
    // Texture coordinates, so that the look-up is reached.
    const std::string textured =
        edited(edited(scene, "v 0 v 1 v 2 v 3", "v 0 t 0 v 1 t 0 v 2 t 0 v 3 t 0"), "shadow", "");
    const Outcome stopped = renderText(textured);
    expectEnding(stopped, Ending::Fails, "nowhere.tif");
    EXPECT_FALSE(exists("out.exr"));
    const Outcome went = renderText(textured, {"-texture_continue"});
    EXPECT_EQ(went.exitCode, 0) << went.messages;
    EXPECT_TRUE(went.says("nowhere.tif")) << went.messages;
    EXPECT_TRUE(exists("out.exr"));
}

/// Some chains end in the reader's limits, others work; none ends in a signal.
TEST_F(BrokenScene, DeepNestingDoesNotOverflow) {
    std::string groups = "instgroup \"g0\" \"i\" end instgroup\n", shaders = "shader \"s0\" \"plain_constant\" ()\n";
    for (int k = 1; k <= 20000; ++k) {
        const std::string n = std::to_string(k), before = std::to_string(k - 1);
        groups += "instance \"gi" + n + "\" \"g" + before + "\" end instance instgroup \"g" + n + "\" \"gi" + n +
                  "\" end instgroup\n";
        shaders += "shader \"s" + n + "\" \"plain_constant\" ( \"color\" = \"s" + before + "\" )\n";
    }
    groups += "instance \"top\" \"g20000\" end instance\n";
    const std::string conditions = [] {
        std::string text;
        for (int k = 0; k < 50000; ++k) text += "$ifdef \"x\"\n";
        return text;
    }();
    const std::string good = kGood;
    const std::vector<std::pair<const char*, std::string>> scenes = {
        {"groups",
         edited(edited(good, "instgroup \"world\"", groups + "instgroup \"world\""), "\"i\" end", "\"top\" end")},
        {"shaders", edited(edited(good, "material \"m\"", shaders + "material \"m\""), "( \"color\" 1 0 0 1 )",
                           "( \"color\" = \"s20000\" )")},
        {"brackets", edited(good, "( \"color\" 1 0 0 1 )", "( \"color\" " + std::string(200000, '[') + " )")},
        {"braces", edited(good, "( \"color\" 1 0 0 1 )", "( \"color\" " + std::string(200000, '{') + " )")},
        {"conditions", conditions + good},
        {"a long name", edited(good, "spare", std::string(1000000, 'x'))}};
    for (const auto& [what, scene] : scenes) {
        const Outcome outcome = renderText(scene);
        EXPECT_EQ(outcome.signal, 0) << what;
        EXPECT_FALSE(outcome.timedOut) << what;
        EXPECT_TRUE(outcome.exitCode == 0 ? exists("out.exr") : outcome.says("error")) << what << outcome.messages;
    }
}

TEST_F(BrokenScene, ShellCommandsAreNotRun) {
    renderText(edited(kGood, "options \"opt\"", "system \"touch hacked\"\noptions \"opt\""));
    EXPECT_FALSE(exists("hacked"));
}

}  // namespace
}  // namespace rendertest
