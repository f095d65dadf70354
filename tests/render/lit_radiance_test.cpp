// What Lambert surfaces reflect of each light, against the law itself: color x diffuse x cosine x light.
#include "lit_scene.h"

#include <fmt/format.h>

namespace rendertest {
namespace {

using LitRadiance = RenderTest;

const double kPi = std::acos(-1.0);
const Rgb kColor{.8, .4, .2}, kLight{1, .5, .25};
constexpr double kDiffuse = .7;

std::string lambertText() { return parameter("color", kColor) + ", " + parameter("diffuse", kDiffuse); }

std::string lightText(const std::string& shader, const std::string& more) {
    return fmt::format("\"{}\" ( {}, {} )", shader, parameter("color", kLight), more);
}

std::string along(V3 d) { return fmt::format("direction {:.9g} {:.9g} {:.9g}", d.x, d.y, d.z); }

/// A ray of light from this angle to the normal +z, in degrees. Above 90 it comes from behind.
V3 slanted(double degrees) {
    const double angle = degrees * kPi / 180;
    return {-.6 * std::sin(angle), -.8 * std::sin(angle), -std::cos(angle)};
}

// The light is .6 before the wall, so that one pixel lies nearer than 1 and the others do not.
TEST_F(LitRadiance, PointLightsDecayFromDistanceOneOn) {
    const V3 bulb{1, 1.5, -4.4};
    for (const int rate : {0, 1, 2, 3, 4}) {
        LitScene scene({{"diffuse", 5}});
        scene.light("bulb", lightText("lumoVexaPointLight", fmt::format("\"intensity\" 3, \"decayRate\" {}", rate)),
                    "origin 1 1.5 -4.4");
        scene.lambert("m", lambertText());
        scene.wall("surface", -5, "m");
        const auto expected = [&](int x, int y) {
            const V3 way = bulb - meeting(x, y, -5);
            const double distance = length(way), decay = rate == 4 ? 1 : std::pow(std::max(distance, 1.), rate);
            return kDiffuse * unit(way).z * 3 / decay * kColor * kLight;
        };
        EXPECT_LT(length(bulb - meeting(2, 2, -5)), 1);
        const Picture image = picture(scene.text());
        expectLayer(image, "", expected);
        expectLayer(image, "diffuse", expected);
    }
}

TEST_F(LitRadiance, DirectionalLightsFollowTheCosine) {
    for (const double degrees : {0., 30., 60., 85., 89.9, 90.1, 120., 180.}) {
        LitScene scene({{"diffuse", 5}, {"irradiance", 10}});
        scene.light("sun", lightText("lumoVexaDirectionalLight", "\"intensity\" 2"), along(slanted(degrees)));
        scene.lambert("m", lambertText());
        scene.wall("surface", -5, "m");
        const double cosine = std::max(0., std::cos(degrees * kPi / 180));
        const Picture image = picture(scene.text());
        expectLayer(image, "", kDiffuse * cosine * 2 * kColor * kLight);
        expectLayer(image, "diffuse", kDiffuse * cosine * 2 * kColor * kLight);
        expectLayer(image, "irradiance", cosine * 2 * kLight);
    }
}

// Every point of the wall has a share of 1 + shade (cosine - 1), from in front and from behind.
TEST_F(LitRadiance, AmbientShadeMixesEverywhereWithAPoint) {
    for (const double shade : {0., .3, 1.})
        for (const double z : {-2., -8.}) {
            LitScene scene({{"ambient", 3}, {"irradiance", 2}, {"diffuse", 5}});
            const std::string more = "\"intensity\" 2, " + parameter("ambientShade", shade);
            scene.light("fill", lightText("lumoVexaAmbientLight", more), fmt::format("origin 2 1 {}", z));
            scene.lambert("m", lambertText() + ", \"ambientColor\" .1 .2 .3 1");
            scene.wall("surface", -5, "m");
            const auto irradiance = [&](int x, int y) {
                const double cosine = unit(V3{2, 1, z} - meeting(x, y, -5)).z;
                return std::max(0., 1 + shade * (cosine - 1)) * 2 * kLight;
            };
            const auto ambient = [&](int x, int y) { return kColor * (irradiance(x, y) + Rgb{.1, .2, .3}); };
            const Picture image = picture(scene.text());
            expectLayer(image, "", ambient);
            expectLayer(image, "ambient", ambient);
            expectLayer(image, "irradiance", irradiance);
            expectLayer(image, "diffuse", Rgb{});
        }
}

// It shines as parallel light, until a scene has lights of its own.
TEST_F(LitRadiance, TheDefaultLightGivesWayToOthers) {
    LitScene scene({{"diffuse", 5}});
    scene.light("default", lightText("lumoVexaDefaultLight", "\"intensity\" 2"), along(slanted(60)));
    scene.lambert("m", lambertText());
    scene.wall("surface", -5, "m");
    expectLayer(picture(scene.text()), "diffuse", kDiffuse * .5 * 2 * kColor * kLight);
    scene.light("sun", "\"lumoVexaDirectionalLight\" ()", along(slanted(0)));
    expectLayer(picture(scene.text()), "diffuse", kDiffuse * kColor);
}

// A light of another module knows nothing of passes: the material gives its color to those that its mask allows.
TEST_F(LitRadiance, LightsOfOtherModulesReachThePasses) {
    LitScene scene({{"beauty", 0}, {"diffuse", 5}, {"without", 5}});
    scene.light("foreign", "\"plain_light\" ( " + parameter("color", kLight) + " )", "origin 2 1 -2",
                scene.leftOutOf({"without"}));
    scene.light("sun", lightText("lumoVexaDirectionalLight", "\"intensity\" 2"), along(slanted(60)));
    scene.lambert("m", lambertText());
    scene.wall("surface", -5, "m");
    const Rgb bySun = kDiffuse * .5 * 2 * kColor * kLight;
    const auto expected = [&](int x, int y) {
        return bySun + kDiffuse * unit(V3{2, 1, -2} - meeting(x, y, -5)).z * kColor * kLight;
    };
    const Picture image = picture(scene.text());
    for (const char* layer : {"", "beauty", "diffuse"}) expectLayer(image, layer, expected);
    expectLayer(image, "without", bySun);
}

struct Translucence {
    double depth, cosine, share;
};

// Between -11.5 depth and the end of the ramp the share rises linearly from 0 to 1; the ramp is .15 + 11.5 depth long,
// at most 1.
TEST_F(LitRadiance, TranslucenceFadesInBeyondTheTerminator) {
    const Translucence cases[] = {
        {0, .6, 1},      {0, .15001, 1},   {0, .1, 2. / 3},         {0, .001, 1. / 150},
        {0, -.1, 0},     {.01, .15001, 1}, {.01, .05, .165 / .265}, {.01, -.05, .065 / .265},
        {.01, -.116, 0}, {.01, -.5, 0},    {.05, .15001, 1},        {.05, -.2, .375 / .725},
        {.05, -.58, 0},  {.1, -.149, 1},   {.1, -.5, .65},          {.1, -1, .15},
    };
    for (const auto& [depth, cosine, share] : cases) {
        SCOPED_TRACE(fmt::format("depth {} cosine {}", depth, cosine));
        LitScene scene({{"translucence", 25}, {"diffuse", 5}});
        scene.light("sun", lightText("lumoVexaDirectionalLight", "\"useRayTraceShadows\" on"),
                    along(slanted(std::acos(cosine) * 180 / kPi)));
        scene.lambert("m", lambertText() + ", \"translucence\" .5, \"translucenceFocus\" 0, " +
                               parameter("translucenceDepth", depth));
        scene.wall("surface", -5, "m");
        const Rgb through = .5 * share * kColor * kLight;
        const Rgb whole = through + kDiffuse * std::max(0., cosine) * kColor * kLight;
        const Picture image = picture(scene.text());
        expectLayer(image, "translucence", [&](int, int) { return through; }, 1e-4, 1e-6);
        expectLayer(image, "diffuse", [&](int, int) { return whole; }, 1e-4, 1e-6);
        expectLayer(image, "", [&](int, int) { return whole; }, 1e-4, 1e-6);
    }
}

// Light from straight behind: d is the cosine of eye ray and way to the light, and the share
// ((d + 1) / 2)^(f / (1 - f)).
TEST_F(LitRadiance, TranslucenceGathersAroundTheWayToTheLight) {
    for (const double focus : {.25, .5, .75}) {
        LitScene scene({{"translucence", 25}});
        scene.light("sun", lightText("lumoVexaDirectionalLight", "\"intensity\" 1"), "direction 0 0 1");
        scene.lambert("m", lambertText() + ", \"translucence\" .5, \"translucenceDepth\" 1, " +
                               parameter("translucenceFocus", focus));
        scene.wall("surface", -5, "m");
        // The cosine is -1, the threshold -11.5 and the ramp 1, so nothing fades.
        const auto expected = [&](int x, int y) {
            const double d = -eyeRay(x, y).z;
            return .5 * std::pow((d + 1) / 2, focus / (1.00001 - focus)) * kColor * kLight;
        };
        const Picture image = picture(scene.text());
        expectLayer(image, "translucence", expected);
        expectLayer(image, "", expected);
    }
}

}  // namespace
}  // namespace rendertest
