// Spot and volume lights, fog and light profiles on Lambert walls, against their closed forms.
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

/// 40, 20, 0 candela at 0, 60 and 120 degrees from the axis in plane C0, half of it in C180; straight in between.
constexpr const char* kProfile =
    "IESNA:LM-63-1995\nTILT=NONE\n1 100 1 3 2 1 2 0 0 0\n1 1 10\n0 60 120\n0 180\n40 20 0\n20 10 0\n";

/// As a part of the brightest direction. The lamp shines along `axis`, C0 lies along `zero`.
double profileAt(V3 axis, V3 zero, V3 way) {
    const double theta = std::acos(dot(way, axis)) / kDegree;
    const double phi = std::abs(std::atan2(dot(way, cross(zero, axis)), dot(way, zero))) / kDegree;
    return (1 - theta / 120) * (1 - phi / 360);
}

TEST_F(ShapedLights, ProfilesScaleByDirection) {
    write("lamp.ies", kProfile);
    const std::string profile = "lightprofile \"p\" format ies file \"lamp.ies\" end lightprofile";
    struct Case {
        std::string shader, more;
        double cone;  // cosine of its edge
    };
    const V3 lamp{-1, .5, -1}, axis{std::sin(20 * kDegree), 0, -std::cos(20 * kDegree)},
        zero = cross({0, 1, 0}, -1 * axis);
    for (const auto& [shader, more, cone] :
         {Case{"lumoVexaPointLight", "", -1},
          Case{"lumoVexaSpotLight", fmt::format(", \"coneAngle\" {}", 80 * kDegree), std::cos(40 * kDegree)}}) {
        LitScene scene({{"diffuse", 5}});
        scene.addElement(profile);
        scene.light("light", lightText(shader, "\"lightProfile\" \"p\", \"decayRate\" 2" + more), "origin 0 0 0",
                    "transform " + turned({0, 1, 0}, -20).then(moved(lamp)).inverse().text());
        scene.lambert("m", parameter("color", kColor) + ", " + parameter("diffuse", kDiffuse));
        scene.wall("surface", -5, "m");
        int outside = 0;
        expectLayer(picture(scene.text()), "diffuse", [&](int x, int y) {
            const V3 way = meeting(x, y, -5) - lamp, d = unit(way);
            outside += dot(d, axis) < cone;
            const double strength = dot(d, axis) < cone ? 0 : profileAt(axis, zero, d) / dot(way, way);
            return strength * -d.z * kDiffuse * kColor * kLight;
        });
        EXPECT_EQ(outside > 0, cone > -1) << outside;
    }
}

/// A ray of length 2 h through fog of this radius: f = h / (r^2 + r - h^2), 1 beyond the radius.
double fog(double h, double radius, int type, int rate) {
    const double f = h > radius ? 1 : h / (radius * radius + radius - h * h);
    const auto spread = [](double density, double exponent) {
        return std::pow(1 - std::pow(1 - density, 1 / exponent), 2);
    };
    if (type == 0) return rate < 2 ? f : std::pow(f, rate);
    if (type == 1) return rate < 2 ? f * f : spread(f, rate);
    return spread(std::min(f, 1.), rate + 2);
}

TEST_F(ShapedLights, FogTakesThePlaceOfTheDecay) {
    const V3 lamp{1, 2, 0};
    for (const auto& [type, rate] : {std::pair{0, 1}, {0, 2}, {0, 3}, {1, 1}, {1, 3}, {2, 0}, {2, 2}}) {
        SCOPED_TRACE(fmt::format("type {}, rate {}", type, rate));
        LitScene scene =
            litBy(lightText("lumoVexaPointLight", fmt::format("\"intensity\" 2, \"decayRate\" {}, \"fogType\" {}, "
                                                              "\"fogRadius\" 3, \"fogIntensity\" .5",
                                                              rate, type)),
                  "origin 0 0 0", moved(lamp));
        scene.record = "\"evaluatesFog\" on";
        int beyond = 0;
        expectLayer(picture(scene.text()), "diffuse", [&](int x, int y) {
            const V3 p = meeting(x, y, -5);
            beyond += length(p) / 2 > 3;
            return 2 * .5 * fog(length(p) / 2, 3, type, rate) * -unit(p - lamp).z * kDiffuse * kColor * kLight;
        });
        EXPECT_TRUE(beyond > 0 && beyond < 16) << beyond;
    }
}

}  // namespace
}  // namespace rendertest
