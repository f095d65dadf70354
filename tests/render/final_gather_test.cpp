// Indirect light by final gathering, in scenes whose light is known in closed form or by numeric integration.
#include "harness.h"
#include "pixels.h"
#include "scene_text.h"

#include <algorithm>
#include <fstream>
#include <functional>
#include <iterator>

namespace rendertest {
namespace {

constexpr double kPi = 3.14159265358979323846;

/// Camera at the origin; the material "m" gathers, as `material` says.
SceneText gatherScene(const std::string& options, const std::string& material = {}) {
    SceneText scene;
    scene.before = "link \"plain_gather.so\"\n$include <plain_gather.mi>\n";
    scene.options = "samples 0 0 finalgather on finalgather accuracy 128 " + options;
    scene.elements = "material \"m\" \"plain_gather\" ( " + material + " ) end material\n";
    return scene;
}

std::string constantSky(const std::string& color = "1 1 1 1") {
    return " environment \"plain_environment\" ( \"down\" " + color + ", \"up\" " + color + " )";
}

void addBox(SceneText& scene, const std::string& name, V3 half, const Placing& place, bool inside = false,
            const std::string& more = "material \"m\"") {
    scene.elements += box(name, half, place, inside, more);
    scene.members += " \"" + name + "\"";
}

struct Statistics {
    double mean = 0, variance = 0;
};

Statistics statisticsOf(const Picture& image, const std::string& channel = "R") {
    const std::vector<float>& values = image.channels().at(channel).values;
    double sum = 0, squares = 0;
    for (const float value : values) sum += value;
    const double mean = sum / static_cast<double>(values.size());
    for (const float value : values) squares += (value - mean) * (value - mean);
    return {mean, squares / static_cast<double>(values.size() - 1)};
}

/// Boxes on a wall in uneven light, with two bounces.
SceneText crowdedScene(const std::string& options) {
    SceneText scene = gatherScene("finalgather trace depth 0 0 1 " + options, "\"reflectance\" .7 .6 .5");
    scene.camera =
        "resolution 100 75 aspect 1.3333 environment \"plain_environment\" ( \"down\" .2 .1 .1 1, \"up\" 1 1 2 1 )";
    scene.elements += wall("ground", -6, "m");
    scene.members = "\"ground\"";
    for (int i = 0; i < 6; ++i)
        addBox(scene, fmt::format("box{}", i), {.7, .5, .6},
               turned({1, i * .4, .3}, 37 * i).then(moved({(i % 3 - 1) * 2.5, (i / 3 - .5) * 2.5, -5.2})));
    return scene;
}

class FinalGather : public RenderTest {
protected:
    std::string bytesOf(const std::string& name) const {
        std::ifstream stream(path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    }
};

// Nothing that a flat side of a convex object sees belongs to the object: E / pi is the radiance of the surroundings.
TEST_F(FinalGather, FlatSidesOfConvexObjectsReflectTheSurroundings) {
    for (const std::string density : {"0", "1"}) {
        SceneText scene = gatherScene("finalgather presample density " + density, "\"reflectance\" .5 .25 .8");
        scene.camera = "resolution 40 40" + constantSky("1 2 1 1");
        addBox(scene, "box", {1, .7, .8}, turned({1, 2, 3}, 41).then(moved({.1, .2, -2.2})));
        const Picture image = picture(scene.text());
        int seen = 0;
        for (int y = 0; y < 40; ++y)
            for (int x = 0; x < 40; ++x) {
                if (image.at("B", x, y) == 1) continue;  // the surroundings themselves
                ++seen;
                ASSERT_NEAR(image.at("R", x, y), .5, .001) << x << " " << y;
                ASSERT_NEAR(image.at("G", x, y), .5, .001);
                ASSERT_NEAR(image.at("B", x, y), .8, .0016);
            }
        EXPECT_GT(seen, 300);
    }
}

TEST_F(FinalGather, LightsTheLibrarysMaterials) {
    SceneText scene = gatherScene("state [ \"vexabase\" () ]");
    scene.before += libraryPrelude();
    scene.camera = constantSky(".5 1 2 1");
    scene.elements =
        "shader \"matt\" \"lumoVexaLambert\" ( \"color\" .5 .5 .5, \"diffuse\" .8 )\n"
        "material \"m\" = \"matt\" end material\n" +
        wall("surface", -5, "m");
    scene.members = "\"surface\"";
    const Picture image = picture(scene.text());
    expectPixels(image, "R", [](int, int) { return .5 * .8 * .5; }, 2e-4);  // color, diffuse, surroundings
    expectPixels(image, "B", [](int, int) { return .5 * .8 * 2; }, 8e-4);
}

// Every ray in a closed box meets a wall that sends out what it shines by itself, and what it reflects of the same.
TEST_F(FinalGather, BouncesUpToTheTracedDepthInClosedBoxes) {
    const auto box = [&](const std::string& options) {
        SceneText scene = gatherScene(options, "\"emission\" .2 .2 .2, \"reflectance\" .5 .5 .5");
        addBox(scene, "room", {3, 2, 4}, turned({1, 1, 0}, 20), true);
        return picture(scene.text());
    };
    double sum = .2 * (1 + .5), power = .5;
    for (const std::string depth : {"0", "1", "2", "3"}) {
        expectPixels(box("finalgather trace depth 0 0 " + depth), "R", [&](int, int) { return sum; }, .01 * sum);
        power *= .5;
        sum += .2 * power;
    }
    // e (1 + r s (1 + r s2)), s for what eyes see and s2 for the next bounce.
    const Picture scaled =
        box("finalgather trace depth 0 0 1 finalgather scale .5 1 1 finalgather secondary scale .25 0 1");
    expectPixels(scaled, "R", [](int, int) { return .2 * (1 + .25 * (1 + .125)); }, 1e-3);
    expectPixels(scaled, "G", [](int, int) { return .2 * (1 + .5); }, 1e-3);
}

TEST_F(FinalGather, NoiseFallsWithTheRays) {
    const auto noise = [&](int rays) {
        SceneText scene = gatherScene(fmt::format("finalgather presample density 0 finalgather accuracy {}", rays));
        scene.camera = "resolution 32 32 environment \"plain_environment\" ( \"down\" 0 0 0 1, \"up\" 1 1 1 1 )";
        scene.elements += wall("surface", -5, "m");
        scene.members = "\"surface\"";
        return statisticsOf(picture(scene.text()));
    };
    const Statistics few = noise(20), more = noise(40), many = noise(80);
    EXPECT_LE(more.variance, few.variance / 2);
    EXPECT_LE(many.variance, more.variance / 2);
    EXPECT_NEAR(many.mean, .5, .002);  // as much comes from above as is missing from below
    EXPECT_GT(few.variance, 1e-6);
}

TEST_F(FinalGather, InterpolationKeepsTheMean) {
    const Picture exact = picture(crowdedScene("finalgather presample density 0 finalgather accuracy 64").text());
    const Picture quick = picture(crowdedScene("finalgather accuracy 256").text());
    for (const std::string channel : {"R", "G", "B"}) {
        const double mean = statisticsOf(exact, channel).mean;
        EXPECT_NEAR(statisticsOf(quick, channel).mean, mean, .01 * mean);
    }
    // It does interpolate, and what it blurs is little: the mean of the differences is below 3 percent.
    double difference = 0;
    const auto &a = exact.channels().at("R").values, &b = quick.channels().at("R").values;
    for (std::size_t i = 0; i < a.size(); ++i) difference += std::abs(a[i] - b[i]);
    EXPECT_LT(difference / static_cast<double>(a.size()), .03 * statisticsOf(exact).mean);
    EXPECT_GT(difference, 0);
}

TEST_F(FinalGather, ThreadsDoNotChangeThePicture) {
    const std::string scene = crowdedScene("finalgather accuracy 32").text();
    const Picture one = picture(scene, {"-threads", "1"});
    expectSameBits(one, picture(scene, {"-threads", "2"}), "two threads");
    expectSameBits(one, picture(scene, {"-threads", "5", "-task_size", "7"}), "five threads, small tiles");
}

TEST_F(FinalGather, PointsAreKeptInFiles) {
    const auto scene = [](const std::string& more) {
        return crowdedScene("finalgather accuracy 32 finalgather file \"kept.points\" " + more).text();
    };
    const auto render = [&](const std::string& more) {
        Outcome outcome = renderText(scene(more), {"-verbose", "5"});
        EXPECT_EQ(outcome.exitCode, 0) << outcome.messages;
        return outcome;
    };
    render("");
    const Picture first(path("out.exr"));
    const std::string kept = bytesOf("kept.points");
    ASSERT_GT(kept.size(), 1000U);

    // Used as they are, or completed where a grid finds gaps, of which there are none.
    const Outcome frozen = render("finalgather rebuild freeze");
    EXPECT_FALSE(frozen.says("grid of")) << frozen.messages;
    expectSameBits(first, Picture(path("out.exr")), "frozen");
    EXPECT_TRUE(render("finalgather rebuild off").says(" points, 0 rays"));
    expectSameBits(first, Picture(path("out.exr")), "kept");
    EXPECT_EQ(bytesOf("kept.points"), kept);

    // Broken ones are told, and made anew.
    std::string flipped = kept;
    flipped[kept.size() / 2] ^= 1;
    const std::map<std::string, std::string> broken{{kept.substr(0, kept.size() - 7), "expected"},
                                                    {flipped, "is damaged"},
                                                    {"some text", "is no file of final gather points"},
                                                    {"", "is no file of final gather points"}};
    for (const auto& [bytes, message] : broken) {
        write("kept.points", bytes);
        const Outcome outcome = render("finalgather rebuild off");
        EXPECT_TRUE(outcome.says("final gather file \"kept.points\" ") && outcome.says(message)) << outcome.messages;
        expectSameBits(first, Picture(path("out.exr")), message);
        EXPECT_EQ(bytesOf("kept.points"), kept) << message;
    }

    // Several files: what any of them holds is known. `only` makes points and no picture.
    std::filesystem::remove(path("out.exr"));
    std::filesystem::rename(path("kept.points"), path("other.points"));
    const Outcome both =
        render("finalgather rebuild off finalgather file [ \"new.points\", \"other.points\" ] finalgather only");
    EXPECT_TRUE(both.says(" points, 0 rays")) << both.messages;
    EXPECT_FALSE(exists("out.exr") || exists("new.points"));
    const Outcome lost = render("finalgather rebuild freeze");
    EXPECT_TRUE(lost.says("\"kept.points\" is not there")) << lost.messages;
    EXPECT_FALSE(exists("kept.points"));
}

TEST_F(FinalGather, SettingsOfObjectsAndCalls) {
    // A wall under a bright sky, with a black roof between them that covers everything.
    const auto lit = [&](const std::string& material, const std::string& wallFlags = {},
                         const std::string& roofFlags = "finalgather off") {
        SceneText scene = gatherScene("finalgather presample density 0", material);
        scene.camera = "resolution 2 2" + constantSky();
        scene.elements += wall("surface", -5, "m", 1000, wallFlags) + constantMaterial("black", "0 0 0 0") +
                          wall("roof", -1, "black", 1000000,
                               "visible off transform -1 0 0 0  0 1 0 0  0 0 -1 0  0 0 -2 1 " + roofFlags);
        scene.members = "\"surface\" \"roof\"";
        return picture(scene.text()).at("R", 1, 1);
    };
    EXPECT_NEAR(lit(""), 1, 1e-5);                                // the roof casts nothing into final gathering
    EXPECT_EQ(lit("", "", "finalgather 1"), 0);                   // it does
    EXPECT_EQ(lit("", "finalgather off"), 0);                     // the wall takes nothing
    EXPECT_EQ(lit("", "finalgather 9"), 0);                       // nor here: it casts only
    EXPECT_NEAR(lit("\"force\" 1", "finalgather off"), 1, 1e-5);  // unless the call wants it
    EXPECT_EQ(lit("\"force\" 2"), 0);
    EXPECT_EQ(lit("\"rays\" -1"), 0);
    EXPECT_NEAR(lit("\"rays\" 3"), 1, 1e-5);
    EXPECT_NEAR(lit("\"force\" 2, \"recordsize\" 48"), 1, 1e-5);  // a shorter record does not say so
    EXPECT_NEAR(lit("\"recordsize\" 36"), 1, 1e-5);
    EXPECT_NEAR(lit("\"back\" on", "", "finalgather 1"), 1, 1e-5);  // nothing is behind the wall
}

// In a dark box shines a small bright patch. Of 64 rays from each place some one or two meet it; the filter makes the
// brightest count as the next one.
TEST_F(FinalGather, FiltersSpeckles) {
    const auto lit = [&](const std::string& filter) {
        SceneText scene =
            gatherScene("finalgather presample density 0 finalgather accuracy 64 finalgather filter " + filter);
        scene.camera = "resolution 16 16" + constantSky("0 0 0 0");
        scene.elements += wall("surface", -5, "m") + constantMaterial("bright", "100 100 100 0") +
                          wall("patch", -1, "bright", .6, "visible off transform -1 0 0 0  0 1 0 0  0 0 -1 0  0 0 2 1");
        scene.members = "\"surface\" \"patch\"";
        return statisticsOf(picture(scene.text()));
    };
    const Statistics raw = lit("0"), filtered = lit("1"), more = lit("4");
    EXPECT_GT(raw.mean, filtered.mean);
    EXPECT_GT(filtered.mean, more.mean);
    EXPECT_LT(filtered.variance, raw.variance);
}

TEST_F(FinalGather, FallsOffToTheSurroundings) {
    // Black stands 6 above the wall, everywhere. A ray at angle t meets it after 6 / cos t, and sees (d - 7) / (9 - 7)
    // of the surroundings, all of them beyond 9: the integral of 2 cos t sin t times that, with c = cos t.
    SceneText scene = gatherScene("finalgather presample density 0 finalgather accuracy 2000 finalgather falloff 7 9");
    scene.camera = "resolution 2 2" + constantSky();
    scene.elements += wall("surface", -5, "m", 1000) + constantMaterial("black", "0 0 0 0") +
                      wall("roof", -1, "black", 1e6, "transform -1 0 0 0  0 1 0 0  0 0 -1 0  0 0 0 1");
    scene.members = "\"surface\" \"roof\"";
    double expected = 0;
    for (int i = 0; i < 100000; ++i) {
        const double c = (i + .5) / 100000;
        expected += 2 * c * std::clamp((6 / c - 7) / 2, 0., 1.) / 100000;
    }
    EXPECT_NEAR(picture(scene.text()).at("R", 0, 0), expected, .002);
}

TEST_F(FinalGather, RaysHaveDepthsOfTheirOwn) {
    // The wall shines .5; the mirror over it shows the wall to rays that it may send on, and .25 to others.
    const auto lit = [&](const std::string& depth) {
        SceneText scene =
            gatherScene("finalgather presample density 0 finalgather trace depth " + depth, "\"emission\" .5 .5 .5");
        scene.elements +=
            wall("surface", -5, "m", 1000) +
            "material \"mirror\" \"plain_rays\" ( \"mode\" 1, \"otherwise\" .25 .25 .25 0 ) end material\n" +
            wall("glass", -1, "mirror", 100000, "transform -1 0 0 0  0 1 0 0  0 0 -1 0  0 0 0 1");
        scene.members = "\"surface\" \"glass\"";
        scene.camera = constantSky("0 0 0 0");
        return picture(scene.text()).at("R", 1, 2);
    };
    EXPECT_NEAR(lit("0 4"), .5 + .25, 1e-5);
    EXPECT_NEAR(lit("1 0"), .5 + .5, .02);  // a few rays pass the wall's edge
    EXPECT_NEAR(lit("1 0 0 0"), .5 + .25, 1e-5);
}

TEST_F(FinalGather, StagesAnswerQueriesAndWriteNoBuffers) {
    for (const bool ahead : {false, true}) {
        SceneText scene = gatherScene(ahead ? "" : "finalgather presample density 0");
        scene.buffers += "\nframebuffer \"user\" datatype \"rgba_fp\" user on filename \"out.exr\" filetype \"exr\"";
        scene.elements += "material \"state\" \"plain_gather_state\" () end material\n" + wall("surface", -5, "m");
        addBox(scene, "dome", {2000, 2000, 2000}, {}, true, "visible off material \"state\"");
        scene.members += " \"surface\"";
        const Picture image = picture(scene.text());
        const double state = ahead ? 2 : 1;  // stages are bits: 1 tiles, 2 preparation of final gathering
        expectPixels(image, "R", [&](int, int) { return state; });
        expectPixels(image, "G", [&](int, int) { return state; });
        expectPixels(image, "B", [&](int, int) { return 1; });
        expectPixels(image, "user.R", [&](int, int) { return 0; });
    }
}

TEST_F(FinalGather, ShadersMayStoreLight) {
    SceneText scene = gatherScene("");
    scene.camera = constantSky();
    scene.elements += "material \"stored\" \"plain_gather_store\" ( \"irradiance\" .3 .2 .1 0 ) end material\n" +
                      wall("surface", -5, "stored");
    scene.members = "\"surface\"";
    const Picture image = picture(scene.text());
    expectPixels(image, "R", [](int, int) { return .3; }, 1e-6);
    expectPixels(image, "G", [](int, int) { return .2; }, 1e-6);
    expectPixels(image, "A", [](int, int) { return 0; });  // nothing is stored while tiles render
}

}  // namespace
}  // namespace rendertest
