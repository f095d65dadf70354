// Ambient occlusion between points that are made before tiles, against closed forms and what all rays find.
#include "harness.h"
#include "occlusion_scene.h"
#include "pixels.h"

#include <algorithm>
#include <regex>

namespace rendertest {
namespace {

const std::string kCache = " \"ambient occlusion cache\" on ";

/// The floor from x = -3 to 3 and y = -3 to 3.
SceneText wideScene(const std::string& options, const std::string& settings = {}) {
    SceneText scene = floorScene(settings, options);
    scene.camera = "aperture 1.2 resolution 64 64";
    return scene;
}

/// Boxes on a floor that all show their occlusion.
SceneText crowdedScene(const std::string& options) {
    SceneText scene = floorScene(", \"rays\" 128", "samples 1 1 " + options);
    scene.camera = "resolution 120 90 aspect 1.3333";
    for (int i = 0; i < 6; ++i) {
        const Placing place =
            turned({1, i * .4, .3}, 37 * i).then(moved({(i % 3 - 1) * 2.5, (i / 3 - .5) * 2.5, -4.2}));
        const std::string name = fmt::format("box{}", i);
        scene.elements += box(name, {.7, .5, .6}, place, false, "material \"m\"");
        scene.members += " \"" + name + "\"";
    }
    return scene;
}

double meanOf(const Picture& image) {
    double sum = 0;
    for (const float value : image.channels().at("R").values) sum += value;
    return sum / (image.width * image.height);
}

class OcclusionCache : public RenderTest {
protected:
    /// Of a render that has to succeed.
    struct Rays {
        double ahead = 0, ofTiles = 0, points = 0;
    };
    Rays rays(const SceneText& scene) {
        const Outcome outcome = renderText(scene.text(), {"-verbose", "5"});
        EXPECT_EQ(outcome.exitCode, 0) << outcome.messages;
        Rays result;
        std::smatch match;
        if (std::regex_search(outcome.messages, match, std::regex("ambient occlusion: (\\d+) points, (\\d+) rays"))) {
            result.points = std::stod(match[1]);
            result.ahead = std::stod(match[2]);
        }
        if (std::regex_search(outcome.messages, match, std::regex("(\\d+) secondary rays")))
            result.ofTiles = std::stod(match[1]);
        messages_ = outcome.messages;
        return result;
    }

