// What light and shadow shaders may rely on.
#include "contract_test.h"

#include <cmath>

namespace rendertest {
namespace {

/// A surface at z = -5 that faces the light and the camera at the origin; `light` completes the light's element.
SceneText litWall(const std::string& light, const std::string& material = "\"probe_lit\" ()") {
    SceneText scene;
    scene.buffers += userBuffer("vector", "n") + userBuffer("number", "z");
    scene.elements = "light \"l\" " + light + " end light\ninstance \"light\" \"l\" end instance\n" +
                     "material \"lit\" " + material + " end material\n" + wall("surface", -5, "lit");
    scene.members = "\"light\" \"surface\"";
    return scene;
}

/// A surface out of the camera's sight, between the light and the lit one; `turned` ones face away from the light.
void addOccluder(SceneText& scene, const std::string& name, double z, const std::string& material, bool turned = false,
                 const std::string& flags = {}) {
    scene.elements += "material \"" + name + "_m\" " + material + " end material\n" +
                      wall(name, turned ? -z : z, name + "_m", 1000,
                           "visible off " + flags + (turned ? " transform -1 0 0 0  0 1 0 0  0 0 -1 0  0 0 0 1" : ""));
    scene.members += " \"" + name + "\"";
}

std::string shadow(const std::string& name, const std::string& transmission, const std::string& more = {}) {
    return "\"plain_constant\" () shadow \"probe_shadow\" ( \"name\" \"" + name + "\", \"transmission\" " +
           transmission + more + " )";
}

/// Where the eye ray of a pixel meets the wall.
double acrossWall(int pixel) { return 5 * ((pixel + .5) / 4 - .5) * 2; }

TEST_F(Contract, LightFromBelowTheSurfaceIsRejectedWithoutACall) {
    const SceneText scene = litWall("\"probe_light\" () origin 0 0 -8");
    const Picture image = probe(scene);
    EXPECT_EQ(image.at("R", 1, 1), 0);
    EXPECT_EQ(image.at("number.Z", 1, 1), 10);  // one sample, no call

    const Picture both = probe(litWall("\"probe_light\" () origin 0 0 -8", "\"probe_lit\" ( \"bothSides\" on )"));
    for (int x = 0; x < 4; ++x) {
        // To the light at (0, 0, -8) from (px, py, -5): the cosine to +z is -3 / distance.
        const double px = acrossWall(x), py = acrossWall(2), distance = std::sqrt(px * px + py * py + 9);
        EXPECT_EQ(both.at("R", x, 2), 1);
        EXPECT_NEAR(both.at("A", x, 2), -3 / distance, 1e-5);
        EXPECT_NEAR(both.at("vector.X", x, 2), -px / distance, 1e-5);
        EXPECT_NEAR(both.at("vector.Z", x, 2), -3 / distance, 1e-5);
        EXPECT_EQ(both.at("number.Z", x, 2), 11);
    }
}

TEST_F(Contract, LightShadersMayMoveTheLight) {
    const std::string moved = "\"moves\" on, \"org\" 3 4 0";
    const Picture image = probe(litWall("\"probe_light\" ( " + moved + " ) origin 0 0 5"));
    const double px = acrossWall(1), py = acrossWall(3);
    const double x = 3 - px, y = 4 - py, z = 5, distance = std::sqrt(x * x + y * y + z * z);
    EXPECT_NEAR(image.at("vector.X", 1, 3), x / distance, 1e-5);
    EXPECT_NEAR(image.at("vector.Y", 1, 3), y / distance, 1e-5);
    EXPECT_NEAR(image.at("vector.Z", 1, 3), z / distance, 1e-5);
    EXPECT_EQ(image.at("A", 1, 3), .25F);  // the cosine that the light shader left

    // Something stands before the light's own place, and nothing before the other one.
    SceneText blocked = litWall("\"probe_light\" () origin 0 0 5");
    addOccluder(blocked, "block", 4.5, "\"plain_constant\" ()");
    EXPECT_EQ(probe(blocked).at("R", 1, 3), 0);
    SceneText free = litWall("\"probe_light\" ( " + moved + " ) origin 0 0 5");
    addOccluder(free, "block", 4.5, "\"plain_constant\" ()");
    EXPECT_EQ(probe(free).at("R", 1, 3), 1);
}

TEST_F(Contract, EveryOccluderHasItsSayUntilOneStops) {
    SceneText scene = litWall("\"probe_light\" () origin 0 0 5");
    scene.options += " shadow sort";
    scene.camera = "resolution 1 1";
    SceneText black = scene, stopping = scene, tinted = scene;

    // Black is no reason to stop, and opaque materials are asked too.
    addOccluder(black, "a", 3, "opaque " + shadow("a", "0 0 0 0"));
    addOccluder(black, "b", 2, "opaque " + shadow("b", "0 0 0 0"));
    addOccluder(black, "c", 1, "opaque " + shadow("c", "1 1 1 1"));
    EXPECT_EQ(probe(black).at("R", 0, 0), 0);
    for (const char* name : {"a", "b", "c"})
        EXPECT_EQ(countOf(told.messages, std::string("shadow of ") + name + ":"), 1) << told.messages;

    // The middle one says that nothing passes any more, so the one beyond it is not asked.
    addOccluder(stopping, "a", 3, shadow("a", ".5 .5 .5 1"));
    addOccluder(stopping, "b", 2, shadow("b", ".5 .5 .5 1", ", \"stops\" on"));
    addOccluder(stopping, "c", 1, shadow("c", ".5 .5 .5 1"));
    EXPECT_EQ(probe(stopping).at("R", 0, 0), 0);
    EXPECT_EQ(countOf(told.messages, "shadow of "), 2) << told.messages;

    addOccluder(tinted, "a", 3, shadow("a", ".5 .25 1 1"));
    addOccluder(tinted, "b", 2, shadow("b", ".5 1 .125 1"));
    addOccluder(tinted, "none", 1, "\"plain_constant\" ()", false, "shadow 4");  // casts no shadow
    const Picture image = probe(tinted);
    EXPECT_EQ(image.at("R", 0, 0), .25F);
    EXPECT_EQ(image.at("G", 0, 0), .25F);
    EXPECT_EQ(image.at("B", 0, 0), .125F);
}

// A slab from z = -3 to z = -1.5 lies on the surface's way to the light; its outward normals are -z and +z. The light
// shines along -z. On the way from the surface to the light the ray enters after 2 and leaves after 1.5 more.
TEST_F(Contract, ShadowSegmentsRunFromThePointToTheLight) {
    const auto slab = [&](const std::string& mode) {
        SceneText scene = litWall("\"probe_light\" () origin 0 0 5");
        scene.options += " shadow " + mode;
        scene.camera = "resolution 1 1";
        addOccluder(scene, "enter", -3, shadow("enter", ".5 .5 .5 1"), true);
        addOccluder(scene, "leave", -1.5, shadow("leave", ".5 .25 .5 1"));
        return scene;
    };
    const Picture image = probe(slab("segments"));
    EXPECT_EQ(image.at("R", 0, 0), .25F);
    EXPECT_EQ(image.at("G", 0, 0), .125F);
    const auto enter = told.messages.find("shadow of enter: dist 2.0000 dot 1.0000 dir 0.0000 0.0000 -1.0000");
    const auto leave = told.messages.find("shadow of leave: dist 1.5000 dot -1.0000 dir 0.0000 0.0000 -1.0000");
    EXPECT_NE(enter, std::string::npos) << told.messages;
    EXPECT_NE(leave, std::string::npos) << told.messages;
    EXPECT_LT(enter, leave);

    // The other modes go from the light to the point, and measure from the light at z = 5.
    probe(slab("sort"));
    const auto first = told.messages.find("shadow of leave: dist 6.5000 dot -1.0000 dir 0.0000 0.0000 -1.0000");
    const auto second = told.messages.find("shadow of enter: dist 8.0000 dot 1.0000 dir 0.0000 0.0000 -1.0000");
    EXPECT_NE(first, std::string::npos) << told.messages;
    EXPECT_NE(second, std::string::npos) << told.messages;
    EXPECT_LT(first, second);
}

TEST_F(Contract, DirectionalLightsShineAlongTheirDirection) {
    SceneText scene = litWall("\"probe_light\" () direction 0 -3 -4");
    const Picture image = probe(scene);
    for (int x = 0; x < 4; ++x) {
        EXPECT_NEAR(image.at("vector.Y", x, 0), .6, 1e-6);
        EXPECT_NEAR(image.at("vector.Z", x, 0), .8, 1e-6);
        EXPECT_NEAR(image.at("A", x, 0), .8, 1e-6);
    }
    addOccluder(scene, "far", 500, shadow("far", ".5 .5 .5 1"));
    EXPECT_EQ(probe(scene).at("R", 2, 2), .5F);
}

}  // namespace
}  // namespace rendertest
