/* The color nodes' arithmetic, against implementations of its own in double precision. */
#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <random>

#include "frame_buffer_scene.h"

namespace {

constexpr miScalar kNaN = std::numeric_limits<miScalar>::quiet_NaN();
constexpr miScalar kInfinity = std::numeric_limits<miScalar>::infinity();
constexpr int kPoints = 10000;

using Channels = std::array<double, 4>;

/* What all nodes begin with, then the node's own words. */
template <class Own>
struct NodeBlock {
    miInteger passWriteMode = 1, passWriteFlags = 0;
    miScalar passWriteWeight = 1;
    miInteger passMode = 0;
    Own own{};
};

/* Where max - (max - min) x triangle of the hue: another way than sectors. */
Channels rgbOf(double hueDegrees, double s, double v, double a) {
    const auto channel = [&](double n) {
        const double k = std::fmod(n + hueDegrees / 60, 6);
        return v - v * s * std::max(0.0, std::min({k, 4 - k, 1.0}));
    };
    return {channel(5), channel(3), channel(1), a};
}

/* By sorting: the middle channel tells the place between two corners of the hexagon. */
Channels hsvOf(const miColor& c) {
    std::array<std::pair<double, int>, 3> sorted{{{c.r, 0}, {c.g, 1}, {c.b, 2}}};
    std::stable_sort(sorted.begin(), sorted.end(), [](auto x, auto y) { return x.first > y.first; });
    const double top = sorted[0].first, range = top - sorted[2].first;
    if (range <= 1e-5 || top <= 1e-5) return {0, 0, top, c.a};
    const double away = (sorted[1].first - sorted[2].first) / range * 60;
    const bool rising = sorted[1].second == (sorted[0].second + 1) % 3;
    const double hue = sorted[0].second * 120 + (rising ? away : -away);
    return {std::fmod(hue + 360, 360), range / top, top, c.a};
}

class Points {
public:
    explicit Points(unsigned seed) : numbers_(seed) {}
    miScalar in(miScalar from, miScalar to) {
        // The ends themselves are as likely as one point of eight.
        const int end = std::uniform_int_distribution<int>(0, 15)(numbers_);
        return end == 0 ? from : end == 1 ? to : std::uniform_real_distribution<miScalar>(from, to)(numbers_);
    }
    miColor color(miScalar from, miScalar to) { return {in(from, to), in(from, to), in(from, to), in(from, to)}; }
    miVector vector(miScalar from, miScalar to) { return {in(from, to), in(from, to), in(from, to)}; }

private:
    std::mt19937 numbers_;
};

void expectNear(double actual, double expected, double scale, const std::string& what) {
    if (std::isnan(expected))
        EXPECT_TRUE(std::isnan(actual)) << what << " is " << actual;
    else
        EXPECT_NEAR(actual, expected, 2e-5 * std::max({scale, std::fabs(expected), 1e-3})) << what;
}

class ColorNodes : public twin::LibraryTest {
protected:
    ColorNodes() { stage.placeVexabase(); }

    template <class Result, class Own>
    Result run(const char* name, const Own& own) {
        const twin::ShaderEntry<NodeBlock<Own>, Result> entry(std::string("lumoVexa") + name);
        twin::ShaderInstance<NodeBlock<Own>> shader({.own = own});
        stage.run(shader);
        std::array<miScalar, 4> result = {9, 9, 9, 9};
        miBoolean ignored;
        entry.init(state, shader.parameters(), &ignored);
        auto* typed = reinterpret_cast<Result*>(result.data());
        EXPECT_EQ(entry.call(typed, state, shader.parameters(), nullptr), miTRUE);
        entry.exit(state, shader.parameters());
        // A result is not larger than it is declared.
        for (std::size_t i = sizeof(Result) / sizeof(miScalar); i < 4; ++i) EXPECT_EQ(result[i], 9);
        return *typed;
    }

