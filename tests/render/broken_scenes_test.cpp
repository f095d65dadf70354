// Scenes with one thing wrong: the program says what and where and fails, or warns and renders. It never crashes, hangs
// or succeeds without a picture. What is wrong with the text alone stands beside the reader's tests.
#include "harness.h"

#include <algorithm>

namespace rendertest {
namespace {

/// What the edits below break: a wall with a texture, a pass, a shadow and a light.
const std::string kGood = contentOf(LUMO_CASES "/Good.mi");

class BrokenScene : public RenderTest {
protected:
    BrokenScene() { timeoutSeconds = 30; }

    static std::string edited(const std::string& text, const std::string& instead, std::string scene = kGood) {
        const auto at = scene.find(text);
        EXPECT_NE(at, std::string::npos) << text;
        return scene.replace(at, text.size(), instead);
    }

    /// An @ in the scene marks the line that the message has to name.
    Outcome renderBroken(std::string scene, const std::string& says, bool fails) {
        std::string place;
        const auto mark = scene.find('@');
        if (mark != std::string::npos) {
            const auto end = scene.begin() + static_cast<std::ptrdiff_t>(mark);
            place = "scene.mi:" + std::to_string(1 + std::count(scene.begin(), end, '\n'));
            scene.erase(mark, 1);
        }
        std::filesystem::remove(path("out.exr"));
        const Outcome outcome = renderText(scene, {"-threads", "2"});
        EXPECT_TRUE(outcome.says(says)) << "expected \"" << says << "\" in\n" << outcome.messages;
        EXPECT_TRUE(outcome.says(place)) << "expected " << place << " in\n" << outcome.messages;
        EXPECT_EQ(outcome.exitCode, fails ? 1 : 0) << "signal " << outcome.signal << "\n" << outcome.messages;
        EXPECT_TRUE(fails ? outcome.says("error") : exists("out.exr")) << outcome.messages;
        // Every one of 16 pixels has the same to say: it stands there once, and once with its number.
        EXPECT_EQ(says.empty(), outcome.messages.empty()) << outcome.messages;
        EXPECT_LE(fails || says.empty() ? 0 : countOf(outcome.messages, says), 2) << outcome.messages;
        return outcome;
    }
};

/// `instead` takes the place of `text` in the good scene.
struct Broken {
    std::string text, instead;
    const char* says;
};

const std::string kOptions = "options \"opt\"", kMaterial = "material \"m\"", kInstance = "instance \"i\" \"o\"";
const std::string kLambert = "\"lumoVexaLambert\" ( \"color\" 1 0 0 1 )", kLamp = "( \"useRayTraceShadows\" on )";

TEST_F(BrokenScene, FailsAndSaysWhy) {
    const Broken cases[] = {
        {kOptions, "@$include \"nowhere.mi\"\n" + kOptions, "nowhere.mi"},
        {kOptions, "@system \"touch hacked\"\n" + kOptions, "system"},
        {"plain.so", "nowhere.so", "nowhere.so"},
        {"plain.so", "/tmp/elsewhere.so", "elsewhere.so"},
        {"plain.so", "modules.mi", "modules.mi"},
        {kMaterial, "declare shader color \"not_there\" () end declare\nshader \"s\" \"not_there\" ()\n" + kMaterial,
         "not_there"},
        {kMaterial, "incremental shader \"red\" \"lumoVexaLambert\" ( \"color\" = \"red\" )\n" + kMaterial, "itself"},
        {kMaterial,
         "shader \"t\" " + kLambert +
             "incremental shader \"red\" \"lumoVexaLambert\" ( \"color\" = \"t\" )\n"
             "incremental shader \"t\" \"lumoVexaLambert\" ( \"color\" = \"red\" )\n" +
             kMaterial,
         "itself"},
        {"instgroup \"world\"",
         "instgroup \"g\" \"gi\" end instgroup\ninstance \"gi\" \"g\" end instance\ninstgroup \"world\" \"gi\"",
         "itself"},
        {kInstance, "instance \"i\" \"p\"", "\"p\""},
        {kInstance, "instance \"i\" \"m\"", "\"m\""},
        {"\"lamp_i\" \"i\"", "\"lamp_i\" \"j\"", "\"j\""},
        {"resolution 4 4", "resolution 1000000 1000000", "GB"},
        {"resolution 4 4", "@resolution 0 4", "found 0"},
        {"resolution 4 4", "@resolution -4 4", "found -4"},
        {"resolution 4 4", "resolution 4 4 window 3 3 1 1", "window"},
        {"focal 1", "focal 0", "focal"},
        {"aspect 1", "aspect -1", "aspect"},
        {"\"cam_i\" \"opt\"", "@\"nocam\" \"opt\"", "nocam"},
        {"\"cam_i\" \"opt\"", "@\"cam\" \"opt\"", "\"cam\""},
        {"render \"world\"", "@render \"o\"", "\"o\""},
        {"\"opt\"\n", "@\"none\"\n", "none"},
        {"\"world\" \"cam_i\"", "\"world\"", "cam_i"},
        {"out.exr", "nowhere/out.exr", "nowhere/out.exr"},
        {"filetype \"exr\"", "filetype \"xyz\"", "xyz"},
    };
    for (const Broken& c : cases) renderBroken(edited(c.text, c.instead), c.says, true);
    EXPECT_FALSE(exists("hacked"));
}

TEST_F(BrokenScene, RendersAndSaysWhatIsLeftOut) {
    const std::string states = "[ \"vexabase\" (), \"lumoFrameBufferState\" () ]", wrong = "vexa_shadingengine(): ";
    const Broken cases[] = {
        {"red", "red", ""},
        {"focal 1", "@fokal 1 focal 1", "fokal"},
        {"c \"m\" 0 1 2 3", "c \"m\" 0 1 2 3 c \"m\" 0 0 1", "\"o\""},
        {"-9 -9 -5", std::string("`\x7F\xC0\0\0\x7F\xC0\0\0\x7F\xC0\0\0`", 14), "\"o\""},
        {states, "[ \"lumoFrameBufferState\" () ]", "vexa_shadingengine(): Internal state error."},
        {"state " + states, "", "LumoShaderSDK(): Internal state error."},
        {"= \"red\"", "1 0 0 1", "vexa_shadingengine(): Cannot evaluate surface shader."},
        {kLambert, "\"lumoVexaWriteToColorBuffer\" ( \"evaluationMode\" 1, \"color\" 1 0 0 1 )", ""},
        {kLambert, "\"lumoVexaPointLight\" ()", "setupLightContributions was called outside of a light shader."},
        {"\"lumoPassCoverage\" ( \"pass\" 0 )", kLambert, ""},
        {"\"pass\" 0", "\"pass\" 7", "PassShader(): The camera has no frame buffer for pass 7, which is not written."},
        {"\"pass\" 0", "\"pass\" -2147483648", "no frame buffer for pass -2147483648"},
        {"[ 0,0,", "[ 0,",
         "lumoFrameBufferState(): FrameBufferTypeCounts array does not have the expected number of elements."},
        {"\"frameBufferName\" \"diffuse\", ", "", "Missing frameBufferName parameter in frameBufferInfo record."},
        {"1178760550", "1178760551", "no frame buffer for pass 0"},
        {"trace depth 4 4 8", "trace depth 0 0 0", ""},
        {"trace depth", "trace off trace depth", ""},
        {kLambert,
         "\"lumoVexaLambert\" ( \"color\" 1e30 -1e30 1e30 1e30, \"diffuse\" 1e30, \"translucence\" 1e30,"
         " \"refractions\" on, \"refractiveIndex\" 1e-30, \"transparency\" .5 .5 .5 1 )",
         "color samples were not finite and were left out"},
        {kLamp,
         "( \"useRayTraceShadows\" on, \"lightRadius\" -1e30, \"shadowRays\" 2147483647,"
         " \"rayDepthLimit\" 2147483647, \"intensity\" 1e30 )",
         ""},
        {kLamp, "( \"useRayTraceShadows\" on, \"lightRadius\" 1e30, \"shadowRays\" -2147483648, \"decayRate\" -7 )",
         ""},
    };
    for (const Broken& c : cases) renderBroken(edited(c.text, c.instead), c.says, false);
}

TEST_F(BrokenScene, MissingTexturesStopTheRenderUnlessToldOtherwise) {
    const std::string textured =
        edited("( \"color\" 1 0 0 1 )", "( \"color\" = \"look\" )", edited("[1 1] 'ff0000'", "\"nowhere.tif\""));
    renderBroken(textured, "nowhere.tif", true);
    const Outcome went = renderText(textured, {"-texture_continue"});
    EXPECT_EQ(went.exitCode, 0) << went.messages;
    EXPECT_TRUE(went.says("nowhere.tif")) << went.messages;
    EXPECT_TRUE(exists("out.exr"));
}

TEST_F(BrokenScene, FilesThatAreNoScenesFail) {
    std::string garbage;
    for (unsigned i = 0, n = 12345; i < 5000; ++i) garbage += static_cast<char>((n = n * 1664525 + 1013904223) >> 24);
    for (const std::string& scene :
         {std::string(), std::string("\n\n# only a comment\n"), garbage, std::string(3000, '\0'), kGood.substr(0, 100),
          kGood.substr(0, 1500), kGood.substr(0, kGood.size() - 30)}) {
        const Outcome outcome = renderText(scene);
        EXPECT_EQ(outcome.exitCode, 1) << "signal " << outcome.signal << scene;
        EXPECT_NE(outcome.messages, "");
    }
    write("a.mi", "$include \"b.mi\"\n");
    write("b.mi", "\n$include \"a.mi\"\n");
    renderBroken("$include \"a.mi\"\n" + kGood, "include", true);
    const Outcome missing = run({"nowhere.mi"});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_TRUE(missing.says("nowhere.mi")) << missing.messages;
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
    const std::string color = "1 0 0 1";
    std::string conditions;
    for (int k = 0; k < 50000; ++k) conditions += "$ifdef \"x\"\n";
    for (const std::string& scene :
         {edited("instgroup \"world\"",
                 groups + "instance \"top\" \"g20000\" end instance instgroup \"world\" \"top\""),
          edited("shader \"red\"", shaders + "shader \"red\"", edited(color, "= \"s20000\"")),
          edited(color, std::string(200000, '[')), edited(color, std::string(200000, '{')), conditions + kGood,
          edited("\"look\"", "\"" + std::string(1000000, 'x') + "\"")}) {
        std::filesystem::remove(path("out.exr"));
        const Outcome outcome = renderText(scene);
        EXPECT_EQ(outcome.signal, 0) << scene.substr(1000, 1000);
        EXPECT_FALSE(outcome.timedOut) << scene.substr(1000, 1000);
        EXPECT_TRUE(outcome.exitCode == 0 ? exists("out.exr") : outcome.says("error")) << outcome.messages;
    }
}

}  // namespace
}  // namespace rendertest
