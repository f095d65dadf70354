// Color nodes between materials and their shading engine: what they do to the color they do to every pass.
#include "lit_scene.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <functional>

namespace rendertest {
namespace {

using NodePasses = RenderTest;

constexpr int kPixels = 16;
const std::vector<std::string> kChannels{"R", "G", "B"};

/// One pass of every type but those that other shaders than materials write.
std::vector<LitScene::Pass> allPasses() {
    std::vector<LitScene::Pass> passes;
    for (int type = 0; type < 35; ++type)
        if (type != 30) passes.push_back({fmt::format("type{}", type), type});
    return passes;
}

constexpr const char* kMetal =
    "shader \"metal\" \"lumoVexaLambert\" ( \"color\" .8 .6 .4 1, \"diffuse\" .9, \"incandescence\" .02 .01 .05 1, "
    "\"glowIntensity\" .2 )\n";
constexpr const char* kPaint =
    "shader \"paint\" \"lumoVexaLambert\" ( \"color\" .1 .3 .7 1, \"diffuse\" .7, \"ambientColor\" .3 .2 .1 1, "
    "\"translucence\" .3 )\n";
constexpr const char* kScratches =
    "shader \"scratches\" \"lumoVexaLambert\" ( \"color\" .9 .5 .2 1, \"incandescence\" .1 .1 .1 1 )\n";

/// A wall that is partly in the shadow of a smaller one, both with this surface; two lights with shadows and an ambient
/// one. `nodes` are the shaders behind it, `surface` the last of them.
std::string sceneOf(const std::string& surface, const std::string& nodes = {}) {
    LitScene scene(allPasses());
    scene.camera = fmt::format("resolution {0} {0}", kPixels);
    scene.light("bulb",
                "\"lumoVexaPointLight\" ( \"color\" 1 .9 .7 1, \"intensity\" 30, \"decayRate\" 2, "
                "\"useRayTraceShadows\" on )",
                "origin -2 3 -1");
    scene.light("sun", "\"lumoVexaDirectionalLight\" ( \"intensity\" .5, \"useRayTraceShadows\" on )",
                "direction 1 -.5 -2");
    scene.light("fill", "\"lumoVexaAmbientLight\" ( \"color\" .3 .2 .4 1 )", "origin 4 -2 0");
    const std::string group = fmt::format(
        "material \"group\" \"lumoVexaShadingEngine\" ( \"surfaceShader\" = \"{}\" ) "
        "shadow \"lumoVexaFastShadow\" () end material\n",
        surface);
    const std::string before = std::string(kMetal) + kPaint + kScratches + nodes + group;
    scene.addInstance(before + wall("back", -9, "group"), "back");
    scene.wall("near", -4, "group", 1);
    return scene.text();
}

/// Layers of the passes, and "" for the picture.
std::vector<std::string> layers() {
    std::vector<std::string> names{""};
    for (const LitScene::Pass& pass : allPasses()) names.push_back(pass.name + ".");
    return names;
}

/// Compares every pass, channel and pixel with a function of what the two materials give when they stand alone.
/// Returns in how many passes there is anything.
int expectOperated(const Picture& image, const Picture& metal, const Picture& paint,
                   const std::function<double(double metal, double paint, int x, int y)>& operation) {
    int filled = 0;
    for (const std::string& layer : layers()) {
        bool any = false;
        for (const std::string& channel : kChannels)
            for (int y = 0; y < kPixels; ++y)
                for (int x = 0; x < kPixels; ++x) {
                    const std::string name = layer + channel;
                    const double expected = operation(metal.at(name, x, y), paint.at(name, x, y), x, y);
                    EXPECT_NEAR(image.at(name, x, y), expected, 1e-5) << name << " at " << x << " " << y;
                    any = any || expected != 0;
                }
        filled += any;
    }
    return filled;
}

std::string blend(const std::string& more) {
    return "shader \"worn\" \"lumoVexaBlend\" ( \"color1\" = \"metal\", \"color2\" = \"paint\", " + more + " )\n";
}

TEST_F(NodePasses, AreTheBlendOfTheMaterialsPasses) {
    const Picture metal = picture(sceneOf("metal")), paint = picture(sceneOf("paint"));
    const Picture worn = picture(sceneOf("worn", blend("\"passMode\" 1, \"blender\" .3")));
    // Picture, beauty twice, diffuse and ambient with their colors and irradiances, shadows, glow, translucence ...
    const int filled = expectOperated(worn, metal, paint, [](double a, double b, int, int) { return .3 * a + .7 * b; });
    EXPECT_GT(filled, 16);
}

/// The blender is the luminance of a third material, which is evaluated in the middle of it all.
TEST_F(NodePasses, BearNoTraceOfTheBlender) {
    const Picture metal = picture(sceneOf("metal")), paint = picture(sceneOf("paint"));
    const Picture scratches = picture(sceneOf("scratches"));
    const std::string weight = "shader \"weight\" \"lumoVexaLuminance\" ( \"value\" = \"scratches\" )\n";
    const Picture worn = picture(sceneOf("worn", weight + blend("\"passMode\" 1, \"blender\" = \"weight\"")));
    expectOperated(worn, metal, paint, [&](double a, double b, int x, int y) {
        const double f = .3 * scratches.at("R", x, y) + .59 * scratches.at("G", x, y) + .11 * scratches.at("B", x, y);
        return f * a + (1 - f) * b;
    });
}

TEST_F(NodePasses, GoThroughNestedOperations) {
    const Picture metal = picture(sceneOf("metal")), paint = picture(sceneOf("paint"));
    const std::string nodes =
        "shader \"tame\" \"lumoVexaClamp\" ( \"passMode\" 1, \"input\" = \"metal\", \"max\" .3 .3 .3 1 )\n"
        "shader \"worn\" \"lumoVexaBlend\" ( \"passMode\" 1, \"blender\" .6, \"color1\" = \"tame\", "
        "\"color2\" = \"paint\" )\n"
        "shader \"limited\" \"lumoVexaClamp\" ( \"passMode\" 1, \"input\" = \"worn\", \"min\" .1 .1 .1 0, "
        "\"max\" .4 .4 .4 1 )\n";
    const Picture limited = picture(sceneOf("limited", nodes));
    expectOperated(limited, metal, paint, [](double a, double b, int, int) {
        return std::clamp(.6 * std::clamp(a, 0.0, .3) + .4 * b, .1, .4);
    });
}

TEST_F(NodePasses, AreClearedOrReplacedInOtherModes) {
    for (const int mode : {2, 3}) {
        const Picture worn = picture(sceneOf("worn", blend(fmt::format("\"passMode\" {}, \"blender\" .3", mode))));
        for (const std::string& layer : layers())
            for (const std::string& channel : kChannels)
                for (int y = 0; y < kPixels; ++y)
                    for (int x = 0; x < kPixels; ++x) {
                        const bool beauty = layer.empty() || (mode == 3 && (layer == "type0." || layer == "type34."));
                        EXPECT_FLOAT_EQ(worn.at(layer + channel, x, y), beauty ? worn.at(channel, x, y) : 0)
                            << layer << channel << " in mode " << mode;
                    }
        EXPECT_GT(worn.at("G", kPixels / 2, kPixels / 2), 0);
    }
}

TEST_F(NodePasses, OfLayersAreThoseOfTheMaterials) {
    const Picture metal = picture(sceneOf("metal")), paint = picture(sceneOf("paint"));
    const std::string layers =
        "shader \"layers\" \"lumoVexaLayeredShader\" ( \"compositingFlag\" 1, \"layers\" [\n"
        "{ \"color\" = \"metal\", \"transparency\" .4 .4 .4 }, { \"color\" = \"paint\" } ] )\n";
    const Picture image = picture(sceneOf("layers", layers));
    expectOperated(image, metal, paint, [](double a, double b, int, int) { return .6 * a + .4 * b; });
}

/// A blend as shadow shader is called in the middle of the light loop of the wall behind. If it emptied or wrote passes
/// there, as its mode says it does elsewhere, they would differ from those of mode 0.
TEST_F(NodePasses, AreLeftAloneByShadowRays) {
    const auto shadowedBy = [](const std::string& shadow) {
        std::string text = sceneOf("metal");
        const std::string opaque = "\"lumoVexaFastShadow\" ()";
        return text.replace(text.find(opaque), opaque.size(), shadow);
    };
    const auto veil = [&](int mode) {
        return picture(shadowedBy(fmt::format(
            "\"lumoVexaBlend\" ( \"passMode\" {}, \"blender\" .5, \"color1\" .4 .4 .4, \"color2\" .2 .2 .2 )", mode)));
    };
    const Picture expected = veil(0);
    const int middle = kPixels / 2;
    EXPECT_GT(expected.at("R", middle, middle), 0);
    for (const int mode : {1, 2, 3}) {
        const Picture image = veil(mode);
        for (const auto& [name, channel] : expected.channels())
            EXPECT_EQ(channel.values, image.channels().at(name).values) << name << " in mode " << mode;
    }
    const Picture without = picture(shadowedBy("\"lumoVexaFastShadow\" ()"));
    EXPECT_NE(without.channels().at("R").values, expected.channels().at("R").values) << "nothing is in this shadow";
}

/// Wherever ramps of one color are looked up, they are that color, and light that is measured for it leaves no trace:
/// in half shadow, with ambient light and highlights.
TEST_F(NodePasses, OfConstantRampsAreThoseOfTheSurface) {
    const std::string common = "\"diffuse\" .7, \"translucence\" .2, \"ambientColor\" .1 .2 .1, \"eccentricity\" .5, ";
    const Picture expected = picture(
        sceneOf("gloss", "shader \"gloss\" \"lumoVexaBlinn\" ( " + common +
                             "\"color\" .8 .3 .1, \"incandescence\" .05 .1 .2, \"specularColor\" .6 .5 .9 )\n"));
    EXPECT_GT(expected.at("type7.R", kPixels / 2, kPixels / 2), 0);
    const auto ramp = [](const std::string& name, const std::string& color) {
        return fmt::format(
            "\"{0}\" [ {{ \"position\" 0, \"value\" {1}, \"interpolation\" 1 }}, "
            "{{ \"position\" 1, \"value\" {1} }} ]",
            name, color);
    };
    for (const int input : {0, 1, 2, 3}) {
        const Picture image = picture(sceneOf(
            "ramps", fmt::format("shader \"ramps\" \"lumoVexaRampShader\" ( {} \"colorInput\" {}, "
                                 "\"incandescenceInput\" {}, {}, {}, {} )\n",
                                 common, input, 3 - input, ramp("colorRamp", ".8 .3 .1"),
                                 ramp("incandescenceRamp", ".05 .1 .2"), ramp("specularColorRamp", ".6 .5 .9"))));
        for (const std::string& layer : layers())
            for (const std::string& channel : kChannels)
                for (int y = 0; y < kPixels; ++y)
                    for (int x = 0; x < kPixels; ++x)
                        ASSERT_NEAR(image.at(layer + channel, x, y), expected.at(layer + channel, x, y), 1e-6)
                            << layer << channel << " at " << x << " " << y << ", input " << input;
    }
}

/// Two walls of a plain color, half transparent, one behind the other.
TEST_F(NodePasses, OfPlainSurfacesAreTheirColor) {
    const Picture image = picture(sceneOf(
        "plain", "shader \"plain\" \"lumoVexaSurfaceShader\" ( \"color\" .2 .4 .6, \"transparency\" .5 .5 .5 )\n"));
    for (const std::string layer : {"", "type0.", "type34."}) {
        EXPECT_FLOAT_EQ(image.at(layer + "R", 0, 0), .2F) << layer;
        EXPECT_FLOAT_EQ(image.at(layer + "G", kPixels / 2, kPixels / 2), .4F + .5F * .4F) << layer;
    }
    EXPECT_EQ(image.at("type5.R", 0, 0), 0);
}

}  // namespace
}  // namespace rendertest
