// The library's lights with a shape on Lambert walls: how much arrives, how much of it each pass gets, and what rays
// see of them.
#include "emitters.h"
#include "lit_scene.h"

#include <fmt/format.h>

#include <functional>

namespace rendertest {
namespace {

using LitArea = RenderTest;

const Rgb kColor{.8, .4, .2}, kLight{1, .5, .25};
constexpr double kDiffuse = .7;

std::string lightText(const std::string& shader, const std::string& more) {
    return fmt::format("\"{}\" ( {}, {} )", shader, parameter("color", kLight), more);
}

void addWall(LitScene& scene) {
    scene.lambert("m", parameter("color", kColor) + ", " + parameter("diffuse", kDiffuse));
    scene.wall("surface", -5, "m");
}

/// A wall at z = -5 in one light whose instance is placed by this space.
LitScene litBy(const std::string& light, const std::string& place, const Placing& space) {
    LitScene scene({{"diffuse", 5}});
    scene.light("light", light, place, "transform " + space.inverse().text());
    addWall(scene);
    return scene;
}

TEST_F(LitArea, RectanglesLightByTheirContour) {
    // The quarter of a rectangle that has a corner above the point, at distance 1; odd in both lengths, so that four of
    // them make any rectangle. Times 2 pi the form factor; materials are balanced for 5 times that.
    const auto quarter = [](double a, double b) {
        const double A = std::hypot(1, a), B = std::hypot(1, b);
        return a / A * std::atan(b / A) + b / B * std::atan(a / B);
    };
    // Twice as wide as its square, half as high, 3 before the wall; the light's own shape or none.
    const V3 center{1, 0, -2};
    const Placing space = scaled({2, .5, 1}).then(moved(center));
    for (const std::string shape : {"", "rectangle 2 0 0 0 -2 0 2 2"}) {
        const LitScene scene =
            litBy(lightText("lumoVexaAreaLight", "\"intensity\" .1, \"useRayTraceShadows\" on, \"shadowRays\" 3"),
                  "origin 0 0 0 " + shape, space);
        expectLayer(picture(scene.text()), "diffuse", [&](int x, int y) {
            const V3 p = meeting(x, y, -5);
            const double left = (center.x - 2 - p.x) / 3, right = (center.x + 2 - p.x) / 3;
            const double low = (center.y - .5 - p.y) / 3, high = (center.y + .5 - p.y) / 3;
            const double sum = quarter(right, high) - quarter(left, high) - quarter(right, low) + quarter(left, low);
            return 5 * sum * .1 * kDiffuse * kColor * kLight;
        });
    }
}

// ---- Sampled shapes, upright over the wall and turned: the wall sees both of their sides.

const V3 kCentre{.5, 1, -2};
const Placing kSpace = turned({1, 2, 3}, 40).then(moved({.3, -.2, .1}));

double front(double cosine) { return cosine > 0; }
double outwards(double cosine) { return std::max(0., cosine); }
double bothSides(double cosine) { return std::abs(cosine); }

struct SampledLight {
    std::string shader, shape;
    Emitter emitter;
    std::function<double(double)> emission;
};

/// A light that falls with the square of the distance.
void expectLight(const Picture& image, const SampledLight& light, const Placing& space) {
    const Emitter placed = light.emitter.in(space);
    int dark = 0;
    expectLayer(
        image, "diffuse",
        [&](int x, int y) {
            const double arriving = meanLight(placed, meeting(x, y, -5), light.emission);
            dark += arriving == 0;
            return 3 * arriving * kDiffuse * kColor * kLight;
        },
        3e-3, 1e-5);
    const bool isOneSided = light.emitter.isFlat && light.emission(-1) == 0;
    EXPECT_EQ(dark > 0 && dark < 16, isOneSided) << dark;
}

TEST_F(LitArea, SampledShapesLightFromAllOver) {
    const Emitter disc = discEmitter(kCentre, {0, 0, .8}, {.8, 0, 0}), ball = sphereEmitter(kCentre, .7),
                  tube = cylinderEmitter(kCentre, {3, 0, 0}, {0, .4, 0}, {0, 0, .4}),
                  window = rectangleEmitter(kCentre, {0, 0, 1.5}, {2, 0, 0});
    const std::string area = "lumoVexaAreaLight", shape = "lumoVexaShapeLight";
    const SampledLight lights[] = {
        {"lumoVexaPointLight", "disc 0 1 0  .8", disc, front},
        {area, "disc 0 1 0  .8", disc, front},
        {area, "sphere .7", ball, front},
        {area, "cylinder 3 0 0  .4", tube, front},
        {shape, "disc 0 1 0  .8", disc, outwards},
        {shape, "sphere .7", ball, outwards},
        {shape, "cylinder 3 0 0  .4", tube, outwards},
        {shape, "rectangle 0 0 1.5  2 0 0", window, outwards},
        {shape, "rectangle 0 0 1.5  2 0 0", window, bothSides},
    };
    for (const SampledLight& light : lights) {
        SCOPED_TRACE(light.shader + " " + light.shape);
        const std::string sides = light.emission(-1) > 0 ? ", \"twoSided\" on" : "";
        const LitScene scene = litBy(lightText(light.shader, "\"intensity\" 3, \"decayRate\" 2" + sides),
                                     "origin .5 1 -2 " + light.shape + " 64 64", kSpace);
        expectLight(picture(scene.text()), light, kSpace);
    }
}

// What is outside of an object stays outside in a mirrored instance. The light's own place does not matter.
TEST_F(LitArea, ObjectsShineToTheirOutside) {
    const std::string object = R"(
object "window" group -.5 1 -2.75  1.5 1 -2.75  1.5 1 -1.25  -.5 1 -1.25  v 0 v 1 v 2 v 3 c 3 2 1 0 end group end object
)";
    const Placing mirrored = scaled({-1, 1, 1}).then(kSpace);
    const Emitter window = rectangleEmitter(kCentre, {0, 0, 1.5}, {2, 0, 0});
    for (const Placing& space : {kSpace, mirrored}) {
        LitScene scene({{"diffuse", 5}});
        scene.addElement(object);
        scene.addInstance("instance \"window_i\" \"window\" transform " + space.inverse().text() + " end instance\n",
                          "window_i");
        scene.light("light", lightText("lumoVexaShapeLight", "\"intensity\" 3"), "object \"window_i\" 64 64");
        addWall(scene);
        expectLight(picture(scene.text()), {"", "", window, outwards}, space);
    }
}

TEST_F(LitArea, RaysSeeTheSideThatShines) {
    // The ray through the centre of pixel (1, 1) meets z = -2 at (-.5, -.5).
    const auto seen = [&](const std::string& shader, const std::string& shape, const std::string& more = {}) {
        LitScene scene;
        scene.light("light", lightText(shader, "\"intensity\" 4" + more), "origin -.5 -.5 -2 " + shape + " visible");
        const Picture image = picture(scene.text());
        EXPECT_EQ(image.at("R", 3, 3), 0);
        EXPECT_EQ(image.at("G", 1, 1) * 2, image.at("R", 1, 1));
        return image.at("R", 1, 1);
    };
    const std::string towards = "rectangle 1 0 0  0 1 0", away = "rectangle 0 1 0  1 0 0";
    for (const char* shader : {"lumoVexaAreaLight", "lumoVexaShapeLight"}) {
        EXPECT_EQ(seen(shader, towards), 4) << shader;
        EXPECT_EQ(seen(shader, away), 0) << shader;
        EXPECT_EQ(seen(shader, "sphere .5"), 4) << shader;
    }
    EXPECT_EQ(seen("lumoVexaShapeLight", away, ", \"twoSided\" on"), 4);
}

TEST_F(LitArea, TellsWhenItCannotKnowItsShape) {
    LitScene scene({{"diffuse", 5}});
    scene.addElement("object \"o\" group 0 0 1  1 0 1  0 1 1  v 0 v 1 v 2 c 0 1 2 end group end object");
    scene.addInstance("instance \"oi\" \"o\" end instance\n", "oi");
    scene.light("light", lightText("lumoVexaAreaLight", "\"intensity\" 1"), "object \"oi\" 2 2");
    addWall(scene);
    const Outcome outcome = renderText(scene.text());
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(countOf(outcome.messages, "vexa_arealight(): Cannot access shape data!"), 1) << outcome.messages;
    EXPECT_EQ(countOf(outcome.messages, "warning"), 1) << outcome.messages;
}

// ---- Shadows.

constexpr int kPixels = 16;
constexpr double kFocal = 4;
const V3 kLamp{.2, .3, .5};

V3 onWall(int x, int y) {
    return {((x + .5) / kPixels - .5) * 2 / kFocal * 5, ((y + .5) / kPixels - .5) * 2 / kFocal * 5, -5};
}

/// Whether the way from a point of the wall to a place on the light passes an occluder that covers x < edge at z.
bool passes(V3 from, V3 to, double edge, double z) { return from.x + (to.x - from.x) * (z + 5) / (to.z + 5) > edge; }

/// An occluder that covers x < 0 at z = -3, and one that covers x > .3 at z = -4 and that "spared" does not see.
LitScene shadowed(const std::string& light) {
    LitScene scene({{"beauty", 0}, {"diffuse", 5}, {"spared", 5}, {"whole", 6}, {"blocked", 12}, {"bright", 34}});
    scene.camera = fmt::format("focal {} resolution {} {}", kFocal, kPixels, kPixels);
    scene.light("lamp", light, "");
    scene.lambert("m", "\"color\" 1 1 1 1, \"diffuse\" 1");
    scene.wall("surface", -5, "m");
    const auto hidden = [](double x) { return "visible off transform " + moved({x, 0, 0}).inverse().text() + " "; };
    scene.wall("left", -3, "m", 1000, hidden(-1000));
    scene.wall("right", -4, "m", 1000, hidden(1000.3) + scene.leftOutOf({"spared"}));
    return scene;
}

/// Shares of the light that arrive past both occluders, and past the left one only. Places count by the angle under
/// which their piece is seen on round lights, by their area on flat ones.
struct Shares {
    double both = 0, left = 0;
};

Shares sharesAt(V3 point, const Emitter& light) {
    Shares seen;
    double all = 0;
    for (const LightPiece& p : light.pieces) {
        const V3 way = p.place - point;
        const double d2 = dot(way, way),
                     weight = p.area * (light.isFlat ? 1 : std::max(0., -dot(p.normal, way)) / d2 / std::sqrt(d2));
        const bool left = passes(point, p.place, 0, -3), right = !passes(point, p.place, .3, -4);
        all += weight;
        seen.left += left ? weight : 0;
        seen.both += left && right ? weight : 0;
    }
    return {seen.both / all, seen.left / all};
}

TEST_F(LitArea, EveryPassHasItsOwnSoftShadow) {
    const std::pair<std::string, Emitter> lights[] = {
        {"rectangle 2 0 0  0 -2 0",
         {lightPieces(4000, 1,
                      [](double u, double) { return LightPiece{kLamp + (2 * (u - .5)) * V3{1, 0, 0}, {0, 0, -1}, 1}; }),
          true}},
        {"sphere 1", sphereEmitter(kLamp, 1)},
    };
    for (const auto& [shape, emitter] : lights) {
        SCOPED_TRACE(shape);
        const LitScene scene =
            shadowed(fmt::format("\"lumoVexaAreaLight\" ( \"useRayTraceShadows\" on, \"shadowRays\" 1024 ) "
                                 "origin {} {} {} {} 1 1",
                                 kLamp.x, kLamp.y, kLamp.z, shape));
        const Picture image = picture(scene.text());
        double squares = 0, sum = 0;
        int soft = 0;
        for (int y = 0; y < kPixels; ++y)
            for (int x = 0; x < kPixels; ++x) {
                const Shares expected = sharesAt(onWall(x, y), emitter);
                const double whole = image.at("whole.R", x, y);
                ASSERT_GT(whole, 0);
                const double both = image.at("diffuse.R", x, y) / whole - expected.both;
                const double left = image.at("spared.R", x, y) / whole - expected.left;
                squares += both * both + left * left;
                sum += both + left;
                soft += expected.both > .05 && expected.left - expected.both > .05;
            }
        // One cell of 32 x 32 for each ray: an edge crosses up to 63 of them, each of which errs by a variance of 1/6.
        const double bound = std::sqrt(63 / 6.) / 1024;
        EXPECT_LT(std::sqrt(squares / (2 * kPixels * kPixels)), 1.5 * bound);
        EXPECT_LT(std::abs(sum / (2 * kPixels * kPixels)), bound / 3);
        EXPECT_GT(soft, 20);
    }
}

TEST_F(LitArea, WhatIsBlockedIsTheRestOfTheLight) {
    const std::string traced = "\"useRayTraceShadows\" on, \"shadowRays\" 5";
    const std::string lights[] = {
        "\"lumoVexaAreaLight\" ( " + traced + ", \"shadowColor\" .1 .2 .3 ) origin .2 .3 .5 rectangle 2 0 0 0 -2 0 2 3",
        "\"lumoVexaAreaLight\" ( " + traced + ", \"decayRate\" 1 ) origin .2 .3 .5 cylinder 1 2 0 .5 3 3",
        "\"lumoVexaShapeLight\" ( " + traced + ", \"intensity\" 9, \"lightRadius\" .2 ) origin .2 .3 .5 sphere 1 4 2",
        "\"lumoVexaShapeLight\" ( " + traced + ", \"intensity\" 9 ) origin .2 .3 .5 disc 0 0 -1 1 4 4"};
    for (const std::string& light : lights) {
        SCOPED_TRACE(light);
        const Picture image = picture(shadowed(light).text());
        int partly = 0;
        for (const char* channel : {"R", "G", "B"})
            for (int y = 0; y < kPixels; ++y)
                for (int x = 0; x < kPixels; ++x) {
                    const auto at = [&](const std::string& layer) { return image.at(layer + channel, x, y); };
                    EXPECT_NEAR(at("blocked."), at("bright.") - at("beauty."), 2e-6) << x << " " << y;
                    EXPECT_NEAR(at(""), at("beauty."), 1e-6);
                    EXPECT_NEAR(at("whole."), at("bright."), 1e-6);
                    partly += at("blocked.") > 0 && at("beauty.") > 0;
                }
        EXPECT_GT(partly, 100);
    }
}

}  // namespace
}  // namespace rendertest
