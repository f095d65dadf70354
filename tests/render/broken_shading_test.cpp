// Scenes that use the library's shaders wrongly: each says what is documented, renders a picture all the same, and ends.
#include "harness.h"
#include "scene_text.h"

namespace rendertest {
namespace {

/// A lit wall with a pass and a pass shader. The texts in it are what the edits below replace.
std::string goodScene() {
    SceneText scene;
    std::string counts = "0";
    for (int type = 1; type < 35; ++type) counts += type == 5 ? ", 1" : ", 0";
    scene.before = libraryPrelude() + R"(
data "fbuf" "FrameBufferData" ( "magic" 1178760550, "passNames" [ "coverage" ],
    "frameBufferInfo" [ { "frameBufferName" "diffuse", "composited" on, "maxReflectionLevel" 9,
                          "maxRefractionLevel" 9 } ],
    "FrameBufferTypeCounts" [ )" +
                   counts + " ] )\n";
    scene.options = "samples 0 0 shadow on state [ \"vexabase\" (), \"lumoFrameBufferState\" () ]";
    for (const char* name : {"diffuse", "coverage"})
        scene.buffers += std::string("framebuffer \"") + name +
                         "\" datatype \"rgba_fp\" user on filename \"out.exr\" filetype \"exr\"\n";
    scene.camera = "data \"fbuf\" lens \"lumoFrameBufferLens\" ()";
    scene.elements = R"(
light "lamp" "lumoVexaPointLight" ( "useRayTraceShadows" on ) origin 0 0 0 end light
instance "lamp_i" "lamp" end instance
shader "red" "lumoVexaLambert" ( "color" 1 0 0 1 )
material "m" "lumoVexaShadingEngine" ( "surfaceShader" = "red" )
    "lumoPassCoverage" ( "pass" 0 )
    shadow "lumoVexaShadow" ( "transparency" .5 .5 .5 1 ) end material
)" + wall("near", -5, "m", 1) +
                     wall("far", -9, "m");
    scene.members = "\"lamp_i\" \"near\" \"far\"";
    return scene.text();
}

struct Misuse {
    const char* name;
    std::string text, instead;
    std::string says;  ///< empty: nothing
};

void PrintTo(const Misuse& misuse, std::ostream* out) { *out << misuse.name; }

class Misused : public RenderTest, public ::testing::WithParamInterface<Misuse> {};

TEST_P(Misused, RendersAndSaysSo) {
    const Misuse& misuse = GetParam();
    std::string scene = goodScene();
    const auto at = scene.find(misuse.text);
    ASSERT_NE(at, std::string::npos);
    scene.replace(at, misuse.text.size(), misuse.instead);
    timeoutSeconds = 30;
    const Outcome outcome = renderText(scene, {"-threads", "2"});
    EXPECT_EQ(outcome.exitCode, 0) << "signal " << outcome.signal << "\n" << outcome.messages;
    EXPECT_TRUE(exists("out.exr"));
    if (misuse.says.empty())
        EXPECT_FALSE(outcome.says("warning") || outcome.says("error")) << outcome.messages;
    else
        EXPECT_TRUE(outcome.says(misuse.says)) << outcome.messages;
}

const std::string kLambert = "\"lumoVexaLambert\" ( \"color\" 1 0 0 1 )";
const std::string kLamp = "( \"useRayTraceShadows\" on )";
const std::string kStates = "[ \"vexabase\" (), \"lumoFrameBufferState\" () ]";

INSTANTIATE_TEST_SUITE_P(
    Shading, Misused,
    ::testing::Values(
        Misuse{"nothing", "red", "red", ""},
        Misuse{"no record", kStates, "[ \"lumoFrameBufferState\" () ]", "vexa_shadingengine(): Internal state error."},
        Misuse{"no state shaders", "state " + kStates, "", "LumoShaderSDK(): Internal state error."},
        Misuse{"engine without a surface", "\"surfaceShader\" = \"red\"", "\"surfaceShader\" 1 0 0 1",
               "vexa_shadingengine(): Cannot evaluate surface shader."},
        Misuse{"writer for a surface", kLambert,
               "\"lumoVexaWriteToColorBuffer\" ( \"evaluationMode\" 1, \"color\" 1 0 0 1 )", ""},
        Misuse{"light for a surface", kLambert, "\"lumoVexaPointLight\" ()",
               "setupLightContributions was called outside of a light shader."},
        Misuse{"surface for a pass", "\"lumoPassCoverage\" ( \"pass\" 0 )", kLambert, ""},
        Misuse{"pass shader without a buffer", "\"pass\" 0", "\"pass\" 7",
               "PassShader(): The camera has no frame buffer for pass 7, which is not written."},
        Misuse{"negative pass", "\"pass\" 0", "\"pass\" -2147483648", "no frame buffer for pass -2147483648"},
        Misuse{"34 type counts", "\"FrameBufferTypeCounts\" [ 0, ", "\"FrameBufferTypeCounts\" [ ",
               "lumoFrameBufferState(): FrameBufferTypeCounts array does not have the expected number of elements."},
        Misuse{"no buffer name", "\"frameBufferName\" \"diffuse\", ", "",
               "Missing frameBufferName parameter in frameBufferInfo record."},
        Misuse{"other magic", "1178760550", "1178760551", "no frame buffer for pass 0"},
        Misuse{"no trace depth", "trace depth 4 4 8", "trace depth 0 0 0", ""},
        Misuse{"no tracing", "samples 0 0", "trace off samples 0 0", ""},
        Misuse{"huge numbers", kLambert,
               "\"lumoVexaLambert\" ( \"color\" 1e30 -1e30 1e30 1e30, \"diffuse\" 1e30, \"translucence\" 1e30,"
               " \"refractions\" on, \"refractiveIndex\" 1e-30, \"transparency\" .5 .5 .5 1 )",
               "color samples were not finite and were left out"},
        Misuse{"endless numbers of rays", kLamp,
               "( \"useRayTraceShadows\" on, \"lightRadius\" -1e30, \"shadowRays\" 2147483647,"
               " \"rayDepthLimit\" 2147483647, \"intensity\" 1e30 )",
               ""},
        Misuse{"negative numbers of rays", kLamp,
               "( \"useRayTraceShadows\" on, \"lightRadius\" 1e30, \"shadowRays\" -2147483648, \"decayRate\" -7 )",
               ""}));

}  // namespace
}  // namespace rendertest
