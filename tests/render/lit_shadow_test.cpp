// Shadows of the library's lights: what is left of the light in every pass, and how soft shadows converge.
#include "lit_scene.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>

namespace rendertest {
namespace {

class LitShadow : public RenderTest {
protected:
    /// Lights that take their shadows from maps get traced ones, and the host says so.
    Picture pictureWithMaps(const std::string& scene) const {
        const Outcome outcome = renderText(scene);
        EXPECT_EQ(outcome.exitCode, 0) << outcome.messages;
        EXPECT_TRUE(outcome.says("shadow maps are not made")) << outcome.messages;
        EXPECT_EQ(countOf(outcome.messages, "warning") + countOf(outcome.messages, "error"), 1) << outcome.messages;
        return Picture(path("out.exr"));
    }
};

const double kPi = std::acos(-1.0);
const Rgb kColor{.8, .4, .2}, kLight{1, .5, .25}, kShadow{.2, .3, .4};
constexpr double kDiffuse = .5, kIntensity = 2;

enum class Form { PerPass, Single };

/// A wall at z = -5 under a sun that comes from 60 degrees, and "block" above it. "spared" leaves the block out.
LitScene shadowed(Form form, const std::string& caster) {
    LitScene scene({{"diffuse", 5},
                    {"spared", 5},
                    {"ignoring", 5, kUsual | kIgnoresOccluderMask},
                    {"unshadowed", 5, kComposited},
                    {"whole", 6},
                    {"blocked", 12},
                    {"luminance", 13},
                    {"irradiance", 14}});
    const bool maps = form == Form::Single;
    scene.options = maps ? "shadowmap on" : "";
    scene.light("sun",
                fmt::format("\"lumoVexaDirectionalLight\" ( {}, {}, {}, \"{}\" on )", parameter("color", kLight),
                            parameter("intensity", kIntensity), parameter("shadowColor", kShadow),
                            maps ? "useDepthMapShadows" : "useRayTraceShadows"),
                "direction -1.7320508 0 -1");
    scene.lambert("m", parameter("color", kColor) + ", " + parameter("diffuse", kDiffuse));
    scene.lambert("block_m", "\"diffuse\" 0", caster);
    scene.wall("surface", -5, "m");
    scene.wall("block", -3, "block_m", 1000, "visible off " + scene.leftOutOf({"spared", "ignoring"}));
    return scene;
}

/// The cosine is .5 on the wall. With an attenuation of a, 1 - (1 - .5) a of what the block lets through arrives.
void expectShadow(const Picture& image, Form form, const Rgb& transmission) {
    const Rgb light = kIntensity * kLight, one{1, 1, 1};
    const Rgb shadow = form == Form::Single ? kIntensity * kShadow : kShadow;
    const Rgb arriving = transmission * light + (one - transmission) * shadow;
    const Rgb term = .5 * kDiffuse * kColor;
    expectLayer(image, "", term * arriving);
    expectLayer(image, "diffuse", term * arriving);
    // One color for all passes knows no masks.
    expectLayer(image, "spared", term * (form == Form::Single ? arriving : light));
    expectLayer(image, "ignoring", term * arriving);
    expectLayer(image, "unshadowed", term * light);
    expectLayer(image, "whole", term * light);
    const Rgb blocked = light - arriving;
    expectLayer(image, "blocked", term * blocked);
    expectLayer(image, "irradiance", .5 * blocked);
    // A scalar, in red.
    const Rgb seen = term * blocked;
    expectPixels(image, "luminance.R", [&](int, int) { return .3 * seen.r + .59 * seen.g + .11 * seen.b; }, 1e-5);
}

TEST_F(LitShadow, EveryPassGetsItsShareOfLightAndShadowColor) {
    const std::string half = "( \"transparency\" .5 .25 0 1, \"shadowAttenuation\" 0 )";
    const std::string grazing = "( \"transparency\" .5 .25 0 1, \"shadowAttenuation\" .4 )";
    struct Case {
        std::string caster;
        Rgb transmission;
    };
    const Case cases[] = {
        {"\"lumoVexaShadow\" " + half, {.5, .25, 0}},
        {"\"lumoVexaShadow\" " + grazing, {.4, .2, 0}},  // x .8
        {"\"lumoVexaLambert\" " + grazing, {.4, .2, 0}},
        {"\"lumoVexaLambert\" ( \"transparency\" .5 .25 0 1, \"hideSource\" on )", {1, 1, 1}},
        {"\"lumoVexaFastShadow\" ()", {0, 0, 0}},
    };
    for (const Form form : {Form::PerPass, Form::Single})
        for (const auto& [caster, transmission] : cases) {
            SCOPED_TRACE((form == Form::Single ? "maps, " : "rays, ") + caster);
            const std::string scene = shadowed(form, caster).text();
            expectShadow(form == Form::Single ? pictureWithMaps(scene) : picture(scene), form, transmission);
        }
}

TEST_F(LitShadow, OccludersMultiply) {
    LitScene scene = shadowed(Form::PerPass,
                              "\"lumoVexaShadow\" ( \"transparency\" .5 .25 1 1, "
                              "\"shadowAttenuation\" 0 )");
    scene.lambert("second_m", "\"diffuse\" 0",
                  "\"lumoVexaShadow\" ( \"transparency\" .5 .5 .125 1, \"shadowAttenuation\" 0 )");
    scene.wall("second", -2, "second_m", 1000, "visible off");
    const Picture image = picture(scene.text());
    const Rgb light = kIntensity * kLight, one{1, 1, 1}, both{.25, .125, .125}, second{.5, .5, .125};
    const Rgb term = .5 * kDiffuse * kColor;
    expectLayer(image, "diffuse", term * (both * light + (one - both) * kShadow));
    expectLayer(image, "spared", term * (second * light + (one - second) * kShadow));
}

// ---- Soft shadows.

constexpr int kPixels = 16;
constexpr double kFocal = 4, kRadius = 1;
const V3 kBulb{.2, .3, .5};

V3 onWall(int x, int y) {
    return {((x + .5) / kPixels - .5) * 2 / kFocal * 5, ((y + .5) / kPixels - .5) * 2 / kFocal * 5, -5};
}

/// Share of the light's disc, which faces the point, that is seen past an occluder that covers x < 0 at z = -3. The way
/// to d crosses z = -3 at p + 2 / (d.z + 5) (d - p), so d is seen where f(d) = p.x (d.z + 5) + 2 (d.x - p.x) > 0: on
/// one side of a line across the disc. What is left of a circle of radius 1 behind a chord at distance h is a segment.
double seenShare(V3 p) {
    const V3 gradient{2, 0, p.x}, axis = unit(p - kBulb);
    const double f = p.x * (kBulb.z + 5) + 2 * (kBulb.x - p.x);
    const double h = f / (kRadius * length(gradient - dot(gradient, axis) * axis));
    if (std::abs(h) >= 1) return h > 0 ? 1 : 0;
    return 1 - (std::acos(h) - h * std::sqrt(1 - h * h)) / kPi;
}

LitScene penumbra(int rays) {
    LitScene scene({{"diffuse", 5}, {"whole", 6}, {"blocked", 12}});
    scene.camera = fmt::format("focal {} resolution {} {}", kFocal, kPixels, kPixels);
    scene.light(
        "bulb",
        fmt::format("\"lumoVexaPointLight\" ( \"useRayTraceShadows\" on, \"lightRadius\" {}, \"shadowRays\" {} )",
                    kRadius, rays),
        fmt::format("origin {} {} {}", kBulb.x, kBulb.y, kBulb.z));
    scene.lambert("m", "\"color\" 1 1 1 1, \"diffuse\" 1");
    scene.wall("surface", -5, "m");
    scene.wall("edge", -3, "m", 1000, "visible off transform " + moved({-1000, 0, 0}).inverse().text());
    return scene;
}

/// Errors of the share, where it is neither 0 nor 1. Elsewhere there must be none.
std::vector<double> shareErrors(const Picture& image) {
    std::vector<double> errors;
    for (int y = 0; y < kPixels; ++y)
        for (int x = 0; x < kPixels; ++x) {
            const V3 p = onWall(x, y);
            const double whole = unit(kBulb - p).z, share = image.at("diffuse.R", x, y) / whole;
            const double expected = seenShare(p);
            EXPECT_NEAR(image.at("whole.R", x, y), whole, 1e-5);
            EXPECT_NEAR(image.at("blocked.R", x, y), whole * (1 - share), 1e-5);
            EXPECT_EQ(image.at("R", x, y), image.at("diffuse.R", x, y));
            if (expected > 0 && expected < 1)
                errors.push_back(share - expected);
            else
                EXPECT_NEAR(share, expected, 1e-5) << x << " " << y;
        }
    return errors;
}

// With n = k x k rays, one per cell of a k x k grid, only cells that the edge crosses err: at most 2k - 1 of them, each
// by a hit or miss whose variance is 1/6 on the average. That bounds the root mean square by sqrt((2k - 1) / 6) / n.
TEST_F(LitShadow, PenumbrasConverge) {
    for (const int k : {8, 32}) {
        const std::vector<double> errors = shareErrors(picture(penumbra(k * k).text()));
        ASSERT_GT(errors.size(), 100U);
        const auto count = static_cast<double>(errors.size());
        const double bound = std::sqrt((2 * k - 1) / 6.) / (k * k);
        const double square = std::inner_product(errors.begin(), errors.end(), errors.begin(), 0.) / count;
        const double mean = std::accumulate(errors.begin(), errors.end(), 0.) / count;
        EXPECT_LT(std::sqrt(square), bound) << k * k << " rays";
        EXPECT_LT(std::abs(mean), 3 * bound / std::sqrt(count)) << k * k << " rays";
        RecordProperty("root_mean_square_" + std::to_string(k * k), std::to_string(std::sqrt(square)));
        const auto larger = [](double x, double y) { return std::max(std::abs(x), std::abs(y)); };
        RecordProperty("largest_" + std::to_string(k * k),
                       std::to_string(std::accumulate(errors.begin(), errors.end(), 0., larger)));
    }
}

/// Rays come from lights that are hundreds of times as far as the things are large, and round by that much more.
TEST_F(LitShadow, SurfacesAreNotInTheirOwnShadowOfFarLights) {
    for (const V3& far : {V3{900, -1100, 1800}, V3{-90, 140, 160}, V3{-1700, 300, 500}, V3{21, 3, 430}}) {
        LitScene scene({{"diffuse", 5}});
        scene.light("lamp", "\"lumoVexaPointLight\" ( \"useRayTraceShadows\" on )",
                    fmt::format("origin {} {} {}", far.x, far.y, far.z));
        scene.lambert("m", parameter("color", kColor) + ", " + parameter("diffuse", kDiffuse));
        scene.wall("surface", -5, "m");
        expectLayer(picture(scene.text()), "diffuse", [&](int x, int y) {
            const V3 p = meeting(x, y, -5);
            const double height = far.z - p.z;
            return height / std::hypot(far.x - p.x, far.y - p.y, height) * kDiffuse * kColor;
        });
    }
}

}  // namespace
}  // namespace rendertest
