/* The color nodes' arithmetic, worked by hand. */
#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

#include "block.h"
#include "frame_buffer_scene.h"

namespace {

using twin::text;
using Values = std::array<miScalar, 4>;

constexpr miScalar kNaN = std::numeric_limits<miScalar>::quiet_NaN(),
                   kInfinity = std::numeric_limits<miScalar>::infinity();

class ColorNodes : public twin::LibraryTest {
protected:
    ColorNodes() { stage.placeVexabase(); }

    /* Of a result of this many words: it is not larger than declared, so the others stay 9. */
    void expect(const std::string& node, const std::string& parameters, const std::vector<double>& expected) {
        twin::Block shader("lumoVexa" + node, parameters);
        expectOf(shader, expected, node + " " + parameters);
    }
    void expectOf(twin::Block& shader, const std::vector<double>& expected, const std::string& what) {
        Values result = {9, 9, 9, 9};
        shader.init(state);
        EXPECT_EQ(shader.call(state, result.data()), miTRUE);
        shader.exit(state);
        for (std::size_t i = 0; i < 4; ++i) {
            const double wanted = i < expected.size() ? expected[i] : 9;
            if (!std::isfinite(wanted))
                EXPECT_TRUE(std::isnan(wanted) ? std::isnan(result[i]) : result[i] == kInfinity) << what;
            else
                EXPECT_NEAR(result[i], wanted, 2e-5 * std::max(1., std::fabs(wanted))) << what;
        }
    }
};

/* A quarter of the way around each sixth of the circle, with saturation .5 and value 2: p = 1, q = 1.75, t = 1.25. */
TEST_F(ColorNodes, ConvertBetweenHsvAndRgb) {
    const std::array<double, 4> rows[] = {{15, 2, 1.25, 1},  {75, 1.75, 2, 1},  {135, 1, 2, 1.25},
                                          {195, 1, 1.75, 2}, {255, 1.25, 1, 2}, {315, 2, 1, 1.75},
                                          {0, 2, 1, 1},      {375, 2, 1.25, 1}, {360, 2, 1, 1}};
    for (const auto& [hue, r, g, b] : rows) {
        expect("HsvToRgb", text("inHsv ", hue, " .5 2 .25"), {r, g, b, .25});
        miColor color = {static_cast<miScalar>(hue / 360), .5f, 2, .25f};
        library::hsv_to_rgb(&color, &color);
        EXPECT_NEAR(std::hypot(color.r - r, color.g - g, color.b - b), 0, 2e-6) << hue;
        EXPECT_EQ(color.a, .25f);
        if (hue >= 360) continue;
        expect("RgbToHsv", text("inRgb ", r, " ", g, " ", b, " .25"), {hue, .5, 2, .25});
        library::rgb_to_hsv(&color, &color);
        EXPECT_NEAR(std::hypot(color.r - hue / 360, color.g - .5, color.b - 2), 0, 2e-6) << hue;
        EXPECT_EQ(color.a, .25f);
    }
    // Negative hues and what is no hue leave the target alone, unless there is no saturation.
    for (const miScalar hue : {-.1f, kNaN, kInfinity}) {
        const miColor hsv = {hue, .5f, 2, .25f}, gray = {hue, 0, 2, .25f};
        miColor rgb = {7, 8, 9, 1};
        library::hsv_to_rgb(&hsv, &rgb);
        EXPECT_COLOR(rgb, 7, 8, 9, .25f);
        library::hsv_to_rgb(&gray, &rgb);
        EXPECT_COLOR(rgb, 2, 2, 2, .25f);
    }
    expect("HsvToRgb", "inHsv -1 .5 2 .25", {0, 0, 0, .25});
    const std::array<double, 6> odd[] = {{0, 0, 1, 240, 1, 1},   {.5, .5, .5, 0, 0, .5}, {1e-5, 0, 0, 0, 0, 1e-5},
                                         {-1, -2, -3, 0, 0, -1}, {1, 0, .5, 330, 1, 1},  {1, .999995, 1, 0, 0, 1},
                                         {1, 1, 0, 60, 1, 1},    {0, 1, 1, 180, 1, 1},   {1, 0, 1, 300, 1, 1}};
    for (const auto& [r, g, b, hue, s, v] : odd)
        expect("RgbToHsv", text("inRgb ", r, " ", g, " ", b, " 1"), {hue, s, v, 1});
}

/* Contrast is the curve from 0 to 1 through (bias, .5), .5^(log x / log bias), of which each half is bent. */
TEST_F(ColorNodes, BlendClampWeighAndBend) {
    // y + .3 (x - y), also beyond the ends
    expect("Blend", "blender .3, color1 1 2 3 4, color2 .5 0 -1 2", {.65, .6, .2, 2.6});
    expect("Blend", "blender -2, color1 1 2 3 4, color2 .5 0 -1 2", {-.5, -4, -9, -2});
    expect("Clamp", "input .5 -2 3 .7, min .6 -1 0 .1, max 1 1 2 .9", {.6, -1, 2, .7});
    expect("Clamp", "input 5 -5 1 2, min 2 0 0 3, max 1 1 1 1",
           {5, 0, 1, 2});                             // limits the wrong way round do not limit
    expect("Luminance", "value .7 .2 .5 3", {.383});  // .3 .7 + .59 .2 + .11 .5
    expect("Luminance", "value 1 1 1", {1});
    expect("Contrast", "value .3 .7 .9, contrast 2 2 .5, bias .4 .4 .8", {.3235516, .8881556, .6264241});
    expect("Contrast", "value .3 .3 .3, contrast 1 1 1, bias 0 1 .5", {.9300783, 0, .3});  // brought just inside
    expect("Contrast", "value -.2 0 1, contrast 3 3 3, bias .3 .3 .3", {0, 0, 1});
    expect("Gamma", "value 2 3 .125, gamma 2.2 .4 3", {1.3703510, 15.5884573, .5});
    expect("Gamma", "value 2 .5 -1, gamma 0 0 3", {kInfinity, 0, kNaN});
    twin::Block clamp("lumoVexaClamp", "input 0 0 2 3"), blend("lumoVexaBlend");
    clamp.at<miColor>("input").r = kNaN;
    clamp.at<miColor>("input").g = kInfinity;
    expectOf(clamp, {kNaN, 1, 1, 1}, "clamp");
    blend.at("blender") = kNaN;
    expectOf(blend, {kNaN, kNaN, kNaN, kNaN}, "blend");
}

/* (input - .25) / 2, through the ramps, 1 + 2 x. */
TEST_F(ColorNodes, RemapThroughRamps) {
    const auto ramp = [](const char* name, double from, double to) {
        return text(name, " [ { position 0, value ", from, ", interpolation 1 }, { position 1, value ", to,
                    ", interpolation 1 } ], ");
    };
    const std::string colors = ramp("red", .2, 1) + ramp("green", .5, .1) + ramp("blue", .75, 1),
                      hsv = ramp("hue", .25, .5) + ramp("saturation", 1, .2) + ramp("value", 0, .9),
                      range = "inputMin .25, inputMax 2.25, outputMin 1, outputMax 3, ",
                      none = "inputMin 1, inputMax 1.000005, outputMin 1, outputMax 3, ";
    // (.125 .875 -.625): .2 + .8 x .125 = .3, .5 - .4 x .875 = .15, .75
    expect("RemapColor", colors + range + "color .5 2 -1 1", {1.6, 1.3, 2.5, 0});
    // (.8 .4 .2) is (20 .75 .8) in HSV, through the ramps (.25 + .25 / 18 .4 .72) = 95 degrees, which is (.552 .72
    // .432)
    expect("RemapHsv", hsv + range + "color 1.85 1.05 .65 1", {2.104, 2.44, 1.864, 0});
    // Without a range every ramp is taken at 0; without ramps all is 0.
    expect("RemapColor", colors + none + "color .5 2 -1 1", {1.4, 2, 2.5, 0});
    expect("RemapHsv", hsv + ramp("value", .5, 1) + none + "color .5 2 -1 1",
           {1.5, 2, 1, 0});  // green-yellow, 90 degrees
    expect("RemapColor", range + "color .5 2 -1 1", {1, 1, 1, 0});
}

}  // namespace
