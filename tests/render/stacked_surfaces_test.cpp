// Surfaces on top of each other: as layers of one shader, as walls behind each other, and what their alpha and their
// passes make of it.
#include "lit_scene.h"

#include <fmt/format.h>

#include <cmath>
#include <string_view>

namespace rendertest {
namespace {

using namespace std::string_view_literals;
using StackedSurfaces = RenderTest;

LitScene sunlit() {
    LitScene scene(
        {{"beauty", 0}, {"diffuse", 5}, {"shine", 7}, {"own", 22}, {"clear", 28}, {"glow", 29}, {"value", 30}});
    scene.light("sun", "\"lumoVexaDirectionalLight\" ( \"intensity\" .9 )", "direction 1 -.5 -2");
    return scene;
}

void addGroup(LitScene& scene, const std::string& name, const std::string& surface) {
    scene.addElement(fmt::format(
        "material \"{}\" \"lumoVexaShadingEngine\" ( \"surfaceShader\" = \"{}\" ) end material", name, surface));
}

/// Two sheets, each with a value, a matte and a glow of its own.
LitScene sheets() {
    LitScene scene = sunlit();
    for (const char* sheet : {"a", "b"})
        scene.addElement(
            fmt::format("shader \"{}_noted\" \"lumoVexaWriteToColorBuffer\" ( \"color\" {}, \"value\" {} )", sheet,
                        *sheet == 'a' ? ".8 .4 .2" : ".1 .6 .9", *sheet == 'a' ? ".9 .5 0" : ".2 .4 1"));
    scene.addElement(
        "shader \"a\" \"lumoVexaBlinn\" ( \"color\" = \"a_noted\", \"transparency\" .5 .25 .75, \"glowIntensity\" .3, "
        "\"matteOpacityMode\" 1, \"matteOpacity\" .4 )");
    scene.addElement(
        "shader \"b\" \"lumoVexaBlinn\" ( \"color\" = \"b_noted\", \"transparency\" .4 .4 .4, \"glowIntensity\" .6, "
        "\"matteOpacity\" .5, \"incandescence\" .1 .2 .3 )");
    return scene;
}

/// In all passes but that of transparency, of which walls show the first: the layers' product is that of the whole.
TEST_F(StackedSurfaces, AreTheSameAsLayersAndAsWalls) {
    LitScene scene = sheets();
    for (const char* sheet : {"a", "b"}) addGroup(scene, fmt::format("{}_group", sheet), sheet);
    scene.wall("front", -4, "a_group");
    scene.wall("back", -5, "b_group");
    const Picture walls = picture(scene.text());

    LitScene one = sheets();
    one.addElement(
        "shader \"layers\" \"lumoVexaLayeredShader\" ( \"layers\" [ "
        "{ \"color\" = \"a\", \"transparency\" = \"a.transparency\", \"glowColor\" = \"a.glowColor\" }, "
        "{ \"color\" = \"b\", \"transparency\" = \"b.transparency\", \"glowColor\" = \"b.glowColor\" } ] )");
    addGroup(one, "group", "layers");
    one.wall("front", -4, "group");
    const Picture layers = picture(one.text());

    EXPECT_GT(walls.at("shine.R", 0, 0), 0);
    for (const auto& [name, channel] : walls.channels()) {
        if (name.starts_with("clear")) continue;
        for (std::size_t i = 0; i < channel.values.size(); ++i)
            EXPECT_NEAR(layers.channels().at(name).values[i], channel.values[i], 1e-5) << name << " " << i;
    }
    expectLayer(layers, "clear", {.5 * .4, .25 * .4, .75 * .4});
}

/// The counter's color is how often it was called: 1 in the upper layer and 2 in the lower one, which are added up. Two
/// parameters that are connected to an output of one shader call it once, and each layer calls its shader for itself.
TEST_F(StackedSurfaces, AreShadedOncePerLayer) {
    for (const char* color : {"upper", "upper.color"}) {
        LitScene scene = sunlit();
        scene.addElement(fmt::format(
            "shader \"counter\" \"probe_counter\" ()\n"
            "shader \"upper\" \"lumoVexaSurfaceShader\" ( \"color\" = \"counter\", \"transparency\" 1 1 1 )\n"
            "shader \"layers\" \"lumoVexaLayeredShader\" ( \"layers\" [ {{ \"color\" = \"{0}\", \"transparency\" = "
            "\"upper.transparency\", \"glowColor\" = \"upper.glowColor\" }}, {{ \"color\" = \"{0}\" }} ] )",
            color));
        addGroup(scene, "group", "layers");
        scene.wall("wall", -4, "group");
        const Picture image = picture(scene.text());
        for (const char* layer : {"R", "beauty.R"})
            EXPECT_FLOAT_EQ(image.at(layer, 1, 1), 1 + 2) << layer << " " << color;
    }
}

/// In the passes an unlit surface shines by itself; its alpha is the picture's.
TEST_F(StackedSurfaces, WithoutLightAddUpToTheBeautyPass) {
    struct Case {
        double transparency, alpha;
        bool opaqueBehind;
    };
    for (const auto& [t, alpha, opaqueBehind] : {Case{.5, 1, true}, Case{1, 0, false}}) {
        LitScene scene = sunlit();
        scene.addElement(
            fmt::format("shader \"unlit\" \"lumoVexaSurfaceShader\" ( \"color\" .2 .4 .6, \"transparency\" "
                        "{0} {0} {0}, \"glowColor\" .1 .2 .3 )",
                        t));
        scene.addElement("shader \"far\" \"lumoVexaSurfaceShader\" ( \"color\" .4 .2 0 )");
        addGroup(scene, "unlit_group", "unlit");
        addGroup(scene, "far_group", "far");
        scene.wall("front", -4, "unlit_group");
        if (opaqueBehind) scene.wall("back", -5, "far_group");
        const Picture image = picture(scene.text());
        const Rgb seen = Rgb{.2, .4, .6} + (opaqueBehind ? t : 0) * Rgb{.4, .2, 0};
        for (const char* layer : {"", "beauty", "own"}) expectLayer(image, layer, seen);
        expectLayer(image, "clear", {t, t, t});
        expectLayer(image, "glow", {.1, .2, .3});
        for (const char* channel : {"A", "beauty.A"}) EXPECT_NEAR(image.at(channel, 1, 1), alpha, 1e-6) << channel;
    }
}

/// Whether rays are bent or not: of the alpha behind a sheet its transparency lets through, and it hides the rest.
TEST_F(StackedSurfaces, HaveTheAlphaOfWhatIsSeenThroughThem) {
    for (const int limit : {0, 8})
        for (const double t : {1., .25})
            for (const bool opaqueBehind : {true, false}) {
                LitScene scene = sunlit();
                scene.lambert("sheet",
                              fmt::format("\"transparency\" {0} {0} {0}, \"refractions\" on, \"refractiveIndex\" "
                                          "1.5, \"surfaceThickness\" .1, \"refractionLimit\" {1}",
                                          t, limit));
                scene.lambert("solid", "");
                scene.wall("front", -4, "sheet");
                if (opaqueBehind) scene.wall("back", -5, "solid");
                EXPECT_NEAR(picture(scene.text()).at("A", 1, 1), opaqueBehind ? 1 : 1 - t, 1e-6) << limit << " " << t;
            }
}

/// Three panes that write 1: 1 - .8^3 of it is hidden by them. Where a buffer does not composite the first one counts.
TEST_F(StackedSurfaces, WriteValuesByTheirOpacity) {
    for (const char* bent : {"off", "on"}) {
        LitScene scene({{"mean", 30}, {"first", 30, kShadowed}});
        scene.addElement(
            "shader \"one\" \"lumoVexaWriteToColorBuffer\" ( \"color\" .5 .5 .5, \"value\" 1 1 1 )\n"
            "shader \"both\" \"lumoVexaWriteToColorBuffer\" ( \"buffer\" 1, \"color\" = \"one\", \"value\" 1 1 1 )");
        scene.lambert("pane", fmt::format("\"color\" = \"both\", \"transparency\" .8 .8 .8, \"refractions\" {}, "
                                          "\"surfaceThickness\" .1",
                                          bent));
        for (const int i : {0, 1, 2}) scene.wall(fmt::format("pane{}", i), -4 - i, "pane");
        const Picture image = picture(scene.text());
        const double mean = 1 - std::pow(.8, 3);
        expectLayer(image, "mean", {mean, mean, mean});
        if (bent == "off"sv) expectLayer(image, "first", {1, 1, 1});
    }
}

}  // namespace
}  // namespace rendertest
