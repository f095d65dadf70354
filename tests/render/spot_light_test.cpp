// Spot, area and volume lights on Lambert walls, against their closed forms.
#include "lit_scene.h"

#include <fmt/format.h>

namespace rendertest {
namespace {

using ShapedLights = RenderTest;

const double kDegree = std::acos(-1.0) / 180;
const Rgb kColor{.8, .4, .2}, kLight{1, .5, .25};
constexpr double kDiffuse = .7;

/// A wall at z = -5 in one light whose instance is placed by this space.
LitScene litBy(const std::string& light, const std::string& place, const Placing& space) {
    LitScene scene({{"diffuse", 5}});
    scene.light("light", light, place, "transform " + space.inverse().text());
    scene.lambert("m", parameter("color", kColor) + ", " + parameter("diffuse", kDiffuse));
    scene.wall("surface", -5, "m");
    return scene;
}

std::string lightText(const std::string& shader, const std::string& more) {
    return fmt::format("\"{}\" ( {}, {} )", shader, parameter("color", kLight), more);
}

TEST_F(ShapedLights, SpotsFadeInTheirPenumbra) {
    // From beside the camera, turned 20 degrees around the y axis, to the right.
    const V3 lamp{-1, .5, -1}, axis{std::sin(20 * kDegree), 0, -std::cos(20 * kDegree)};
    for (const double penumbra : {10., -15.}) {
        const LitScene scene =
            litBy(lightText("lumoVexaSpotLight",
                            fmt::format("\"coneAngle\" {}, \"penumbraAngle\" {}, \"dropoff\" 3, \"decayRate\" 1",
                                        60 * kDegree, penumbra * kDegree)),
                  "origin 0 0 0", turned({0, 1, 0}, -20).then(moved(lamp)));
        const double outer = std::cos((penumbra > 0 ? 40 : 30) * kDegree),
                     inner = std::cos((penumbra > 0 ? 30 : 15) * kDegree);
        int inside = 0, fading = 0, outside = 0;
        const auto expected = [&](int x, int y) {
            const V3 way = meeting(x, y, -5) - lamp;
            const double d = dot(unit(way), axis);
            ++(d < outer ? outside : d < inner ? fading : inside);
            const double cone = d < outer ? 0 : d < inner ? (d - outer) / (inner - outer) : 1;
            return cone * std::pow(d, 3) / length(way) * -unit(way).z * kDiffuse * kColor * kLight;
        };
        expectLayer(picture(scene.text()), "diffuse", expected);
        EXPECT_TRUE(inside && fading && outside) << inside << " " << fading << " " << outside;
    }
}

TEST_F(ShapedLights, RectanglesLightByTheirContour) {
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

TEST_F(ShapedLights, VolumesLightWhatIsInside) {
    const double radius = 6;  // reaches the wall, but not the corners of the picture
    const LitScene scene = litBy(lightText("lumoVexaVolumeLight", "\"volumeFalloff\" 2, \"intensity\" 9"),
                                 "origin 0 0 0", scaled({radius, radius, radius}));
    int outside = 0;
    expectLayer(picture(scene.text()), "diffuse", [&](int x, int y) {
        const V3 p = meeting(x, y, -5);
        const double depth = length(p) / radius;
        outside += depth > 1;
        return (depth > 1 ? 0 : std::pow(1 - depth, 2)) * 9 * -unit(p).z * kDiffuse * kColor * kLight;
    });
    EXPECT_EQ(outside, 12);
}

}  // namespace
}  // namespace rendertest