    std::string messages_;
};

// Of a disc with radius R at height h, seen from r beside its axis: (1 - (1 + H^2 - Q^2) / sqrt((1 + H^2 + Q^2)^2 -
// 4 Q^2)) / 2 with H = h / r and Q = R / r; multiplied by r^2 it has a value at r = 0 too. Points that reach six
// pixels, d = .56, blur it by .075 d^2 of its curvature, which is below .35: .008 at most. Where they lie unevenly, by
// up to a pixel, that comes with the slope, .28 at most: .026.
TEST_F(OcclusionCache, KeepsToTheClosedForm) {
    const double radius = 2, h2 = kHeight * kHeight, q2 = radius * radius;
    SceneText scene = wideScene(kCache);
    addDisc(scene, radius);
    const Picture image = picture(scene.text());
    double sum = 0, worst = 0, sumExpected = 0;
    for (int y = 0; y < 64; ++y)
        for (int x = 0; x < 64; ++x) {
            const double r = std::hypot((x + .5) / 64 - .5, (y + .5) / 64 - .5) * 6, r2 = r * r;
            const double expected = (1 - (r2 + h2 - q2) / std::sqrt((r2 + h2 + q2) * (r2 + h2 + q2) - 4 * q2 * r2)) / 2;
            const double difference = std::abs(image.at("R", x, y) - expected);
            worst = std::max(worst, difference);
            sum += difference;
            sumExpected += expected;
        }
    EXPECT_LT(sum / sumExpected, .04);
    EXPECT_LT(worst, .008 + .026);
}

// Half is hidden beside a wall, wherever; the bent normal is as in the exact case.
TEST_F(OcclusionCache, KnowsTheBentNormal) {
    SceneText scene = wideScene(kCache);
    addWall(scene, 3);
    const Picture image = picture(scene.text());
    for (const float value : image.channels().at("R").values) ASSERT_NEAR(value, .5, .005);
    const V3 bent = meanBent(image), expected = unit({2. / 3, 0, kPi / 3});
    EXPECT_NEAR(bent.x, expected.x, .002);
    EXPECT_NEAR(bent.y, 0, .002);
    EXPECT_NEAR(bent.z, expected.z, .002);
}

TEST_F(OcclusionCache, TakesFewerRaysAndKeepsTheMean) {
    const Rays all = rays(crowdedScene(""));
    const double mean = meanOf(Picture(path("out.exr")));
    const Rays some = rays(crowdedScene(kCache));
    EXPECT_EQ(all.points, 0);
    EXPECT_GT(some.points, 100);
    EXPECT_LT(some.ahead + some.ofTiles, all.ofTiles / 8);
    EXPECT_NEAR(meanOf(Picture(path("out.exr"))), mean, .01 * mean);

    // Denser points are nearer to each other.
    EXPECT_GT(rays(crowdedScene(kCache + "\"ambient occlusion cache density\" 2")).points, some.points);
}

TEST_F(OcclusionCache, IsOffWhereNothingIsInterpolated) {
    const auto underDisc = [](const std::string& options, const std::string& settings = {}) {
        SceneText scene = floorScene(settings, options);
        addDisc(scene, 2);
        return scene;
    };
    const Picture exact = picture(underDisc("").text());
    for (const std::string without : {"density", "points"}) {
        const std::string options = kCache + "\"ambient occlusion cache " + without + "\" 0";
        expectSameBits(exact, picture(underDisc(options).text()), without);
        EXPECT_EQ(rays(underDisc(options)).points, 0);
    }
    expectSameBits(exact, picture(underDisc(kCache, ", \"cachepoints\" 0").text()), "the call");
    EXPECT_EQ(rays(underDisc(kCache + "\"ambient occlusion\" off")).points, 0);
    // Around the normal only: what the cone around another axis meets changes faster, and with the view.
    const std::string tilted = ", \"axis\" 0 .6 .8";
    expectSameBits(picture(underDisc("", tilted).text()), picture(underDisc(kCache, tilted).text()), "tilted");
    EXPECT_GT(rays(underDisc(kCache, ", \"axis\" 0 0 1")).points, 0);
}

TEST_F(OcclusionCache, ThreadsDoNotChangeThePicture) {
    SceneText scene = crowdedScene(kCache);
    scene.options = "samples 0 0 " + kCache + " finalgather on finalgather accuracy 16";
    scene.before += "link \"plain_gather.so\"\n$include <plain_gather.mi>\n";
    // Gathers the occlusion of everything else.
    scene.elements += "material \"gathers\" \"plain_gather\" () end material\n" +
                      box("lit", {.5, .5, .5}, moved({.6, 0, -3}), false, "material \"gathers\"");
    scene.members += " \"lit\"";
    const Picture one = picture(scene.text(), {"-threads", "1"});
    expectSameBits(one, picture(scene.text(), {"-threads", "2"}), "two threads");
    expectSameBits(one, picture(scene.text(), {"-threads", "5", "-task_size", "7"}), "five threads, small tiles");
    rays(scene);
    const auto occlusion = messages_.find("ambient occlusion: grid"), light = messages_.find("final gathering: grid");
    EXPECT_LT(occlusion, light) << "gathering rays find what is known already";
    EXPECT_NE(light, std::string::npos);
}

// Two halves of a floor whose calls differ, below a ceiling at height h = 1.5. Rays with cosine c meet it at h / c. Of
// those with c < k the share is k^(n + 1), for cosines from c0 to k (k^2 - c0^2) / (1 - c0^2).
TEST_F(OcclusionCache, DoesNotMixCallsWithDifferentSettings) {
    struct Half {
        std::string settings;
        double hidden;
    };
    const std::string far = "\"mindist\" 2";  // k = h / 2 = .75
    const std::pair<Half, Half> cases[] = {
        {{far, .5625}, {"", 1}},
        {{far, .5625}, {far + ", \"exponent\" 4", .2373}},
        {{far, .5625}, {far + ", \"spread\" .5", .41667}},
        {{far, .5625}, {far + ", \"flags\" 8", 0}},
        {{"\"maxdist\" 1", 0}, {"", 1}},
        {{"\"maxdist\" 2.5", .16}, {"\"maxdist\" 2.5, \"falloff\" 0", .64}},
    };
    for (const auto& [left, right] : cases) {
        SCOPED_TRACE(left.settings + " beside " + right.settings);
        SceneText scene = wideScene(kCache);
        scene.camera = "aperture 1.2 resolution 24 24";
        scene.elements.clear();
        scene.elements = constantMaterial("black", "0 0 0 1");
        for (const auto& [name, half, x] : {std::tuple("l", &left, -1000), std::tuple("r", &right, 1000)})
            scene.elements +=
                fmt::format("material \"m{}\" \"plain_occlusion\" ( \"rays\" 1024{}{} ) end material\n", name,
                            half->settings.empty() ? "" : ", ", half->settings) +
                wall(name, -5, fmt::format("m{}", name), 1000, "transform " + moved({1. * x, 0, 0}).inverse().text());
        scene.members = "\"l\" \"r\"";
        addCeiling(scene, "visible off reflection off");
        const Picture image = picture(scene.text());
        for (int y = 0; y < 24; ++y)
            for (int x = 0; x < 24; ++x)
                ASSERT_NEAR(image.at("R", x, y), (x < 12 ? left : right).hidden, .01) << x << " " << y;
    }
}

// Stages are bits: 1 tiles, 2 preparation of final gathering, 4 preparation of occlusion.
TEST_F(OcclusionCache, HasAStageOfItsOwn) {
    EXPECT_GT(rays(wideScene(kCache, ", \"stages\" 4")).points, 0);
    EXPECT_EQ(rays(wideScene(kCache, ", \"stages\" 251")).points, 0);
    // What else shaders ask for is not computed in it: light is gathered in the stages that are for it.
    SceneText scene = wideScene(kCache + "finalgather on finalgather accuracy 16");
    scene.before = "link \"plain_gather.so\"\n$include <plain_gather.mi>\n";
    scene.elements = "material \"m\" \"plain_gather\" () end material\n" + wall("floor", -5, "m");
    const Rays gathering = rays(scene);
    EXPECT_TRUE(messages_.find("ambient occlusion: 0 points, 0 rays") != std::string::npos) << messages_;
    EXPECT_EQ(gathering.ahead, 0);
}

}  // namespace
}  // namespace rendertest
