// Light profiles from the file to the picture.
#include "contract_test.h"
#include "pixels.h"

namespace rendertest {
namespace {

/// 40, 20, 0 candela at 0, 60 and 120 degrees from the axis in plane C0, half of it in C180.
constexpr const char* kProfile =
    "IESNA:LM-63-1995\nTILT=NONE\n1 100 1 3 2 1 2 0 0 0\n1 1 10\n0 60 120\n0 180\n40 20 0\n20 10 0\n";

SceneText profiled(const std::string& light, const std::string& relative, const std::string& place = {}) {
    SceneText scene;
    scene.before =
        "link \"probe_surroundings.so\"\n$include <probe_surroundings.mi>\n"
        "lightprofile \"p\" format ies file \"lamp.ies\" end lightprofile\n";
    scene.elements = "light \"l\" \"probe_profile_light\" ( \"profile\" \"p\", \"relative\" " + relative + " ) " +
                     light + " end light\ninstance \"light\" \"l\" " + place + " end instance\n" +
                     "material \"m\" \"probe_lit\" () end material\n" + wall("surface", -5, "m");
    scene.members = "\"light\" \"surface\"";
    return scene;
}

/// Straight between the measured angles: falls with theta from 40 by a third of a candela per degree, and with phi.
double candela(V3 axis, V3 zero, V3 way) {
    const double degrees = 180 / std::acos(-1.), theta = std::acos(dot(way, axis)) * degrees;
    const double phi = std::abs(std::atan2(dot(way, cross(zero, axis)), dot(way, zero)) * degrees);
    return (40 - theta / 3) * (1 - phi / 360);
}

TEST_F(Contract, LightProfilesTurnWithTheirLight) {
    write("lamp.ies", kProfile);
    // Down the light's z axis, C0 along x.
    expectPixels(
        probe(profiled("origin 0 0 0", "off")), "R",
        [](int x, int y) { return candela({0, 0, -1}, {1, 0, 0}, eyeRay(x, y)); }, 1e-3);
    expectPixels(probe(profiled("origin 0 0 0", "on")), "R",
                 [](int x, int y) { return candela({0, 0, -1}, {1, 0, 0}, eyeRay(x, y)) / 40; });
    // A quarter turn of the instance brings x to y. Light to world: row vectors (x, y, z) -> (-y, x, z).
    expectPixels(probe(profiled("origin 0 0 0", "on", "transform 0 -1 0 0  1 0 0 0  0 0 1 0  0 0 0 1")), "R",
                 [](int x, int y) { return candela({0, 0, -1}, {0, 1, 0}, eyeRay(x, y)) / 40; });
    // A spot has a direction of its own: (0, .6, -.8), C0 stays along x.
    expectPixels(probe(profiled("origin 0 0 0 direction 0 3 -4 spread .1", "on")), "R",
                 [](int x, int y) { return candela({0, .6, -.8}, {1, 0, 0}, eyeRay(x, y)) / 40; });
}

TEST_F(Contract, LightProfilesAnswerShaders) {
    write("lamp.ies", kProfile);
    SceneText scene = profiled("origin 0 0 0", "off");
    scene.elements += "material \"m\" \"probe_profile\" ( \"profile\" \"p\" ) end material\n";
    expectFacts(probe(scene), 13);
}

TEST_F(RenderTest, BrokenLightProfilesAreReportedWithBothLines) {
    write("lamp.ies", "TILT=NONE\n1 100 1 3\n2 9 2 0");
    const Outcome outcome = renderText(profiled("origin 0 0 0", "off").text());
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_TRUE(outcome.says("lamp.ies:3: found 9, expected the photometric type")) << outcome.messages;
    EXPECT_TRUE(outcome.says("scene.mi:")) << outcome.messages;
}

}  // namespace
}  // namespace rendertest
