// The same scene gives the same bits, whatever the number of threads and the size of tiles.
#include "pixels.h"
#include "scene_text.h"

namespace rendertest {
namespace {

/// Everything that draws random numbers or moves: jitter, motion of an instance and of vertices, a lens, lights with
/// shadows, mirrors and fog.
std::string busyScene() {
    SceneText scene;
    scene.before =
        libraryPrelude() +
        "data \"fbuf\" \"FrameBufferData\" ( \"magic\" 1178760550, \"passNames\" [\"depth\", \"normal\", "
        "\"motion\"], \"frameBufferInfo\" [], \"FrameBufferTypeCounts\" [0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,"
        "0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0] )\n";
    scene.options =
        "samples 1 1 jitter 1 motion on shutter 0 1 \"lens rays\" 2 "
        "state [ \"vexabase\" (), \"lumoFrameBufferState\" () ]";
    for (const std::string layer :
         {"\"depth\" datatype \"z\"", "\"normal\" datatype \"n\" filtering on", "\"motion\" datatype \"m\""})
        scene.buffers += "\nframebuffer " + layer + " user on filename \"out.exr\" filetype \"exr\"";
    scene.camera =
        "data \"fbuf\" resolution 61 47 aspect 1.3 lens \"lens_depth\" ( \"radius\" .2, \"distance\" 6 )\n"
        "volume \"plain_fog\" ( \"color\" .5 .6 .7 1, \"density\" .05 )\n"
        "environment \"plain_environment\" ( \"down\" .1 .2 .1 1, \"up\" .3 .5 .9 1 )";
    scene.elements = R"(
light "bulb_l" "plain_light" ( "color" 30 25 20 1, "falloff" on ) origin -3 4 0 end light
instance "bulb" "bulb_l" end instance
shader "passes" "lumoPassCameraDepth" ( "pass" 0 ) "lumoPassNormal" ( "pass" 1 ) "lumoPassMotionVector3D" ( "pass" 2 )
material "mirror" "plain_material" ( "diffuse" .3 .5 .7 1, "reflectivity" .4, "specular" 1 1 1 1, "exponent" 20 )
    = "passes" shadow "plain_shadow" ( "transmission" .3 .2 .1 1 ) end material
material "matt" "plain_material" ( "diffuse" .8 .5 .3 1 )
    = "passes" shadow "plain_shadow" ( "transmission" .3 .2 .1 1 ) end material
object "shard" visible shadow trace
    group -1 -1 0  1 -1 .3  0 1 -.2   0 .1 1  .2 0 1  -.2 .1 1   .3 0 0  0 .4 0  0 0 .5
        v 0 n 3 m 6  v 1 n 4 m 7  v 2 n 5 m 8  c 0 1 2 end group
end object
)" + wall("back", -9, "matt");
    scene.members = "\"bulb\" \"back\"";
    for (int i = 0; i < 12; ++i) {
        const Placing open = turned({1, i * .3, .5}, 25 * i).then(moved({(i % 4 - 1.5) * 2.2, (i / 4 - 1) * 2.0, -6}));
        const Placing close = open.then(moved({.3, -.2, .1 * i}));
        scene.elements += fmt::format(
            "instance \"s{0}\" \"shard\" transform {1} motion transform {2} material \"{3}\" end "
            "instance\n",
            i, open.inverse().text(), close.inverse().text(), i % 3 ? "matt" : "mirror");
        scene.members += fmt::format(" \"s{}\"", i);
    }
    return scene.text();
}

class Threads : public RenderTest {};

TEST_F(Threads, DoNotChangeThePicture) {
    const std::string scene = busyScene();
    const Picture one = picture(scene, {"-threads", "1"});
    expectSameBits(one, picture(scene, {"-threads", "2"}), "two threads");
    expectSameBits(one, picture(scene, {"-threads", "5", "-task_size", "7"}), "five threads, small tiles");

    // The picture is worth comparing: it moves, and its neighbours differ.
    int moving = 0, different = 0;
    for (int y = 0; y < one.height; ++y)
        for (int x = 1; x < one.width; ++x) {
            moving += one.at("motion.X", x, y) != 0;
            different += one.at("R", x, y) != one.at("R", x - 1, y);
        }
    EXPECT_GT(moving, 100);
    EXPECT_GT(different, 2000);
}

}  // namespace
}  // namespace rendertest
