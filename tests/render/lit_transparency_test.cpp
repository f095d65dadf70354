// Looking through transparent Lambert surfaces, in the picture and in its passes.
#include "lit_scene.h"

#include <fmt/format.h>

namespace rendertest {
namespace {

using LitTransparency = RenderTest;

std::string number(const std::string& text, int i) { return text + std::to_string(i); }

// ---- Stacks of sheets.

const Rgb kSheet{.8, .4, .2}, kBack{8, 4, 2};

/// Light from 60 degrees, sheets from z = -5 on that scatter .5 of it, and a wall behind that shines by itself.
LitScene stackOf(int sheets, const std::vector<Rgb>& transparencies) {
    LitScene scene({{"beauty", 0}, {"diffuse", 5}, {"front", 5, kShadowed}, {"unshadowed", 34}, {"glow", 22}});
    scene.light("sun", "\"lumoVexaDirectionalLight\" ()", "direction -1.7320508 0 -1");
    for (std::size_t i = 0; i < transparencies.size(); ++i)
        scene.lambert("sheet" + std::to_string(i),
                      parameter("color", kSheet) + ", \"diffuse\" .5, " + parameter("transparency", transparencies[i]));
    for (int i = 0; i < sheets; ++i)
        scene.wall(number("wall", i), -5 - .125 * i,
                   "sheet" + std::to_string(static_cast<std::size_t>(i) % transparencies.size()));
    scene.lambert("back_m", "\"diffuse\" 0, " + parameter("incandescence", kBack));
    scene.wall("back", -50, "back_m");
    return scene;
}

struct Seen {
    Rgb beauty, diffuse, incandescence;
    double alpha = 0;
};

/// From the last sheet to the first. A sheet's beauty is its share (1 - T), and T of what is behind; its passes are the
/// whole terms, and T of what is behind. The alpha is the luminance of opacities.
Seen through(int sheets, const std::vector<Rgb>& transparencies, bool wallIsSeen) {
    const Rgb term = .25 * kSheet, one{1, 1, 1};
    Seen seen;
    if (wallIsSeen) seen = {kBack, {}, kBack, 1};
    for (int i = sheets - 1; i >= 0; --i) {
        const Rgb t = transparencies[static_cast<std::size_t>(i) % transparencies.size()];
        const double luminance = .3 * t.r + .59 * t.g + .11 * t.b;
        seen = {(one - t) * term + t * seen.beauty, term + t * seen.diffuse, t * seen.incandescence,
                1 - luminance + luminance * seen.alpha};
    }
    return seen;
}

void expectSeen(const Picture& image, const Seen& seen) {
    expectLayer(image, "", seen.beauty);
    expectLayer(image, "beauty", seen.beauty);
    expectLayer(image, "unshadowed", seen.beauty);
    expectLayer(image, "diffuse", seen.diffuse);
    expectLayer(image, "glow", seen.incandescence);
    expectLayer(image, "front", .25 * kSheet);
    expectPixels(image, "A", [&](int, int) { return seen.alpha; }, 1e-4);
}

// Ten are more than the trace depth of 8: looking through costs none.
TEST_F(LitTransparency, SheetsLieOverEachOther) {
    const std::vector<Rgb> tints{{.5, .75, .25}, {.9, .6, .8}, {.7, 0, .9}};
    for (const int sheets : {1, 2, 10}) {
        SCOPED_TRACE(sheets);
        expectSeen(picture(stackOf(sheets, tints).text()), through(sheets, tints, true));
    }
}

// The state of sheet n has n - 1 parents. Sheet 256 has 255 and is the last one that looks on; sheet 257 has 256 and is
// the end of what is seen. The shader below it is not called.
TEST_F(LitTransparency, NothingIsSeenBehindSheet257) {
    const std::vector<Rgb> clear{{.99, .98, .97}};
    for (const int sheets : {256, 257}) {
        SCOPED_TRACE(sheets);
        expectSeen(picture(stackOf(sheets, clear).text()), through(sheets, clear, sheets == 256));
    }
}

// ---- One pixel in numbers.
//
// Sheet A: color (.8 .4 .2), diffuse .5, transparency .25. Light 1 is white and comes from 60 degrees, nothing in its
// way. Light 2 is .5 and comes straight; half of it gets through a block. Behind A is B: opaque, color (.2 .6 1),
// diffuse 1, in light 1 alone, tilted towards it so that its cosine is .8.

/// With A left out of these passes, and in a group that treats it as told.
LitScene onePixel(const std::vector<LitScene::Pass>& passes, const std::vector<std::string>& leftOut = {},
                  const std::string& engine = {}) {
    LitScene scene(passes);
    const std::string shadows = "\"useRayTraceShadows\" on";
    scene.light("one", "\"lumoVexaDirectionalLight\" ( " + shadows + " )", "direction -1.7320508 0 -1");
    scene.light("two", "\"lumoVexaDirectionalLight\" ( \"intensity\" .5, " + shadows + " )", "direction 0 0 -1");
    scene.lambert("a_m", "\"color\" .8 .4 .2 1, \"diffuse\" .5, \"transparency\" .25 .25 .25 1", "", engine);
    scene.lambert("b_m", "\"color\" .2 .6 1 1, \"diffuse\" 1");
    scene.lambert("block_m", "\"diffuse\" 0",
                  "\"lumoVexaShadow\" ( \"transparency\" .5 .5 .5 1, \"shadowAttenuation\" 0 )");
    scene.wall("a", -5, "a_m", 1000, "shadow 4 " + scene.leftOutOf(leftOut));
    scene.wall("block", -3, "block_m", 1000, "visible off light shadow [ \"two\" ]");
    const double toLight = std::acos(.8) * 180 / std::acos(-1.0);
    const Placing tilted = turned({0, 1, 0}, 60 - toLight).then(moved({0, 0, -20}));
    scene.wall("b", 0, "b_m", 1000, "light [ \"one\" ] transform " + tilted.inverse().text());
    return scene;
}

// A's terms: (.8 .4 .2) x .5 x cosine: D1 = (.2 .1 .05), D2 = (.4 .2 .1). It receives 1 of light 1 and .5 x .5 of light
// 2: D1 + .25 D2 = (.3 .15 .075). B: (.2 .6 1) x .8 = (.16 .48 .8). A's opacity is .75.
const Rgb kA{.3, .15, .075}, kB{.16, .48, .8};

TEST_F(LitTransparency, OnePixelInNumbers) {
    const Picture image = picture(onePixel({{"beauty", 0},
                                            {"materialColor", 4},
                                            {"diffuse", 5},
                                            {"front", 5, kShadowed},
                                            {"unshadowed", 5, kComposited},
                                            {"tinted", 5, kUsual | kTimesSurfaceColor},
                                            {"whole", 6},
                                            {"blocked", 12},
                                            {"clear", 28},
                                            {"beautyWhole", 34}})
                                      .text());
    // .75 x (.3 .15 .075) + .25 x (.16 .48 .8): the picture, and the beauty pass, whose front has .75 already.
    const Rgb beauty{.265, .2325, .25625};
    expectLayer(image, "", beauty);
    expectLayer(image, "beauty", beauty);
    expectLayer(image, "diffuse", {.34, .27, .275});  // kA + .25 kB
    expectLayer(image, "front", kA);                  // nothing composited

    // D1 + .5 D2 = (.4 .2 .1) without the block, and .25 kB; the beauty pass has .75 of the front.
    expectLayer(image, "unshadowed", {.44, .32, .3});
    expectLayer(image, "whole", {.44, .32, .3});
    expectLayer(image, "beautyWhole", {.34, .27, .275});
    expectLayer(image, "blocked", {.075, .0375, .01875});  // .75 x D2 x (.5 - .25); nothing is blocked from B

    // Times what each surface looks like: A's color is .75 kA = (.225 .1125 .05625), B's is kB.
    // (.3 x .225) + .25 (.16 x .16) = .0675 + .0064; .016875 + .0576; .00421875 + .16.
    expectLayer(image, "tinted", {.0739, .074475, .16421875});

    // Material colors and transparencies are those of the front.
    expectLayer(image, "materialColor", {.4, .2, .1});
    expectLayer(image, "clear", {.25, .25, .25});

    expectPixels(image, "A", [](int, int) { return 1.; });  // .75 + .25 x 1
    expectPixels(image, "diffuse.A", [](int, int) { return 1.; });
}

// A is left out of three passes. One sees B alone; "matte" has A hold out .75 of it; "matteFront" has nothing
// composited, so that A holds out all. The picture and the other passes are as ever.
TEST_F(LitTransparency, OnePixelInNumbersWithAnObjectLeftOut) {
    const Picture image = picture(onePixel({{"beauty", 0},
                                            {"diffuse", 5},
                                            {"without", 5},
                                            {"matte", 5, kUsual | kMatte},
                                            {"matteFront", 5, kShadowed | kMatte},
                                            {"clearWithout", 28}},
                                           {"without", "matte", "matteFront", "clearWithout"})
                                      .text());
    expectLayer(image, "", {.265, .2325, .25625});
    expectLayer(image, "beauty", {.265, .2325, .25625});
    expectLayer(image, "diffuse", {.34, .27, .275});
    expectLayer(image, "without", kB);
    expectLayer(image, "matte", .25 * kB);
    expectLayer(image, "matteFront", {});
    expectLayer(image, "clearWithout", {});  // that of B, which is opaque
}

// With a threshold of .8 all that is clearer than .2 counts as not there. The ray goes on as it is, with the same
// picture, but passes of material colors take nothing for hidden: A's (.4 .2 .1) and all of B's (.2 .6 1).
TEST_F(LitTransparency, OnePixelInNumbersWhereTheSheetDoesNotCount) {
    const Picture image =
        picture(onePixel({{"beauty", 0}, {"materialColor", 4}, {"diffuse", 5}, {"front", 5, kShadowed}, {"clear", 28}},
                         {}, ", \"transparencyThreshold\" .8")
                    .text());
    expectLayer(image, "", {.265, .2325, .25625});
    expectLayer(image, "beauty", {.265, .2325, .25625});
    expectLayer(image, "diffuse", {.34, .27, .275});
    expectLayer(image, "front", kA);
    expectLayer(image, "materialColor", {.6, .8, 1.1});
    expectLayer(image, "clear", {.25, .25, .25});  // B's is 0
}

// Passes that show the front alone, the picture as ever.
TEST_F(LitTransparency, OnePixelInNumbersWithOpaquePasses) {
    const Picture image = picture(onePixel({{"beauty", 0}, {"diffuse", 5}}, {}, ", \"opaquePasses\" on").text());
    expectLayer(image, "", {.265, .2325, .25625});
    expectLayer(image, "beauty", .75 * kA);
    expectLayer(image, "diffuse", kA);
}

}  // namespace
}  // namespace rendertest
