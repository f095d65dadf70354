// Light that spreads below surfaces: wax and slabs from end to end, against integrals of the published profile.
#include "lit_scene.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace rendertest {
namespace {

const double kPi = std::acos(-1.0);

/// Normalized diffusion of albedo A and mean free path l, without its last thousandth.
struct Profile {
    double d;

    Profile(double albedo, double path) : d(path / (1.9 - albedo + 3.5 * (albedo - .8) * (albedo - .8))) {}

    double density(double r) const { return (std::exp(-r / d) + std::exp(-r / (3 * d))) / (8 * kPi * d * r) / .999; }
    double reach() const { return 3 * d * std::log(.75 / .001); }

    /// Share of the light that comes from farther away.
    double beyond(double r) const { return (.25 * std::exp(-r / d) + .75 * std::exp(-r / (3 * d)) - .001) / .999; }

    /// Share that comes from beyond a straight line at a distance: arcs around the point, 2 acos(a / r) long.
    double acrossLine(double a) const {
        if (a < 0) return 1 - acrossLine(-a);
        double sum = 0;
        constexpr int kSteps = 4000;
        for (int i = 0; i < kSteps; ++i) {
            const double t = (i + .5) / kSteps, width = reach() - a, r = a + width * t * t;
            if (width > 0) sum += density(r) * 2 * r * std::acos(std::min(a / r, 1.)) * 2 * width * t / kSteps;
        }
        return sum;
    }
};

/// A surface of nothing but scattered light.
std::string waxText(const Rgb& color, double radius, int rays, const std::string& more = {}) {
    return fmt::format("\"color\" 1 1 1, \"diffuse\" 0, {}, {}, \"scatterAccuracy\" {} {}",
                       parameter("scatterColor", color), parameter("scatterRadius", radius), rays, more);
}

constexpr const char* kSun = "\"lumoVexaDirectionalLight\" ( \"useRayTraceShadows\" on )";

/// A ball around (0, 0, z).
std::string ballText(const std::string& name, double radius, double z, const std::string& material) {
    constexpr int kRings = 32, kSectors = 64;
    std::string vectors, normals, vertices, polygons;
    for (int i = 0; i <= kRings; ++i)
        for (int j = 0; j < kSectors; ++j) {
            const double t = kPi * i / kRings, f = 2 * kPi * j / kSectors;
            const V3 n{std::sin(t) * std::cos(f), std::cos(t), -std::sin(t) * std::sin(f)};
            vectors += fmt::format("{:.7g} {:.7g} {:.7g}\n", radius * n.x, radius * n.y, radius * n.z + z);
            normals += fmt::format("{:.7g} {:.7g} {:.7g}\n", n.x, n.y, n.z);
        }
    constexpr int kCount = (kRings + 1) * kSectors;
    for (int k = 0; k < kCount; ++k) vertices += fmt::format("v {} n {}\n", k, kCount + k);
    for (int i = 0; i < kRings; ++i)
        for (int j = 0; j < kSectors; ++j) {
            const int a = i * kSectors + j, b = i * kSectors + (j + 1) % kSectors;
            if (i > 0) polygons += fmt::format("c {} {} {}\n", a, b + kSectors, b);
            if (i < kRings - 1) polygons += fmt::format("c {} {} {}\n", a, a + kSectors, b + kSectors);
        }
    return fmt::format(
        "object \"{0}_object\" visible shadow trace group\n{1}{2}{3}{4}end group end object\n"
        "instance \"{0}\" \"{0}_object\" material \"{5}\" end instance\n",
        name, vectors, normals, vertices, polygons, material);
}

class Scattering : public RenderTest {
protected:
    /// A wall whose left half lies in the shadow of a sheet behind the camera. `rays` and the mean square of the
    /// errors.
    double edgeError(const Rgb& color, int rays) const {
        constexpr double kPath = .5;
        LitScene scene;
        scene.camera = "resolution 16 16";
        scene.light("sun", kSun, "direction 0 0 -1");
        scene.lambert("wax", waxText(color, kPath, rays));
        scene.lambert("black", "\"color\" 0 0 0");
        scene.wall("slab", -5, "wax");
        scene.wall("screen", 5, "black", 1000, "transform 1 0 0 0 0 1 0 0 0 0 1 0 1000 0 0 1");
        const Picture image = picture(scene.text());
        double sum = 0;
        for (int x = 0; x < 16; ++x)
            for (int y = 0; y < 16; ++y) {
                const double place = ((x + .5) / 16 - .5) * 10;
                const auto add = [&](const char* channel, double albedo) {
                    const double error = image.at(channel, x, y) - albedo * Profile(albedo, kPath).acrossLine(-place);
                    sum += error * error / (16 * 16 * 3);
                };
                add("R", color.r);
                add("G", color.g);
                add("B", color.b);
            }
        return std::sqrt(sum);
    }

