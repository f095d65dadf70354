// Area lights: where their samples lie, how many there are, and what rays see of them.
#include "contract_test.h"
#include "emitters.h"
#include "pixels.h"

namespace rendertest {
namespace {

const V3 kCentre{.5, 1, -2};
const Emitter kRectangle = rectangleEmitter(kCentre, {2, 0, 0}, {0, 0, 1.5});

/// To all sides.
double meanLight(const Emitter& light, V3 point) {
    return meanLight(light, point, [](double) { return 1; });
}

class AreaLights : public Contract {
protected:
    /// A matt white wall at z = -5 in the light, whose element `light` completes.
    static SceneText scene(const std::string& light, const std::string& instance = {}) {
        SceneText text;
        text.elements = "light \"l\" " + light + " end light\ninstance \"light\" \"l\" " + instance +
                        " end instance\nmaterial \"lit\" \"plain_material\" ( \"diffuse\" 1 1 1 1 ) end material\n" +
                        wall("surface", -5, "lit");
        text.members = "\"light\" \"surface\"";
        return text;
    }

    void expectMean(const std::string& primitive, const Emitter& shape, const Placing& place) {
        SceneText text =
            scene("\"plain_light\" ( \"shadow\" off, \"falloff\" on ) origin .5 1 -2 " + primitive + " 64 64",
                  "transform " + place.inverse().text());
        text.options = "samples 0 0";
        const Picture image = picture(text.text());
        const Emitter placed = shape.in(place);
        expectPixels(image, "R", [&](int x, int y) { return meanLight(placed, meeting(x, y, -5)); }, 2e-4);
    }
};

TEST_F(AreaLights, SamplesAreEvenOverWhatTheShapeShows) {
    const Placing turnedAndMoved = turned({1, 2, 3}, 40).then(moved({.3, -.2, .1}));
    // Sheared: equal areas stay equal areas on flat shapes.
    const Placing sheared{{1, .5, 0}, {0, 1, .3}, {.2, 0, 2}, {0, 0, 1}};
    expectMean("rectangle 2 0 0  0 0 1.5", kRectangle, sheared);
    expectMean("disc 0 1 0  .8", discEmitter(kCentre, {.8, 0, 0}, {0, 0, .8}), turnedAndMoved);
    expectMean("sphere .7", sphereEmitter(kCentre, .7), turnedAndMoved);
    expectMean("cylinder 3 0 0  .4", cylinderEmitter(kCentre, {3, 0, 0}, {0, .4, 0}, {0, 0, .4}), turnedAndMoved);
}

TEST_F(AreaLights, TakeTheShapeOfObjects) {
    // Two triangles that make the rectangle, looking down; their sheared copy looks up and adds nothing to a lit place.
    const std::string object = R"(
object "shape" group -.5 1 -1.25  1.5 1 -1.25  1.5 1 -2.75  -.5 1 -2.75  v 0 v 1 v 2 v 3 c 3 2 1 0 end group end object
instance "shape_i" "shape" end instance
)";
    SceneText text = scene("\"plain_light\" ( \"shadow\" off, \"falloff\" on ) object \"shape_i\" 64 64");
    text.elements = object + text.elements;
    text.members += " \"shape_i\"";
    text.options = "samples 0 0";
    const Picture image = picture(text.text());
    expectPixels(image, "R", [&](int x, int y) { return meanLight(kRectangle, meeting(x, y, -5)); }, 3e-4);

