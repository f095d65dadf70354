// Indirect light on the library's Lambert surfaces, in scenes whose light is known, and whether threads change it.
#include "lit_scene.h"

#include <fmt/format.h>

namespace rendertest {
namespace {

using LitGather = RenderTest;

std::string sky(const std::string& color = "1 1 1 1") {
    return " environment \"plain_environment\" ( \"down\" " + color + ", \"up\" " + color + " )";
}

LitScene gathering(const std::string& options) {
    LitScene scene({{"beauty", 0}, {"direct", 5}, {"indirect", 9}, {"incandescence", 22}});
    scene.options = "finalgather on finalgather accuracy 128 " + options;
    return scene;
}

// Nothing that a flat side of a convex object sees belongs to the object, so it returns its color of a white sky.
TEST_F(LitGather, WhiteFurnace) {
    const Rgb color{.5, .25, .8};
    for (const std::string density : {"0", "1"}) {
        LitScene scene = gathering("finalgather presample density " + density);
        scene.camera = "resolution 40 40" + sky();
        scene.lambert("m", parameter("color", color) + ", \"diffuse\" 1");
        scene.addInstance(
            box("box", {1, .7, .8}, turned({1, 2, 3}, 41).then(moved({.1, .2, -2.2})), false, "material \"m\""), "box");
        const Picture image = picture(scene.text());
        int seen = 0;
        for (int y = 0; y < 40; ++y)
            for (int x = 0; x < 40; ++x) {
                if (image.at("B", x, y) == 1) continue;  // the sky itself
                ++seen;
                for (const char* layer : {"", "beauty.", "indirect."}) {
                    ASSERT_NEAR(image.at(std::string(layer) + "R", x, y), color.r, .002 * color.r) << layer;
                    ASSERT_NEAR(image.at(std::string(layer) + "G", x, y), color.g, .002 * color.g) << layer;
                    ASSERT_NEAR(image.at(std::string(layer) + "B", x, y), color.b, .002 * color.b) << layer;
                }
                ASSERT_EQ(image.at("direct.R", x, y), 0);
            }
        EXPECT_GT(seen, 300);
    }
}

// Each wall of a closed box sends out e, and r of what the others do: e (1 + r + r^2 + ...), up to the traced bounces.
TEST_F(LitGather, BouncesInAClosedBox) {
    const Rgb e{.2, .3, .1}, r{.5, .7, .2};
    Rgb sum = e + r * e, power = r * e;
    for (const int bounces : {0, 1, 2, 4}) {
        LitScene scene = gathering(fmt::format("finalgather trace depth 0 0 {}", bounces));
        scene.camera = sky("9 9 9 9");  // which nobody sees
        scene.lambert("m", parameter("color", r) + ", \"diffuse\" 1, " + parameter("incandescence", e));
        scene.addInstance(box("room", {3, 2, 4}, turned({1, 1, 0}, 20), true, "material \"m\""), "room");
        const Picture image = picture(scene.text());
        sum = e;
        power = e;
        for (int i = 0; i <= bounces; ++i) {
            power = power * r;
            sum = sum + power;
        }
        const auto near = [&](const std::string& layer, const Rgb& expected) {
            expectLayer(image, layer, [&](int, int) { return expected; }, .01);
        };
        near("", sum);
        near("beauty", sum);
        near("indirect", sum - e);
        near("incandescence", e);
    }
}

// A wall under an even sky of (.5 1 2).
TEST_F(LitGather, IndirectLightIsTintedAndReplaced) {
    const Rgb surroundings{.5, 1, 2}, color{.5, .4, .3}, tint{.5, .25, 0}, given{.3, .6, .9};
    const std::string surface = parameter("color", color) + ", \"diffuse\" .8";
    struct Case {
        std::string more;
        Rgb expected;
        bool gathers;
    };
    const std::string connected = ", \"irradiance\" = \"given\"", tinted = ", " + parameter("irradianceColor", tint);
    for (const auto& [more, expected, gathers] : {
             Case{"", surroundings, true},
             Case{", \"irradiance\" .3 .6 .9", surroundings, true},  // a value that is not connected does nothing
             Case{tinted, tint * surroundings, true},
             Case{", \"irradianceColor\" 0 0 0", {}, false},
             Case{connected, given, false},
             Case{connected + tinted, tint * given, false},
         }) {
        SCOPED_TRACE(more);
        LitScene scene = gathering("");
        scene.camera = sky(".5 1 2 1");
        scene.addElement("shader \"given\" \"plain_constant\" ( \"color\" .3 .6 .9 1 )");
        scene.lambert("m", surface + more);
        scene.wall("surface", -5, "m");
        const Outcome outcome = renderText(scene.text(), {"-verbose", "5"});
        ASSERT_EQ(outcome.exitCode, 0) << outcome.messages;
        // Where nothing is gathered, no rays are spent either.
        EXPECT_EQ(!outcome.says(" points, 0 rays"), gathers) << outcome.messages;
        const Picture image(path("out.exr"));
        for (const char* layer : {"", "indirect"})
            expectLayer(image, layer, [&](int, int) { return .8 * color * expected; }, 2e-3);
    }
}

// What counts for little is gathered with fewer rays, or not at all; an object may have settings of its own. The wall
// counts .2: .5, its color, times .8 x .5, what it reflects.
TEST_F(LitGather, ImportanceAndObjectsDecideOnTheRays) {
    const auto indirect = [&](const std::string& record, const std::string& objectOptions = {}) {
        LitScene scene = gathering("finalgather presample density 0");
        scene.camera = sky();
        scene.record = record;
        scene.lambert("m", "\"color\" .5 .4 .3, \"diffuse\" .8");
        scene.addElement("data \"own\" \"IrradianceOptions\" ( " + objectOptions + " )");
        std::string text = wall("surface", -5, "m");
        text.replace(text.find("visible"), 0, objectOptions.empty() ? "" : "data \"own\" ");
        scene.addInstance(text, "surface");
        return picture(scene.text()).at("indirect.R", 1, 2);
    };
    EXPECT_NEAR(indirect(""), .4, 1e-3);
    EXPECT_NEAR(indirect("\"lowerImportance\" .19"), .4, 1e-3);
    EXPECT_EQ(indirect("\"lowerImportance\" .21"), 0);
    EXPECT_NEAR(indirect("\"lowerImportance\" .1, \"upperImportance\" .3"), .4, 1e-3);  // half of the rays
    EXPECT_EQ(indirect("\"lowerImportance\" .1, \"upperImportance\" 60"), 0);           // 128 x .1 / 59.9 are none
    EXPECT_NEAR(indirect("", "\"rays\" 5"), .4, 1e-3);
    EXPECT_EQ(indirect("", "\"rays\" -1"), 0);
}

// Gathering rays run materials and lights; what those put into passes is not the eye ray's.
TEST_F(LitGather, LeavesThePassesOfDirectLightAlone) {
    const auto render = [&](const std::string& options) {
        LitScene scene({{"diffuse", 5}, {"blocked", 12}, {"indirect", 9}});
        scene.options = options;
        scene.camera = sky("0 0 0 0");
        scene.light("bulb", "\"lumoVexaPointLight\" ( \"useRayTraceShadows\" on )", "origin 3 0 -3");
        scene.lambert("m", "\"color\" .5 .4 .3, \"diffuse\" .8");
        scene.wall("surface", -5, "m");
        scene.addInstance(box("box", {1, 1, .5}, moved({0, 0, -4}), false, "material \"m\""), "box");
        return picture(scene.text());
    };
    const Picture direct = render("finalgather off"), both = render("finalgather on finalgather accuracy 64");
    double gathered = 0, lit = 0, blocked = 0;
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x) {
            for (const char* channel : {"diffuse.R", "diffuse.A", "blocked.G", "blocked.A"})
                EXPECT_EQ(both.at(channel, x, y), direct.at(channel, x, y)) << channel << " at " << x << " " << y;
            EXPECT_EQ(direct.at("indirect.R", x, y), 0);
            gathered += both.at("indirect.R", x, y);
            lit += both.at("diffuse.R", x, y);
            blocked += both.at("blocked.G", x, y);
        }
    EXPECT_TRUE(gathered > 0 && lit > 0 && blocked > 0) << gathered << " " << lit << " " << blocked;
}

// Three kinds of lights with a shape, soft shadows, and light that bounces between boxes.
TEST_F(LitGather, ThreadsDoNotChangeThePicture) {
    LitScene scene({{"beauty", 0}, {"diffuse", 5}, {"indirect", 9}, {"blocked", 12}});
    scene.options = "samples 0 1 finalgather on finalgather accuracy 32 finalgather trace depth 0 0 1";
    scene.camera = "resolution 60 45 aspect 1.3333" + sky(".2 .1 .1 1");
    const std::string shadow = "\"useRayTraceShadows\" on, \"shadowRays\" 4";
    scene.light("window", "\"lumoVexaAreaLight\" ( \"intensity\" .2, " + shadow + " )",
                "origin -2 1 -2 rectangle 1 0 0  0 -1 0  1 1");
    scene.light("bulb", "\"lumoVexaAreaLight\" ( \"intensity\" 9, \"decayRate\" 2, " + shadow + " )",
                "origin 2 1 -2 sphere .4 2 2");
    scene.addElement("object \"tube\" group 0 -2 -2  1 -2 -2  0 -1 -2  v 0 v 1 v 2 c 2 1 0 end group end object");
    scene.addInstance("instance \"tube_i\" \"tube\" end instance\n", "tube_i");
    scene.light("shape", "\"lumoVexaShapeLight\" ( \"intensity\" 5, " + shadow + " )", "object \"tube_i\" 3 2");
    scene.lambert("m", "\"color\" .7 .6 .5, \"diffuse\" .9");
    scene.wall("ground", -6, "m");
    for (int i = 0; i < 4; ++i) {
        const Placing place = turned({1, i * .4, .3}, 37 * i).then(moved({(i % 2 - .5) * 3, (i / 2 - .5) * 2.5, -5.2}));
        scene.addInstance(box(fmt::format("box{}", i), {.7, .5, .6}, place, false, "material \"m\""),
                          fmt::format("box{}", i));
    }
    const Picture one = picture(scene.text(), {"-threads", "1"});
    expectSameBits(one, picture(scene.text(), {"-threads", "2"}), "two threads");
    expectSameBits(one, picture(scene.text(), {"-threads", "5", "-task_size", "7"}), "five threads, small tiles");
}

}  // namespace
}  // namespace rendertest