    /// The example: a ball of wax on a table, lit from behind by a candle, and a window.
    static LitScene waxBall(const std::string& parameters, const std::vector<LitScene::Pass>& passes = {}) {
        LitScene scene(passes);
        scene.camera = "resolution 24 24";
        scene.light("window", "\"lumoVexaPointLight\" ( \"intensity\" 1.5, \"useRayTraceShadows\" on )",
                    "rectangle 2 0 0 0 0 2 2 2 origin -3 4 -3");
        scene.light("candle",
                    "\"lumoVexaPointLight\" ( \"color\" 1 .6 .3, \"intensity\" 2, \"decayRate\" 1, "
                    "\"useRayTraceShadows\" on )",
                    "origin .8 .6 -5.5");
        scene.lambert("wax", parameters);
        scene.lambert("table_top", "\"color\" .4 .3 .2");
        scene.addInstance(ballText("ball", 1, -3, "wax"), "ball");
        scene.wall("table", -9, "table_top");
        return scene;
    }
};

// Even light comes out as it went in: scatterColor of it, and color x (1 - diffuse) of that, in each of the passes.
TEST_F(Scattering, SlabsReflectTheirAlbedo) {
    for (const int falloff : {0, 1, 2, 3}) {
        LitScene scene({{"beauty", 0}, {"scatter", 21}, {"diffuse", 5}});
        scene.light("sun", kSun, "direction 0 0 -1");
        scene.lambert("wax", fmt::format("\"color\" .5 1 1, \"diffuse\" .2, \"scatterColor\" .8 .8 .8, "
                                         "\"scatterRadius\" .3, \"scatterAccuracy\" 16, \"scatterFalloff\" {}",
                                         falloff));
        scene.wall("slab", -5, "wax");
        const Picture image = picture(scene.text());
        expectLayer(image, "scatter", {.32, .64, .64});
        expectLayer(image, "diffuse", {.1, .2, .2});
        expectLayer(image, "beauty", {.42, .84, .84});
        expectLayer(image, "", {.42, .84, .84});
    }
}

// Measured at the edge of a shadow: about .05, .02 and .007 with 16, 64 and 256 rays.
TEST_F(Scattering, ConvergesToTheProfileAtTheEdgeOfAShadow) {
    const Rgb skin{.9, .5, .2};
    const double coarse = edgeError(skin, 16), usual = edgeError(skin, 64), fine = edgeError(skin, 256);
    EXPECT_LT(coarse, .06);
    EXPECT_LT(usual, .025);
    EXPECT_LT(fine, .01);
    EXPECT_LT(fine, coarse / 4) << "better than random points, whose error falls with the root of their number";
}

// A sheet in light from behind: what is farther away than the sheet is thick, over the whole of both faces.
TEST_F(Scattering, ShinesThroughThinSheets) {
    for (const double thickness : {.1, .5, 2.}) {
        LitScene scene;
        scene.light("sun", "\"lumoVexaDirectionalLight\" ()", "direction 0 0 1");
        scene.lambert("wax", waxText({1, 1, 1}, .5, 1024));
        const double s = 1000, front = -5, back = front - thickness;
        scene.addInstance(fmt::format("object \"o\" visible shadow trace group\n"
                                      "-{0} -{0} {1} {0} -{0} {1} {0} {0} {1} -{0} {0} {1}\n"
                                      "-{0} -{0} {2} {0} -{0} {2} {0} {0} {2} -{0} {0} {2}\n"
                                      "v 0 v 1 v 2 v 3 v 4 v 5 v 6 v 7 c 0 1 2 3 c 7 6 5 4 end group end object\n"
                                      "instance \"sheet\" \"o\" material \"wax\" end instance\n",
                                      s, front, back),
                          "sheet");
        const double through = Profile(1, .5).beyond(thickness), expected = through / (1 + through);
        const Picture image = picture(scene.text());
        expectLayer(image, "", [&](int, int) { return expected * Rgb{1, 1, 1}; }, .04, .002);
    }
}

// A radius near 0 is a matt surface: not brighter, not softer.
TEST_F(Scattering, TendsToLambertAsTheRadiusShrinks) {
    const Picture matt = picture(waxBall("\"color\" .9 .7 .5, \"diffuse\" 1").text());
    for (const double radius : {1e-5, .002}) {
        const Picture image = picture(waxBall(waxText({.9, .7, .5}, radius, 64)).text());
        double difference = 0;
        for (int y = 0; y < 24; ++y)
            for (int x = 0; x < 24; ++x) difference += std::abs(image.at("R", x, y) - matt.at("R", x, y)) / (24 * 24);
        EXPECT_LT(difference, .01) << radius;
    }
}

TEST_F(Scattering, IsTheSameOnAnyNumberOfThreads) {
    for (const int cache : {0, 1}) {
        const std::string more = fmt::format(", \"scatterCache\" {}", cache);
        const std::string scene = waxBall(waxText({.9, .6, .4}, .3, 8, more)).text();
        const Picture one = picture(scene, {"-threads", "1"});
        expectSameBits(one, picture(scene, {"-threads", "2"}), "two threads");
        expectSameBits(one, picture(scene, {"-threads", "5", "-task_size", "3"}), "five threads, small tiles");
    }
}

// Kept patches and rays see the same ball, and no more light than the lights send (1.5 + 2 at most).
TEST_F(Scattering, CachesAgreeWithRays) {
    for (const double radius : {.2, 1., 5.}) {
        const Picture rays = picture(waxBall(waxText({.9, .6, .4}, radius, 512)).text());
        const Picture kept = picture(waxBall(waxText({.9, .6, .4}, radius, 1, ", \"scatterCache\" 1")).text());
        double sum = 0, difference = 0, most = 0;
        for (int y = 6; y < 18; ++y)
            for (int x = 6; x < 18; ++x) {
                sum += rays.at("R", x, y);
                difference += std::abs(rays.at("R", x, y) - kept.at("R", x, y));
                most = std::max({most, double(rays.at("R", x, y)), double(kept.at("R", x, y))});
            }
        EXPECT_GT(sum, 1) << radius;
        EXPECT_LT(difference, .04 * sum) << radius;
        EXPECT_LT(most, .9 * 3.5);
    }
}

}  // namespace
}  // namespace rendertest