    text.elements.replace(text.elements.find("v 3 c 3 2 1 0"), 13, "v 3 c 0 0 0");  // no area is left
    const Outcome outcome = renderText(text.text());
    EXPECT_TRUE(outcome.says("\"shape_i\" has no geometry in the scene")) << outcome.messages;
}

TEST_F(AreaLights, MayChooseTheirPlaces) {
    SceneText text =
        scene("\"plain_placed_light\" ( \"corner\" -.5 1 -2.75, \"edge_u\" 2 0 0, \"edge_v\" 0 0 1.5 ) user 64 64");
    const Picture image = picture(text.text());
    expectPixels(image, "R", [&](int x, int y) { return meanLight(kRectangle, meeting(x, y, -5)); }, 3e-4);
}

TEST_F(AreaLights, CountAllSamplesAndCallTheShaderForThoseAboveTheSurface) {
    // A rectangle that stands upright on the surface's plane: half of its rows are below.
    SceneText text = scene("\"probe_light\" () origin 0 8 -5 rectangle 1 0 0  0 0 1  5 4 0 2 3");
    text.buffers += userBuffer("number", "z") + userBuffer("vector", "n");
    text.elements +=
        "material \"probe\" \"probe_lit\" () end material\nincremental instance \"surface\" material \"probe\" end "
        "instance\n";
    EXPECT_EQ(probe(text).at("number.Z", 2, 2), 10 * 20 + 10);

    // Behind one mirror ray the level is beyond 0, and the grid is the coarse one. Of the three rows the middle one is
    // cut.
    SceneText mirrored = text;
    mirrored.elements += "material \"mirror\" \"plain_rays\" ( \"mode\" 1 ) end material\n" +
                         wall("glass", -1, "mirror", 1000, "transform -1 0 0 0  0 1 0 0  0 0 -1 0  0 0 -2 1");
    mirrored.members += " \"glass\"";
    mirrored.cameraPlace = "transform -1 0 0 0  0 1 0 0  0 0 -1 0  0 0 -3 1";
    const Picture image = probe(mirrored);
    for (int x = 0; x < 4; ++x) {
        const int number = static_cast<int>(image.at("number.Z", x, 1));
        EXPECT_EQ(number / 10, 6);
        EXPECT_GE(number % 10, 2);
        EXPECT_LE(number % 10, 4);
    }
}

TEST_F(AreaLights, WithTheKeywordAloneAreNoneAndInfinitelyFarOnesHaveNoShape) {
    SceneText text = scene("\"plain_light\" ( \"shadow\" off, \"falloff\" on ) origin .5 1 -2 sphere .7 9 9");
    text.elements += "incremental light \"l\" sphere end light\n";
    const Emitter centre{{{kCentre, {}, 1}}, true};
    expectPixels(picture(text.text()), "R", [&](int x, int y) { return meanLight(centre, meeting(x, y, -5)); });

    const Outcome outcome = renderText(scene("\"plain_light\" () direction 0 0 -1 disc 0 0 1 3").text());
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_TRUE(outcome.says("light instance \"light\": an infinitely far light has no area")) << outcome.messages;
}

TEST_F(AreaLights, CastSoftShadows) {
    // An occluder hides the half x > 0 of the light from the points with x = 0: half of the columns of the grid.
    SceneText text = scene("\"plain_light\" () origin 0 0 5 rectangle 1 0 0  0 1 0  8 3");
    text.camera = "resolution 1 1";
    text.elements += constantMaterial("black", "0 0 0 0") +
                     wall("edge", -1, "black", 1000, "visible off transform 1 0 0 0  0 1 0 0  0 0 1 0  -1000 0 0 1");
    text.members += " \"edge\"";
    const Picture half = picture(text.text());
    // Light comes from z = 5 to z = -5: the cosine is 10 / sqrt(100 + x^2 + y^2), 0.2 percent below 1 at the corners.
    EXPECT_NEAR(half.at("R", 0, 0), .5, .002);

    // The samples of neighbouring pixels differ where a few of them make a shadow's edge; those of two runs do not.
    text.camera = "resolution 24 24 aperture .1";
    text.elements.replace(text.elements.find("8 3 end light"), 3, "2 2");
    const Picture image = picture(text.text(), {"-threads", "1"});
    int different = 0;
    for (int x = 0; x < 24; ++x)
        for (int y = 1; y < 24; ++y) different += std::abs(image.at("R", x, y) - image.at("R", x, y - 1)) > .1;
    EXPECT_GT(different, 50);
    const Picture again = picture(text.text(), {"-threads", "3", "-task_size", "5"});
    EXPECT_EQ(image.channels().at("R").values, again.channels().at("R").values);
}

TEST_F(AreaLights, AreSeenByRaysWhereTheyAreVisibleAndCastNoShadow) {
    // The ray through the centre of pixel (1, 1) is (-.25, -.25, -1): it meets z = -2 at (-.5, -.5).
    const std::map<std::string, std::string> shapes{{"rectangle", "rectangle 1 0 0  0 1 0"},
                                                    {"disc", "disc 0 0 1 .6"},
                                                    {"sphere", "sphere .6"},
                                                    {"cylinder", "cylinder 0 1 0  .4"}};
    for (const auto& [name, shape] : shapes) {
        const std::string light = "\"plain_light\" ( \"color\" 3 2 1 1 ) origin -.5 -.5 -2 " + shape + " 4 4 ";
        const Picture seen = picture(scene(light + "visible").text());
        const Picture hidden = picture(scene(light + "visible off").text());
        EXPECT_EQ(seen.at("R", 1, 1), 3) << name;
        EXPECT_EQ(seen.at("B", 1, 1), 1) << name;
        EXPECT_LT(hidden.at("R", 1, 1), 3) << name;
        EXPECT_GT(hidden.at("R", 1, 1), 1) << name;  // the surface behind, in the same light
        EXPECT_EQ(seen.at("R", 3, 3), hidden.at("R", 3, 3)) << name;
    }
}

}  // namespace
}  // namespace rendertest
