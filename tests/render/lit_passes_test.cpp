// What passes have to do with each other and with the picture, pixel by pixel, in scenes with several lights and
// shadows.
#include "lit_scene.h"

#include <fmt/format.h>

#include <functional>

namespace rendertest {
namespace {

using LitPasses = RenderTest;

constexpr int kPixels = 24;

/// Compares the rgb of two layers in every pixel; returns in how many of them they hold anything.
int expectSame(const Picture& a, const std::string& layerOfA, const Picture& b, const std::string& layerOfB) {
    int filled = 0;
    for (const char* channel : {".R", ".G", ".B"})
        for (int y = 0; y < kPixels; ++y)
            for (int x = 0; x < kPixels; ++x) {
                const float value = b.at(layerOfB + channel, x, y);
                EXPECT_NEAR(a.at(layerOfA + channel, x, y), value, 1e-5F)
                    << layerOfA << channel << " at " << x << " " << y;
                filled += value != 0;
            }
    return filled;
}

struct Lamp {
    std::string name, shader, place;
};

/// One of each kind, with hard shadows that are black.
const std::vector<Lamp> kLamps{
    {"bulb", "\"lumoVexaPointLight\" ( \"color\" 1 .9 .7 1, \"intensity\" 30, \"decayRate\" 2, ", "origin -2 3 -1"},
    {"sun", "\"lumoVexaDirectionalLight\" ( \"color\" .6 .8 1 1, \"intensity\" .7, ", "direction -1 -1.5 -2"},
    {"fill", "\"lumoVexaAmbientLight\" ( \"color\" .3 .2 .4 1, \"ambientShade\" .6, ", "origin 4 -2 0"},
};

/// A panel of half width `size` whose middle is at `at`.
void addPanel(LitScene& scene, const std::string& name, const std::string& material, V3 axis, double degrees, V3 at,
              double size, const std::string& instance = {}) {
    const Placing place = turned(axis, degrees).then(moved(at));
    scene.wall(name, 0, material, size, "transform " + place.inverse().text() + " " + instance);
}

/// Three opaque surfaces that shadow each other, in four lights. Of the lights and the panel "near" the passes in
/// these lists see nothing.
struct Masks {
    std::vector<std::string> bulb, sun, fill, near;
};

enum class Near { Seen, ShadowOnly, Absent };

LitScene opaqueScene(const std::vector<LitScene::Pass>& passes, const Masks& masks = {}, Near near = Near::Seen) {
    LitScene scene(passes);
    scene.camera = fmt::format("resolution {0} {0}", kPixels);
    const std::vector<std::string> maskOf[] = {masks.bulb, masks.sun, masks.fill};
    for (std::size_t i = 0; i < kLamps.size(); ++i)
        scene.light(kLamps[i].name, kLamps[i].shader + "\"useRayTraceShadows\" on )", kLamps[i].place,
                    scene.leftOutOf(maskOf[i]));
    // One that casts no shadows goes with the sun.
    scene.light("flash", "\"lumoVexaDirectionalLight\" ( \"color\" .05 .1 .1 1 )", "direction 1 0 -1",
                scene.leftOutOf(masks.sun));
    scene.lambert("matt", "\"color\" .8 .6 .4 1, \"diffuse\" .9");
    scene.lambert(
        "shining",
        "\"color\" .3 .7 .5 1, \"diffuse\" .6, \"ambientColor\" .1 .2 .05 1, \"incandescence\" .02 .01 .05 1, "
        "\"translucence\" .3");
    scene.wall("back", -9, "matt");
    addPanel(scene, "far", "shining", {1, .3, 0}, 35, {1.5, -1, -6}, 2);
    const std::string instance = scene.leftOutOf(masks.near) + (near == Near::ShadowOnly ? " visible off" : "");
    if (near != Near::Absent) addPanel(scene, "near", "shining", {.2, 1, 0}, -40, {-1, .8, -4}, 1.2, instance);
    return scene;
}

TEST_F(LitPasses, BeautyIsTheSumOfItsPasses) {
    const Picture image = picture(opaqueScene({{"beauty", 0},
                                               {"ambient", 3},
                                               {"diffuse", 5},
                                               {"specular", 7},
                                               {"indirect", 9},
                                               {"blocked", 12},
                                               {"scatter", 21},
                                               {"incandescence", 22},
                                               {"whole", 34}})
                                      .text());
    int shadowed = 0;
    for (const std::string channel : {"R", "G", "B"})
        for (int y = 0; y < kPixels; ++y)
            for (int x = 0; x < kPixels; ++x) {
                SCOPED_TRACE(fmt::format("{} at {} {}", channel, x, y));
                const auto of = [&](const std::string& layer) { return image.at(layer + "." + channel, x, y); };
                const float sum = of("ambient") + of("diffuse") + of("specular") + of("indirect") + of("scatter") +
                                  of("incandescence");
                EXPECT_NEAR(of("beauty"), sum, 1e-5);
                EXPECT_NEAR(of("beauty"), image.at(channel, x, y), 1e-5);
                EXPECT_GE(of("whole"), of("beauty") - 1e-6F);
                EXPECT_NEAR(of("blocked"), of("whole") - of("beauty"), 1e-5);
                shadowed += of("blocked") > 1e-3F;
            }
    // The scene is worth it: a good part lies in the shadow of one light or another, and no pixel is black.
    EXPECT_GT(shadowed, 3 * kPixels * kPixels / 8);
    EXPECT_LT(shadowed, 3 * kPixels * kPixels);
}

TEST_F(LitPasses, LightsShineOnlyWhereTheirMasksLetThem) {
    const std::vector<LitScene::Pass> passes{
        {"beauty", 0},   {"ambient", 3}, {"ambientNone", 3},  {"diffuse", 5},   {"byBulb", 5},
        {"byOthers", 5}, {"none", 5},    {"noneBlocked", 12}, {"noneWhole", 6}, {"noneUnlit", 10}};
    const std::vector<std::string> dark{"none", "noneBlocked", "noneWhole", "noneUnlit", "ambientNone"};
    const auto with = [&](const std::string& more) {
        std::vector<std::string> list = dark;
        list.push_back(more);
        return list;
    };
    const Picture image = picture(opaqueScene(passes, {with("byOthers"), with("byBulb"), with("byBulb"), {}}).text());
    int byBulb = 0, ambient = 0;
    for (const char* channel : {".R", ".G", ".B"})
        for (int y = 0; y < kPixels; ++y)
            for (int x = 0; x < kPixels; ++x) {
                const auto of = [&](const std::string& layer) { return image.at(layer + channel, x, y); };
                for (const char* layer : {"none", "noneBlocked", "noneWhole", "noneUnlit"})
                    EXPECT_EQ(of(layer), 0) << layer << channel << " at " << x << " " << y;
                EXPECT_NEAR(of("byBulb") + of("byOthers"), of("diffuse"), 1e-5);
                byBulb += of("byBulb") > 0 && of("byBulb") < of("diffuse");
                // What is left of ambient is the material's own: ambientColor x color, or nothing on "matt".
                EXPECT_TRUE(of("ambientNone") == 0 || of("ambientNone") > .02F);
                ambient += of("ambientNone") < of("ambient");
            }
    EXPECT_GT(byBulb, kPixels * kPixels / 2);
    EXPECT_GT(ambient, kPixels * kPixels);
}

// A pass that leaves an object out is that of a scene without it: no surface, no shadow. A pass that takes shadows from
// all objects is that of a scene where it casts only a shadow. All others are as if there were no masks.
TEST_F(LitPasses, ObjectsAreMissingFromThePassesThatLeaveThemOut) {
    const std::vector<LitScene::Pass> passes{
        {"beauty", 0},       {"without", 0},         {"shadowOnly", 0, kUsual | kIgnoresOccluderMask},
        {"blocked", 12},     {"blockedWithout", 12}, {"whole", 34},
        {"wholeWithout", 34}};
    const std::vector<std::string> left{"without", "shadowOnly", "blockedWithout", "wholeWithout"};
    const Picture masked = picture(opaqueScene(passes, {{}, {}, {}, left}).text());
    const Picture plain = picture(opaqueScene(passes).text());
    const Picture absent = picture(opaqueScene(passes, {}, Near::Absent).text());
    const Picture unseen = picture(opaqueScene(passes, {}, Near::ShadowOnly).text());

    EXPECT_GT(expectSame(masked, "without", absent, "beauty"), 0);
    EXPECT_GT(expectSame(masked, "blockedWithout", absent, "blocked"), 0);
    EXPECT_GT(expectSame(masked, "wholeWithout", absent, "whole"), 0);
    EXPECT_GT(expectSame(masked, "shadowOnly", unseen, "beauty"), 0);
    for (const char* layer : {"beauty", "blocked", "whole"}) EXPECT_GT(expectSame(masked, layer, plain, layer), 0);

    const auto differences = [](const Picture& a, const Picture& b) {
        int count = 0;
        for (int y = 0; y < kPixels; ++y)
            for (int x = 0; x < kPixels; ++x) count += std::abs(a.at("beauty.R", x, y) - b.at("beauty.R", x, y)) > .01F;
        return count;
    };
    EXPECT_GT(differences(plain, absent), 50);
    EXPECT_GT(differences(unseen, absent), 20);  // its shadow is seen
}

/// Soft shadows of all lights through colored sheets, seen through others.
LitScene softScene() {
    LitScene scene({{"beauty", 0},
                    {"ambient", 3},
                    {"materialColor", 4},
                    {"diffuse", 5},
                    {"without", 5},
                    {"whole", 6},
                    {"blocked", 12},
                    {"luminance", 13},
                    {"glow", 22},
                    {"translucence", 25},
                    {"perLight", 27},
                    {"clear", 28},
                    {"incidence", 33},
                    {"tinted", 5, kUsual | kTimesSurfaceColor},
                    {"beautyWhole", 34}});
    scene.options = "samples 1 1 jitter 1";
    scene.camera = "resolution 61 47 aspect 1.3";
    const std::string soft[] = {"\"lightRadius\" .6", "\"lightAngle\" .2", "\"lightRadius\" 1"};
    for (std::size_t i = 0; i < kLamps.size(); ++i)
        scene.light(kLamps[i].name, kLamps[i].shader + "\"useRayTraceShadows\" on, \"shadowRays\" 5, " + soft[i] + " )",
                    kLamps[i].place, scene.leftOutOf({i == 1 ? "without" : ""}));
    const std::string tint = "\"transparency\" .7 .5 .3 1";
    scene.lambert("matt", "\"color\" .8 .6 .4 1");
    scene.lambert("sheet", "\"color\" .3 .7 .5 1, \"translucence\" .3, \"incandescence\" .02 .01 .05 1, " + tint,
                  "\"lumoVexaShadow\" ( " + tint + " )");
    scene.wall("back", -9, "matt", 6);
    for (int i = 0; i < 9; ++i)
        addPanel(scene, fmt::format("panel{}", i), i % 3 ? "sheet" : "matt", {1, i * .3, .5}, 25 * i,
                 {(i % 3 - 1) * 2.2, (i / 3 - 1) * 2.0, -5 - .2 * i}, 1.3, scene.leftOutOf({i % 2 ? "without" : ""}));
    return scene;
}

// Through sheets, too, the beauty pass is the picture, sky and all, and the blocked light is what it lacks.
TEST_F(LitPasses, SheetsAndSkyKeepTheSums) {
    LitScene scene = softScene();
    scene.options = "samples 0 0";
    scene.camera +=
        " environment \"plain_environment\" ( \"down\" .1 .2 .1 1, \"up\" .3 .5 .9 1 ) lens \"lumoFrameBufferLens\" ()";
    const Picture image = picture(scene.text());
    int sky = 0, blocked = 0;
    for (const std::string channel : {"R", "G", "B"})
        for (int y = 0; y < image.height; ++y)
            for (int x = 0; x < image.width; ++x) {
                SCOPED_TRACE(fmt::format("{} at {} {}", channel, x, y));
                const auto of = [&](const std::string& layer) { return image.at(layer + "." + channel, x, y); };
                EXPECT_NEAR(of("beauty"), image.at(channel, x, y), 1e-5);
                EXPECT_NEAR(of("blocked"), of("beautyWhole") - of("beauty"), 1e-5);
                blocked += of("blocked") > .01F;
                sky += of("diffuse") == 0 && of("beauty") > .1F;
            }
    EXPECT_GT(blocked, 1000);
    EXPECT_GT(sky, 100);
}

TEST_F(LitPasses, ThreadsDoNotChangeThem) {
    const std::string scene = softScene().text();
    const Picture one = picture(scene, {"-threads", "1"});
    expectSameBits(one, picture(scene, {"-threads", "2"}), "two threads");
    expectSameBits(one, picture(scene, {"-threads", "5", "-task_size", "7"}), "five threads, small tiles");

    // Every pass has something to compare.
    for (const std::string& name : one.names()) {
        if (name.back() == 'A') continue;
        const std::vector<float>& values = one.channels().at(name).values;
        const auto filled = std::count_if(values.begin(), values.end(), [](float v) { return v != 0; });
        const bool scalar =
            name.starts_with("luminance") || name.starts_with("perLight") || name.starts_with("incidence");
        EXPECT_TRUE(filled > 100 || (scalar && name.back() != 'R')) << name;
    }
}

}  // namespace
}  // namespace rendertest
