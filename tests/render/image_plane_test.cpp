// A picture on the film, pixel by pixel: as the camera's surroundings, on a surface, and in a mirror.
#include "lit_scene.h"

#include <fmt/format.h>

#include <algorithm>

namespace rendertest {
namespace {

using ImagePlanes = RenderTest;

/// 4 x 2 pixels, the lower row first; red is 16 for each column, green 15 in the upper row.
constexpr const char* kImage = "color texture \"plate\" [4 2] '100000200000300000400000' '100F00200F00300F00400F00'\n";

/// Between the middles of pixels, linear; beyond the outermost ones, theirs.
Rgb filtered(double u, double v) {
    return {(1 + std::clamp(4 * u - .5, 0., 3.)) * 16 / 255, std::clamp(2 * v - .5, 0., 1.) * 15 / 255, 0};
}

/// Eye rays at the middles of 4 x 4 pixels, 90 degrees across.
LitScene sceneOf(const std::string& environment) {
    LitScene scene;
    scene.camera = environment;
    return scene;
}

std::string plane(const std::string& parameters) {
    return "\"lumoVexaImagePlane\" ( \"texture\" \"plate\", \"outside\" .5 .5 .5 1, " + parameters + " )";
}

/// What the 4 x 4 pixels of a square film see of the picture, which is 2 : 1, at each fit; outside is .5.
Rgb seen(int fit, int x, int y) {
    const double across = (x + .5) / 4, up = (y + .5) / 4;
    switch (fit) {
        case 1:
        case 2: return up < .25 || up > .75 ? Rgb{.5, .5, .5} : filtered(across, 2 * (up - .25));
        case 4: return filtered(across, up);
        default: return filtered(.25 + across / 2, up);
    }
}

TEST_F(ImagePlanes, ArePixelsOfTheFilm) {
    for (const int fit : {0, 1, 2, 3, 4}) {
        const std::string shader = plane(fmt::format("\"fit\" {}", fit));
        const Picture around = picture(kImage + sceneOf("environment " + shader).text());

        // The same on a wall that is seen at an angle and near.
        LitScene scene = sceneOf("");
        scene.addElement("shader \"where\" " + shader +
                         " shader \"paper\" \"lumoVexaSurfaceShader\" ( \"color\" = \"where\" ) "
                         "material \"m\" \"lumoVexaShadingEngine\" ( \"surfaceShader\" = \"paper\" ) end material");
        scene.wall("paper_wall", -3, "m");
        const Picture wall = picture(kImage + scene.text());
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 4; ++x) {
                const Rgb expected = seen(fit, x, y);
                EXPECT_NEAR(around.at("R", x, y), expected.r, 1e-6) << "fit " << fit << " at " << x << " " << y;
                EXPECT_NEAR(around.at("G", x, y), expected.g, 1e-6) << "fit " << fit << " at " << x << " " << y;
                EXPECT_FLOAT_EQ(wall.at("R", x, y), around.at("R", x, y));
                EXPECT_FLOAT_EQ(wall.at("G", x, y), around.at("G", x, y));
            }
    }
}

/// Through a color transform: the library's own matrix for these two spaces, worked by hand.
TEST_F(ImagePlanes, GoThroughAColorTransform) {
    const Picture image = picture(
        kImage + sceneOf("environment " + plane("\"fit\" 1, \"colorTransform\" \"ACEScg -> Linear Rec.709\"")).text());
    const Rgb given = {48 / 255.0, 15 / 255.0, 0};
    EXPECT_NEAR(image.at("R", 2, 2), 1.705050993 * given.r - 0.621792121 * given.g, 1e-6);
    EXPECT_NEAR(image.at("G", 2, 2), -0.130256418 * given.r + 1.140804737 * given.g, 1e-6);
    EXPECT_NEAR(image.at("B", 2, 2), -0.024003357 * given.r - 0.128968976 * given.g, 1e-6);
}

/// A mirror that faces the camera looks behind it, where there is no picture.
TEST_F(ImagePlanes, AreNotBehindTheCamera) {
    LitScene scene = sceneOf("environment " + plane("\"fit\" 4"));
    scene.addElement(
        "shader \"glass\" \"lumoVexaPhong\" ( \"color\" 0 0 0, \"reflectivity\" 1, \"reflectedColor\" 1 1 1 ) "
        "material \"mirror\" \"lumoVexaShadingEngine\" ( \"surfaceShader\" = \"glass\" ) end material");
    scene.wall("mirror_wall", -3, "mirror");
    expectLayer(picture(kImage + scene.text()), "", Rgb{.5, .5, .5});
}

}  // namespace
}  // namespace rendertest