    Points points{7};
};

void expectColor(const miColor& actual, const Channels& expected, double scale, const std::string& what) {
    const std::array<miScalar, 4> channels = {actual.r, actual.g, actual.b, actual.a};
    for (std::size_t i = 0; i < 4; ++i)
        expectNear(channels[i], expected[i], scale, what + " channel " + std::to_string(i));
}

/* Hues are compared around the circle. */
void expectHsv(const miColor& actual, const Channels& expected, double turn, const std::string& what) {
    const double apart = std::fabs(actual.r - expected[0] * turn / 360);
    EXPECT_LT(std::min(apart, turn - apart), 3e-5 * turn) << what;
    expectColor({0, actual.g, actual.b, actual.a}, {0, expected[1], expected[2], expected[3]}, 1, what);
}

TEST_F(ColorNodes, ConvertBetweenHsvAndRgb) {
    for (int i = 0; i < kPoints; ++i) {
        const miColor hsv = {points.in(0, 3), points.in(0, 1), points.in(-1, 4), points.in(-1, 2)};
        const std::string what = "point " + std::to_string(i);
        const Channels rgb = rgbOf(hsv.r * 360.0, hsv.g, hsv.b, hsv.a);
        miColor color = hsv;
        library::hsv_to_rgb(&color, &color);
        expectColor(color, rgb, 4, what);
        expectColor(run<miColor>("HsvToRgb", miColor{hsv.r * 360, hsv.g, hsv.b, hsv.a}), rgb, 30, what);

        // Channels in tenths and equal channels lead to every order and tie.
        miColor c = points.color(-0.5f, 2);
        if (i % 2) c = {std::round(c.r * 5) / 5, std::round(c.g * 5) / 5, std::round(c.b * 5) / 5, c.a};
        const Channels expected = hsvOf(c);
        if (expected[1] > 20) continue;  // channels of both signs around 0: saturation is ill-conditioned
        color = c;
        library::rgb_to_hsv(&color, &color);
        expectHsv(color, expected, 1, what);
        expectHsv(run<miColor>("RgbToHsv", c), expected, 360, what);
    }
}

TEST_F(ColorNodes, ConvertOddColors) {
    // Negative hues and what is no hue leave the target alone, unless there is no saturation.
    for (const miScalar hue : {-0.1f, -1.0f, kNaN, kInfinity, -kInfinity}) {
        const miColor hsv = {hue, 0.5f, 2, 0.25f}, gray = {hue, 0, 2, 0.25f};
        miColor rgb = {7, 8, 9, 1};
        library::hsv_to_rgb(&hsv, &rgb);
        EXPECT_COLOR(rgb, 7, 8, 9, 0.25f);
        library::hsv_to_rgb(&gray, &rgb);
        EXPECT_COLOR(rgb, 2, 2, 2, 0.25f);
        EXPECT_COLOR(run<miColor>("HsvToRgb", miColor{hue, 0.5f, 2, 0.25f}), 0, 0, 0, 0.25f);
    }
    const struct {
        miColor rgb, hsv;
    } cases[] = {{{0, 0, 1, 1}, {240, 1, 1, 1}},       {{1, 0, 0, 0}, {0, 1, 1, 0}},
                 {{.5f, .5f, .5f, 1}, {0, 0, .5f, 1}}, {{1e-5f, 0, 0, 1}, {0, 0, 1e-5f, 1}},
                 {{-1, -2, -3, 1}, {0, 0, -1, 1}},     {{1, 0, .5f, 1}, {330, 1, 1, 1}},
                 {{1, 1 - 5e-6f, 1, 1}, {0, 0, 1, 1}}};
    for (const auto& each : cases)
        EXPECT_COLOR(run<miColor>("RgbToHsv", each.rgb), each.hsv.r, each.hsv.g, each.hsv.b, each.hsv.a);
}

TEST_F(ColorNodes, BlendClampAndWeigh) {
    struct Blend {
        miScalar blender;
        miColor color1, color2;
    };
    struct Clamp {
        miColor input, min, max;
    };
    for (int i = 0; i < kPoints; ++i) {
        const std::string what = "point " + std::to_string(i);
        const Blend b = {points.in(-1, 2), points.color(-2, 2), points.color(-2, 2)};
        const auto mix = [&](double x, double y) { return y + (x - y) * b.blender; };
        expectColor(run<miColor>("Blend", b),
                    {mix(b.color1.r, b.color2.r), mix(b.color1.g, b.color2.g), mix(b.color1.b, b.color2.b),
                     mix(b.color1.a, b.color2.a)},
                    6, what);

        const Clamp c = {points.color(-2, 2), points.color(-2, 1), points.color(-1, 2)};
        const auto limited = [](double x, double min, double max) {
            return min > max ? x : std::min(std::max(x, min), max);
        };
        expectColor(run<miColor>("Clamp", c),
                    {limited(c.input.r, c.min.r, c.max.r), limited(c.input.g, c.min.g, c.max.g),
                     limited(c.input.b, c.min.b, c.max.b), limited(c.input.a, c.min.a, c.max.a)},
                    0, what);

        const miColor l = points.color(-2, 2);
        expectNear(run<miScalar>("Luminance", l), (30.0 * l.r + 59.0 * l.g + 11.0 * l.b) / 100, 2, what);
    }
    EXPECT_EQ(run<miScalar>("Luminance", miColor{1, 1, 1, 0}), 1);
    const miColor odd = run<miColor>("Clamp", Clamp{{kNaN, kInfinity, 5, -5}, {0, 0, 2, 0}, {1, 1, 1, 1}});
    EXPECT_TRUE(std::isnan(odd.r));
    EXPECT_EQ(odd.g, 1);
    EXPECT_EQ(odd.b, 5) << "limits the wrong way round do not limit";
    EXPECT_EQ(odd.a, 0);
    EXPECT_TRUE(std::isnan(run<miColor>("Blend", Blend{kNaN, {1, 1, 1, 1}, {1, 1, 1, 1}}).r));
}

/* The curve from 0 to 1 through (bias, .5): b^x first, then each half bent, the upper one upside down. */
double contrasted(double x, double contrast, double bias) {
    if (x <= 0) return 0;
    const double b = std::exp(std::log(x) * std::log(0.5) / std::log(std::clamp(bias, 1e-5, 1 - 1e-5)));
    const double distance = b <= 0.5 ? b : 1 - b, bent = std::pow(distance * 2, contrast) / 2;
    return b <= 0.5 ? bent : 1 - bent;
}

TEST_F(ColorNodes, BendCurves) {
    struct Contrast {
        miVector value, contrast, bias;
    };
    struct Gamma {
        miVector value, gamma;
    };
    for (int i = 0; i < kPoints; ++i) {
        const std::string what = "point " + std::to_string(i);
        const Contrast c = {points.vector(-0.2f, 1), points.vector(0.25f, 4), points.vector(0.1f, 0.9f)};
        const miVector bent = run<miVector>("Contrast", c);
        expectNear(bent.x, contrasted(c.value.x, c.contrast.x, c.bias.x), 1, what);
        expectNear(bent.y, contrasted(c.value.y, c.contrast.y, c.bias.y), 1, what);
        expectNear(bent.z, contrasted(c.value.z, c.contrast.z, c.bias.z), 1, what);

        const Gamma g = {points.vector(0, 3), points.vector(0.2f, 5)};
        const miVector power = run<miVector>("Gamma", g);
        expectNear(power.x, std::exp(std::log(double{g.value.x}) / g.gamma.x), 0, what);
        expectNear(power.y, std::exp(std::log(double{g.value.y}) / g.gamma.y), 0, what);
        expectNear(power.z, std::exp(std::log(double{g.value.z}) / g.gamma.z), 0, what);
    }
    // A bias of 0 or 1 is brought just inside; .5 leaves the value.
    const miVector ends = run<miVector>("Contrast", Contrast{{0.3f, 0.3f, 0.3f}, {1, 1, 1}, {0, 1, 0.5f}});
    EXPECT_NEAR(ends.x, contrasted(0.3, 1, 0), 1e-5);
    EXPECT_NEAR(ends.y, contrasted(0.3, 1, 1), 1e-5);
    EXPECT_FLOAT_EQ(ends.z, 0.3f);
    const miVector odd = run<miVector>("Gamma", Gamma{{2, 0.5f, -1}, {0, 0, 3}});
    EXPECT_EQ(odd.x, kInfinity);
    EXPECT_EQ(odd.y, 0);
    EXPECT_TRUE(std::isnan(odd.z));
}

struct RampEntry {
    miScalar position, value;
    miInteger interpolation = 1;
};

struct RampWords {
    miInteger start = 0, count = 2;
    RampEntry inlined = {0, 0};
};

/* Three ramps with two entries each. An array's entries lie where its start says, counted in entries from the inline
 * one: here behind the node's own words. */
struct Remap {
    miColor color{};
    miScalar inputMin = 0, inputMax = 1, outputMin = 0, outputMax = 1;
    RampWords ramps[3];
    std::array<miUint, 30> room{};

