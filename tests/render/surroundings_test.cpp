// Fog and lenses of ordinary modules, in closed form.
#include "harness.h"
#include "pixels.h"
#include "scene_text.h"

#include <fmt/format.h>

namespace rendertest {
namespace {

using Surroundings = RenderTest;

// ---- Volumes.

TEST_F(Surroundings, FogWeakensWithTheWay) {
    const std::string fog = "volume \"plain_fog\" ( \"color\" .5 .5 .5 1, \"density\" .1 )";
    const auto through = [](double way, double color) { return .5 + std::exp(-.1 * way) * (color - .5); };
    SceneText scene;
    scene.camera = fog;
    scene.elements = constantMaterial("white", "1 1 1 1") +
                     wall("half", -5, "white", 5, "transform 1 0 0 0  0 1 0 0  0 0 1 0  -5 0 0 1");
    scene.members = "\"half\"";
    // The right half sees the wall, the left one nothing but fog.
    expectPixels(picture(scene.text()), "R",
                 [&](int x, int y) { return x > 1 ? through(length(meeting(x, y, -5)), 1) : .5; });
    scene.options += " volume off";
    expectPixels(picture(scene.text()), "R", [](int x, int) { return x > 1 ? 1. : 0.; });

    // Fog inside: from a clear surface's volume, for what lies behind it.
    SceneText inside;
    inside.elements = "material \"clear\" \"plain_rays\" () " + fog + " end material\n" +
                      constantMaterial("white", "1 1 1 1") + wall("front", -5, "clear") + wall("back", -8, "white");
    inside.members = "\"front\" \"back\"";
    expectPixels(picture(inside.text()), "R",
                 [&](int x, int y) { return through(length(meeting(x, y, -8) - meeting(x, y, -5)), 1); });
}

// ---- Environments.

TEST_F(Surroundings, PanoramasLieAroundTheirMiddle) {
    // 64 x 32 pixels: red grows by 4 with the column, green by 8 with the row from the bottom; linear in between.
    std::string content = "P6 64 32 255\n";
    for (int row = 31; row >= 0; --row)
        for (int column = 0; column < 64; ++column)
            content += {static_cast<char>(4 * column), static_cast<char>(8 * row), 0};
    write("around.ppm", content);
    const double pi = std::acos(-1.0);
    for (const double turn : {0., 30., -300.}) {
        SceneText scene;
        scene.before = "link \"examples.so\"\n$include <examples.mi>\ncolor texture \"around\" \"around.ppm\"\n";
        scene.camera =
            fmt::format("environment \"example_panorama\" ( \"tex\" \"around\", \"gain\" 2 3 1, \"turn\" {} )", turn);
        const Picture image = picture(scene.text());
        // What is at the left in the image comes to the middle when the surroundings turn to the right.
        expectPixels(image, "R", [&](int x, int y) {
            const V3 to = meeting(x, y, -1);
            const double around = .5 + (std::atan(to.x) - turn * pi / 180) / (2 * pi);
            return 2 * 4 / 255. * (64 * (around - std::floor(around)) - .5);
        });
        expectPixels(image, "G", [&](int x, int y) {
            const V3 to = meeting(x, y, -1);
            return 3 * 8 / 255. * (32 * (.5 + std::asin(to.y / length(to)) / pi) - .5);
        });
    }
}

// ---- Lenses.

TEST_F(Surroundings, FisheyeLooksByAngle) {
    SceneText scene;
    scene.camera =
        "environment \"plain_environment\" ( \"down\" 0 0 0 1, \"up\" 1 1 1 1 ) lens \"lens_fisheye\" "
        "( \"angle\" 120 )";
    const auto seen = [](int x, int y, bool full) {
        const double fx = (x + .5) / 2 - 1, fy = (y + .5) / 2 - 1, r = std::hypot(fx, fy);
        return r > 1 && !full ? 0 : .5 + .5 * std::sin(r * 2 * std::acos(-1.) / 3) * fy / r;
    };
    expectPixels(picture(scene.text()), "R", [&](int x, int y) { return seen(x, y, false); });
    scene.options += " \"lens full\" on";
    expectPixels(picture(scene.text()), "R", [&](int x, int y) { return seen(x, y, true); });
}

/// Share of a disc of radius r, whose centre lies at s beyond an edge, that is beyond it too.
double beyondEdge(double s, double r) {
    if (s >= r) return 1;
    if (s <= -r) return 0;
    const double t = s / r;
    return 1 - (std::acos(t) - t * std::sqrt(1 - t * t)) / std::acos(-1.);
}

TEST_F(Surroundings, DepthOfFieldIsSharpAtItsDistanceOnly) {
    const auto edgeAt = [&](double z) {
        SceneText scene;
        scene.options += " \"lens rays\" 512";
        scene.camera = "lens \"lens_depth\" ( \"radius\" 2, \"distance\" 4 )";
        scene.elements = constantMaterial("white", "1 1 1 1") +
                         wall("half", z, "white", 500, "transform 1 0 0 0  0 1 0 0  0 0 1 0  -500 0 0 1");
        scene.members = "\"half\"";
        return picture(scene.text());
    };
    expectPixels(edgeAt(-4), "R", [](int x, int) { return x > 1 ? 1. : 0.; });
    // At twice the distance the rays through the lens's rim have parted by its radius again.
    expectPixels(edgeAt(-8), "R", [](int x, int y) { return beyondEdge(meeting(x, y, -8).x, 2); }, .01);
}

}  // namespace
}  // namespace rendertest
