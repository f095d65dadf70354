// What a surface still knows of itself when the rays that it sent have come back.
#include "harness.h"
#include "pixels.h"
#include "scene_text.h"

namespace rendertest {
namespace {

using AfterRays = RenderTest;

double wayTo(double z, int x, int y) { return z / eyeRay(x, y).z; }

/// A surface at z = -5 that sends a ray on, before a constant one at z = -8.
SceneText sending(int mode) {
    SceneText scene;
    scene.elements = fmt::format(
                         "material \"m\" \"plain_rays\" ( \"mode\" {}, \"own\" .2 .2 .2 1, \"tint\" .5 .5 .5 1 ) end "
                         "material\n",
                         mode) +
                     constantMaterial("plain", ".25 .25 .25 1") + wall("front", -5, "m") + wall("back", -8, "plain");
    scene.members = "\"front\" \"back\"";
    return scene;
}

TEST_F(AfterRays, FogLiesBeforeAMirrorAsFarAsTheMirror) {
    SceneText scene = sending(1);
    scene.camera =
        "volume \"plain_fog\" ( \"color\" .5 .5 .5 1, \"density\" .1 )\n"
        "environment \"plain_constant\" ( \"color\" 9 9 9 1 )";
    const Picture image = picture(scene.text());
    for (int i = 0; i < 4; ++i) {
        // The mirror sees fog without end: .2 + .5 * .5.
        const double expected = .5 + std::exp(-.1 * wayTo(-5, i, 1)) * (.45 - .5);
        EXPECT_NEAR(image.at("R", i, 1), expected, 1e-5);
    }
}

TEST_F(AfterRays, BuffersOfTheHostHoldTheSurfaceThatTheEyeSees) {
    for (const int mode : {0, 1, 2, 4}) {
        SceneText scene = sending(mode);
        scene.buffers += "\nframebuffer \"z\" datatype \"z\" filename \"out.exr\" filetype \"exr\"";
        scene.camera = "environment \"plain_constant\" ( \"color\" 1 1 1 1 )";
        EXPECT_NEAR(picture(scene.text()).at("z.Z", 2, 1), 5, 1e-4) << "mode " << mode;
    }
    // A surface that lets the ray go on as if it were not there hands its place to the next one.
    SceneText scene = sending(3);
    scene.buffers += "\nframebuffer \"z\" datatype \"z\" filename \"out.exr\" filetype \"exr\"";
    EXPECT_NEAR(picture(scene.text()).at("z.Z", 2, 1), 8, 1e-4);
}

TEST_F(AfterRays, PassesBehindAMirrorAreTheMirrors) {
    SceneText scene = sending(1);
    scene.before =
        libraryPrelude() +
        "data \"fbuf\" \"FrameBufferData\" ( \"magic\" 1178760550, \"passNames\" [\"depth\"], \"frameBufferInfo\" "
        "[], \"FrameBufferTypeCounts\" [0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0] )\n";
    scene.options = "samples 0 0 state [ \"vexabase\" (), \"lumoFrameBufferState\" () ]";
    scene.camera = "data \"fbuf\" environment \"plain_constant\" ( \"color\" 1 1 1 1 )";
    scene.buffers += "\nframebuffer \"depth\" datatype \"z\" user on filename \"out.exr\" filetype \"exr\"";
    scene.elements +=
        "incremental material \"m\" \"plain_rays\" ( \"mode\" 1 ) \"lumoPassCameraDepth\" ( \"pass\" 0 ) end "
        "material\n";
    const Picture image = picture(scene.text());
    for (int i = 0; i < 4; ++i) EXPECT_NEAR(image.at("depth.Z", i, i), wayTo(-5, i, i), 1e-4);
}

// Clear coats do this: what lies behind first, then what is mirrored.
TEST_F(AfterRays, ASecondRayStartsWhereTheFirstDid) {
    SceneText scene = sending(1);
    scene.camera = "environment \"plain_environment\" ( \"down\" 0 0 0 1, \"up\" 1 1 1 1 )";
    scene.elements =
        "shader \"through\" \"plain_rays\" ( \"mode\" 0 )\n"
        "material \"m\" \"plain_rays\" ( \"mode\" 1, \"own\" = \"through\" ) end material\n" +
        constantMaterial("plain", ".25 .25 .25 1") + wall("front", -5, "m") +
        // Behind it a slope, whose normal leads elsewhere.
        wall("back", 0, "plain", 1000, "transform " + turned({1, 0, 0}, 40).then(moved({0, 0, -20})).inverse().text());
    const Picture image = picture(scene.text());
    for (int y = 0; y < 4; ++y) EXPECT_NEAR(image.at("R", 1, y), .25 + .5 + .5 * eyeRay(1, y).y, 1e-5);
}

}  // namespace
}  // namespace rendertest