    /* A line through two points, which are the ends of the ramp. */
    void line(std::size_t which, RampEntry from, RampEntry to) {
        auto* const words = reinterpret_cast<char*>(this);
        const auto inlined = reinterpret_cast<char*>(&ramps[which].inlined) - words;
        const auto distance = reinterpret_cast<char*>(&room[10 * which]) - words - inlined;
        const auto size = static_cast<std::ptrdiff_t>(sizeof(RampEntry));
        ramps[which].start = static_cast<miInteger>((distance + size - 1) / size);
        const RampEntry both[] = {from, to};
        std::memcpy(words + inlined + ramps[which].start * size, both, sizeof both);
    }
};

TEST_F(ColorNodes, RemapThroughRamps) {
    const auto slope = [](double t, double at0, double at1) { return at0 + t * (at1 - at0); };
    for (int i = 0; i < kPoints; ++i) {
        const std::string what = "point " + std::to_string(i);
        Remap block;
        block.color = points.color(-1, 2);
        block.inputMin = points.in(-1, 0.25f);
        block.inputMax = points.in(0.5f, 3);
        block.outputMin = points.in(-1, 1);
        block.outputMax = points.in(-1, 2);
        std::array<double, 3> at0{}, at1{};
        for (std::size_t which = 0; which < 3; ++which) {
            const miScalar y0 = points.in(0, 1), y1 = points.in(0, 1);
            at0[which] = y0;
            at1[which] = y1;
            block.line(which, {-8, y0 + (y0 - y1) * 8}, {8, y0 + (y1 - y0) * 8});  // longer than all points reach
        }
        const auto in = [&](double x) { return (x - block.inputMin) / (double{block.inputMax} - block.inputMin); };
        const auto out = [&](double x) { return block.outputMin + x * (double{block.outputMax} - block.outputMin); };
        const Channels t = {in(block.color.r), in(block.color.g), in(block.color.b), 0};
        expectColor(
            run<miColor>("RemapColor", block),
            {out(slope(t[0], at0[0], at1[0])), out(slope(t[1], at0[1], at1[1])), out(slope(t[2], at0[2], at1[2])), 0},
            40, what);

        const Channels hsv =
            hsvOf({static_cast<miScalar>(t[0]), static_cast<miScalar>(t[1]), static_cast<miScalar>(t[2]), 0});
        if (hsv[1] > 4 || hsv[0] > 359 || (hsv[1] > 0 && hsv[1] < 1e-3))
            continue;  // ill-conditioned: next to gray, black or the seam of the hues
        const Channels rgb = rgbOf(slope(hsv[0] / 360, at0[0], at1[0]) * 360, slope(hsv[1], at0[1], at1[1]),
                                   slope(hsv[2], at0[2], at1[2]), 0);
        expectColor(run<miColor>("RemapHsv", block), {out(rgb[0]), out(rgb[1]), out(rgb[2]), 0}, 400, what);
    }
}

TEST_F(ColorNodes, RemapWithoutARange) {
    Remap block;
    block.color = {0.5f, 2, -1, 1};
    block.inputMax = 5e-6f;  // counts as none: every ramp is taken at 0
    block.outputMin = 1;
    block.outputMax = 3;
    block.line(0, {0, 0.25f}, {1, 1});
    block.line(1, {0, 0.5f}, {1, 1});
    block.line(2, {0, 0.75f}, {1, 1});
    EXPECT_COLOR(run<miColor>("RemapColor", block), 1.5f, 2, 2.5f, 0);
    // hue .25, saturation .5, value .75 is (.5625 .75 .375)
    EXPECT_COLOR(run<miColor>("RemapHsv", block), 2.125f, 2.5f, 1.75f, 0);
    for (RampWords& ramp : block.ramps) ramp.count = 0;
    EXPECT_COLOR(run<miColor>("RemapColor", block), 1, 1, 1, 0);
}

}  // namespace
