// Area lights: where their samples lie, how many there are, and what rays see of them.
#include "contract_test.h"
#include "pixels.h"

#include <functional>

namespace rendertest {
namespace {

constexpr double kPi = 3.14159265358979323846;

/// A piece of a light's surface, in the light's space.
struct Element {
    V3 place, normal;
    double area = 0;
};
using Shape = std::vector<Element>;

Shape gridOf(int nu, int nv, const std::function<Element(double, double)>& element) {
    Shape shape;
    for (int i = 0; i < nu; ++i)
        for (int j = 0; j < nv; ++j) shape.push_back(element((i + .5) / nu, (j + .5) / nv));
    return shape;
}

const V3 kCentre{.5, 1, -2};

Shape rectangleShape() {
    return gridOf(100, 100, [](double u, double v) {
        return Element{kCentre + (2 * (u - .5)) * V3{1, 0, 0} + (1.5 * (v - .5)) * V3{0, 0, 1}, {}, 1};
    });
}

Shape discShape() {
    return gridOf(100, 200, [](double u, double v) {
        const double a = 2 * kPi * v;
        return Element{kCentre + (.8 * u) * V3{std::cos(a), 0, std::sin(a)}, {}, u};
    });
}

Shape sphereShape() {
    return gridOf(300, 400, [](double u, double v) {
        const double t = kPi * u, a = 2 * kPi * v;
        const V3 n{std::sin(t) * std::cos(a), std::sin(t) * std::sin(a), std::cos(t)};
        return Element{kCentre + .7 * n, n, std::sin(t)};
    });
}

/// Around the x axis, three long.
Shape cylinderShape() {
    return gridOf(100, 1000, [](double u, double v) {
        const double a = 2 * kPi * v;
        const V3 n{0, std::cos(a), std::sin(a)};
        return Element{kCentre + (3 * (u - .5)) * V3{1, 0, 0} + .4 * n, n, 1};
    });
}

/// The mean of cosine / distance^2 over that part of the shape which faces the point on a surface with normal +z.
/// Flat shapes (without normals) shine to both sides.
double meanLight(const Shape& shape, const Placing& place, V3 point) {
    double sum = 0, area = 0;
    for (const Element& e : shape) {
        const V3 way = place.point(e.place) - point;
        if (length(e.normal) > 0 && dot(place.vector(e.normal), way) >= 0) continue;
        const double d2 = dot(way, way);
        sum += e.area * std::max(0., way.z / std::sqrt(d2)) / d2;
        area += e.area;
    }
    return sum / area;
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

    void expectMean(const std::string& primitive, const Shape& shape, const Placing& place) {
        SceneText text =
            scene("\"plain_light\" ( \"shadow\" off, \"falloff\" on ) origin .5 1 -2 " + primitive + " 64 64",
                  "transform " + place.inverse().text());
        text.options = "samples 0 0";
        const Picture image = picture(text.text());
        expectPixels(
            image, "R", [&](int x, int y) { return meanLight(shape, place, meeting(x, y, -5)); }, 2e-4);
    }
};

TEST_F(AreaLights, SamplesAreEvenOverWhatTheShapeShows) {
    const Placing turnedAndMoved = turned({1, 2, 3}, 40).then(moved({.3, -.2, .1}));
    // Sheared: equal areas stay equal areas on flat shapes.
    const Placing sheared{{1, .5, 0}, {0, 1, .3}, {.2, 0, 2}, {0, 0, 1}};
    expectMean("rectangle 2 0 0  0 0 1.5", rectangleShape(), sheared);
    expectMean("disc 0 1 0  .8", discShape(), turnedAndMoved);
    expectMean("sphere .7", sphereShape(), turnedAndMoved);
    expectMean("cylinder 3 0 0  .4", cylinderShape(), turnedAndMoved);
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
    expectPixels(
        image, "R", [&](int x, int y) { return meanLight(rectangleShape(), {}, meeting(x, y, -5)); }, 3e-4);

    text.elements.replace(text.elements.find("v 3 c 3 2 1 0"), 13, "v 3 c 0 0 0");  // no area is left
    const Outcome outcome = renderText(text.text());
    EXPECT_TRUE(outcome.says("\"shape_i\" has no geometry in the scene")) << outcome.messages;
}

TEST_F(AreaLights, MayChooseTheirPlaces) {
    SceneText text =
        scene("\"plain_placed_light\" ( \"corner\" -.5 1 -2.75, \"edge_u\" 2 0 0, \"edge_v\" 0 0 1.5 ) user 64 64");
    const Picture image = picture(text.text());
    expectPixels(
        image, "R", [&](int x, int y) { return meanLight(rectangleShape(), {}, meeting(x, y, -5)); }, 3e-4);
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
    const Shape centre{{kCentre, {}, 1}};
    expectPixels(picture(text.text()), "R", [&](int x, int y) { return meanLight(centre, {}, meeting(x, y, -5)); });

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
