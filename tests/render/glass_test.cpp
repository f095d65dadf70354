// What is seen through refracting surfaces, against the laws of Snell and of Beer and Lambert.
#include "pass_scene.h"
#include "pixels.h"

#include <algorithm>

namespace rendertest {
namespace {

constexpr double kFront = 3, kRear = 4.5, kBack = 8;  // distances of the glass's faces and of what is behind
constexpr double kThick = kRear - kFront;

/// What lies behind the glass shows where a ray meets it: red and green run from 0 to 1 over x and y from -10 to 10.
double shade(double place) { return .5 + place / 20; }

std::string ruler(double z = -kBack) {
    return "shader \"place\" \"plain_coordinate\" ()\n" +
           group("ruler", "\"lumoVexaLambert\" ( \"color\" 0 0 0, \"diffuse\" 0, \"incandescence\" = \"place\" )") +
           wall("ruler_wall", z, "ruler", 10);
}

std::string glass(double index, const std::string& more = {}) {
    return fmt::format(
        "\"lumoVexaLambert\" ( \"color\" 0 0 0, \"diffuse\" 0, \"refractions\" on, \"refractiveIndex\" {} {} )", index,
        more);
}

/// A solid between two faces, whose normals lead outward.
std::string slab(const std::string& material) {
    return wall("front", -kFront, material) + wall("rear", kRear, material, 1000, kTurned);
}

/// An eye ray on its way through the glass. Distances from the axis are those of the ray's own plane through it.
struct Path {
    V3 eye;
    double sine, inside;  ///< sine outside, and the way inside

    Path(int x, int y, double index) : eye(eyeRay(x, y)), sine(std::hypot(eye.x, eye.y)) {
        const double within = sine / index;
        inside = kThick / std::sqrt(1 - within * within);
    }
    static double tangent(double sine) { return sine / std::sqrt(1 - sine * sine); }

    /// Both faces bend the ray, by these indices, and it meets the ruler this far from the axis.
    double distance(double in, double out) const {
        return kFront * tangent(sine) + kThick * tangent(sine / in) + (kBack - kRear) * tangent(sine / in * out);
    }
    double x(double distance) const { return distance * eye.x / sine; }
    double y(double distance) const { return distance * eye.y / sine; }
};

class Glass : public RenderTest {
protected:
    /// Compares the ruler as seen through the glass, tinted.
    template <class Weight>
    static void expectRuler(const Picture& image, double in, double out, Weight weight, const std::string& layer = {}) {
        expectPixels(image, layer + "R", [&](int x, int y) {
            const Path path(x, y, in);
            return weight(path) * shade(path.x(path.distance(in, out)));
        });
        expectPixels(image, layer + "G", [&](int x, int y) {
            const Path path(x, y, in);
            return weight(path) * shade(path.y(path.distance(in, out)));
        });
    }

    static SceneText behind(const std::string& material, const std::string& walls, const std::string& members) {
        SceneText scene = passScene({});
        scene.elements = ruler() + group("glass", material) + walls;
        scene.members = "\"ruler_wall\" " + members;
        return scene;
    }
    Picture throughSlab(const std::string& material) {
        return picture(behind(material, slab("glass"), "\"front\" \"rear\"").text());
    }
    Picture throughSheet(const std::string& material) {
        const std::string sheet = fmt::format(", \"surfaceThickness\" {} )", kThick);
        const std::string thick = material.substr(0, material.rfind(')')) + sheet;
        return picture(behind(thick, wall("front", -kFront, "glass"), "\"front\"").text());
    }
};

TEST_F(Glass, SlabsShiftWhatLiesBehind) {
    const auto clear = [](const Path&) { return 1.; };
    for (const double index : {1., 1.5, 2.4}) {
        SCOPED_TRACE(index);
        const std::string material = glass(index, ", \"transparency\" 1 1 1");
        expectRuler(throughSlab(material), index, index, clear);
        expectRuler(throughSheet(material), index, index, clear);
    }
}

TEST_F(Glass, AbsorbsByTheWayInside) {
    const std::string material = glass(1.5, ", \"transparency\" .8 .8 .8, \"lightAbsorbance\" .4");
    const auto left = [](const Path& path) { return std::exp(-.4 * path.inside); };
    // The tint counts at each face; a sheet is one.
    expectRuler(throughSlab(material), 1.5, 1.5, [&](const Path& path) { return .64 * left(path); });
    expectRuler(throughSheet(material), 1.5, 1.5, [&](const Path& path) { return .8 * left(path); });
}

TEST_F(Glass, DispersesWhereTheRayEnters) {
    // Red is bent by (index - 1) / 40 less, at both faces: a slab shifts it, and leaves its direction alone.
    const Picture image = throughSlab(glass(1.6, ", \"transparency\" 1 1 1, \"chromaticAberration\" on"));
    const double red = 1.6 - .6 / 40;
    expectPixels(image, "R", [&](int x, int y) {
        const Path path(x, y, red);
        return shade(path.x(path.distance(red, red)));
    });
    expectPixels(image, "G", [&](int x, int y) {
        const Path path(x, y, 1.6);
        return shade(path.y(path.distance(1.6, 1.6)));
    });
}

// The camera is inside of the glass, whose face is at z = -3. Outside shines 1, and 4 behind the camera.
TEST_F(Glass, ReflectsAllLightBeyondTheCriticalAngle) {
    const auto inside = [](double index, const std::string& more, const std::string& options = {}) {
        SceneText scene = passScene({{"beauty_pass", 0}, {"direct", 0, 0x1, {0, 0, 0, 100}}, {"refraction", 20}});
        scene.options += options;
        scene.elements = group("glass", glass(index, ", \"transparency\" 1 1 1" + more)) + group("out", shining(1)) +
                         group("in", shining(4)) + wall("face", kFront, "glass", 1000, kTurned) +
                         wall("outside", -kBack, "out") + wall("inside", -4, "in", 1000, kTurned);
        scene.members = "\"face\" \"outside\" \"inside\"";
        return scene.text();
    };
    const auto seen = [](double index, double here, double there) {
        return [=](int x, int y) { return Path(x, y, 1).sine > 1 / index ? there : here; };
    };
    // Rays make angles of sine 1/3, .620174 and .727607 with the axis. The first index is critical for none of them,
    // the second and third are just on both sides of .620174, the last one is beyond all.
    for (const double index : {1.2, 1.6123, 1.6126, 3.5}) {
        SCOPED_TRACE(index);
        const Picture image = picture(inside(index, ""));
        expectPixels(image, "R", seen(index, 1, 4));
        expectPixels(image, "beauty_pass.R", seen(index, 1, 4));
        expectPixels(image, "refraction.R", seen(index, 1, 4));
        expectPixels(image, "direct.R", seen(index, 1, 0));  // reflected inside: one reflection
    }
    // The way up to the face is charged whichever way the light goes on.
    expectPixels(picture(inside(1.6126, ", \"lightAbsorbance\" .2")), "R",
                 [&](int x, int y) { return std::exp(-.2 * kFront / -eyeRay(x, y).z) * seen(1.6126, 1, 4)(x, y); });
    // Without reflections in the render the surface is merely transparent there.
    expectPixels(picture(inside(1.6126, "", " trace depth 0 4 4")), "R", [](int, int) { return 1.; });
}

// Sheets of index 2 and thickness 1 before the ruler: each that refracts shifts the ray, one that does not lets it
// pass.
TEST_F(Glass, LimitsEndRefractionNotTransparency) {
    const auto shifts = [](int limit, const std::string& depth) {
        SceneText scene = passScene({});
        scene.options += " trace depth " + depth;
        scene.elements = ruler() + group("glass", glass(2, fmt::format(", \"transparency\" 1 1 1, \"surfaceThickness\" "
                                                                       "1, \"refractionLimit\" {}",
                                                                       limit)));
        scene.members = "\"ruler_wall\"";
        for (const double z : {-2, -4, -6}) {
            scene.elements += wall(fmt::format("sheet{}", -z), z, "glass");
            scene.members += fmt::format(" \"sheet{}\"", -z);
        }
        return scene.text();
    };
    const auto expectShifts = [&](const std::string& scene, int count) {
        expectPixels(picture(scene), "R", [=](int x, int y) {
            const Path path(x, y, 2);
            const double straight = Path::tangent(path.sine), bent = Path::tangent(path.sine / 2);
            return shade(path.x(kBack * straight + count * (bent - straight)));
        });
    };
    expectShifts(shifts(6, "0 9 9"), 3);
    expectShifts(shifts(2, "0 9 9"), 2);
    expectShifts(shifts(0, "0 9 9"), 0);
    expectShifts(shifts(6, "0 1 9"), 1);
    expectShifts(shifts(6, "0 9 2"), 2);
    expectShifts(shifts(6, "0 0 0"), 0);
}

/// Part of a blurred ray that hits the square of half width 2.5 around the axis: directions are spread evenly over a
/// disc of this radius at right angles to the ray, at distance 1.
double partOfDisc(int x, int y, double radius) {
    constexpr int kSteps = 800;
    const V3 eye = eyeRay(x, y), u = unit(cross(eye, V3{0, 1, 0})), v = cross(eye, u), start = meeting(x, y, -kFront);
    int all = 0, met = 0;
    for (int i = 0; i < kSteps; ++i)
        for (int j = 0; j < kSteps; ++j) {
            const double a = 2 * (i + .5) / kSteps - 1, b = 2 * (j + .5) / kSteps - 1;
            if (a * a + b * b > 1) continue;
            ++all;
            const V3 d = eye + radius * (a * u + b * v);
            const V3 p = start + ((kFront - kBack) / d.z) * d;
            met += std::abs(p.x) < 2.5 && std::abs(p.y) < 2.5;
        }
    return double(met) / all;
}

TEST_F(Glass, BlurConvergesToTheMeanOfTheCone) {
    const auto scene = [](int rays) {
        SceneText text = passScene({{"beauty_pass", 0}});
        text.elements = group("glass", glass(1, fmt::format(", \"transparency\" 1 1 1, \"refractionBlur\" .25, "
                                                            "\"refractionRays\" {}",
                                                            rays))) +
                        group("light", shining(1)) + wall("sheet", -kFront, "glass") +
                        wall("square", -kBack, "light", 2.5);
        text.members = "\"sheet\" \"square\"";
        return text.text();
    };
    // One ray sees the light or not. For an edge through the cone, n evenly placed rays are off by about n^-3/4.
    const Picture one = picture(scene(1));
    for (const int x : {1, 2}) EXPECT_EQ(one.at("R", x, 1), std::round(one.at("R", x, 1)));
    for (const int rays : {64, 1024}) {
        const double tolerance = std::pow(rays, -.75);
        const Picture image = picture(scene(rays), {"-threads", "1"});
        const Picture again = picture(scene(rays), {"-threads", "2"});
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 4; ++x) {
                EXPECT_NEAR(image.at("R", x, y), partOfDisc(x, y, .25), tolerance) << rays << " at " << x << " " << y;
                EXPECT_NEAR(image.at("beauty_pass.R", x, y), image.at("R", x, y), 1e-5);
                EXPECT_EQ(image.at("R", x, y), again.at("R", x, y));
            }
    }
}

// Solids of the indices 1.3 and 1.6, the second within the first, or reaching out of it at the far side. What was
// entered last fills the place.
TEST_F(Glass, SolidsLieInEachOther) {
    const auto scene = [](double end) {
        SceneText text = passScene({});
        const std::string clear = ", \"transparency\" 1 1 1";
        text.elements = ruler() + group("outer", glass(1.3, clear)) + group("inner", glass(1.6, clear)) +
                        wall("outer_front", -3, "outer") + wall("outer_rear", 6, "outer", 1000, kTurned) +
                        wall("inner_front", -4, "inner") + wall("inner_rear", end, "inner", 1000, kTurned);
        text.members = "\"ruler_wall\" \"outer_front\" \"outer_rear\" \"inner_front\" \"inner_rear\"";
        return text.text();
    };
    for (const double end : {5., 7.}) {
        expectPixels(picture(scene(end)), "R", [&](int x, int y) {
            const Path path(x, y, 1);
            const auto across = [&](double way, double index) { return way * Path::tangent(path.sine / index); };
            const double outer = 1 + std::max(6 - end, 0.), air = kBack - std::max(end, 6.);
            return shade(path.x(across(3 + air, 1) + across(outer, 1.3) + across(end - 4, 1.6)));
        });
    }
}

TEST_F(Glass, PassesShowWhatIsBehindInTheirOwnKind) {
    SceneText scene = passScene({{"beauty_pass", 0},
                                 {"material", 4},
                                 {"refraction", 20},
                                 {"incandescence", 22},
                                 {"transparency", 28},
                                 {"unshadowed", 34, 0x1}});
    scene.elements = ruler() +
                     group("glass", glass(1.5,
                                          ", \"transparency\" .5 .25 1, \"incandescence\" .1 .2 .3, "
                                          "\"lightAbsorbance\" .3")) +
                     wall("sheet", -kFront, "glass");
    scene.members = "\"ruler_wall\" \"sheet\"";
    const Picture image = picture(scene.text());
    // One face into the glass: nothing is absorbed before a ray leaves it.
    const auto through = [](int x, int y) {
        const Path path(x, y, 1.5);
        return .5 *
               shade(path.x(kFront * Path::tangent(path.sine) + (kBack - kFront) * Path::tangent(path.sine / 1.5)));
    };
    const auto whole = [&](int x, int y) { return .1 + through(x, y); };
    for (const std::string layer : {"", "beauty_pass.", "incandescence.", "unshadowed."})
        expectPixels(image, layer + "R", whole);
    expectPixels(image, "refraction.R", through);
    // These are of the front surface alone.
    expectPixels(image, "transparency.R", [](int, int) { return .5; });
    expectPixels(image, "transparency.G", [](int, int) { return .25; });
    expectPixels(image, "material.R", [](int, int) { return 0.; });
}

// A composition of ambient light alone leaves refraction out. What is behind the glass is seen straight, and once.
TEST_F(Glass, CompositionsWithoutRefractionLookStraightThrough) {
    SceneText scene = passScene({{"ambient", 3}});
    const std::string placed = "\"vexabase\" ()";
    scene.options.replace(scene.options.find(placed), placed.size(), "\"vexabase\" ( \"compositionMode\" 3 )");
    scene.elements = group("glass",
                           "\"lumoVexaLambert\" ( \"color\" 1 1 1, \"ambientColor\" .2 .2 .2, "
                           "\"transparency\" .5 .5 .5, \"refractions\" on )") +
                     group("back", "\"lumoVexaLambert\" ( \"color\" 1 1 1, \"ambientColor\" .8 .8 .8 )") +
                     wall("sheet", -kFront, "glass") + wall("behind", -kBack, "back");
    scene.members = "\"sheet\" \"behind\"";
    const Picture image = picture(scene.text());
    expectPixels(image, "R", [](int, int) { return .5 * .2 + .5 * .8; });
    expectPixels(image, "ambient.R", [](int, int) { return .2 + .5 * .8; });
}

// The camera stands in fog, and the solid is filled with denser fog; behind it the camera's begins again.
TEST_F(Glass, VolumesBeginAndEndWithTheSolid) {
    const auto fog = [](double color, double density) {
        return fmt::format("volume \"plain_fog\" ( \"color\" {0} {0} {0} 1, \"density\" {1} )", color, density);
    };
    const auto fogged = [](double seen, double color, double density, double way) {
        return color + std::exp(-density * way) * (seen - color);
    };
    const auto filled = [&](const std::string& more, const std::string& walls, const std::string& members) {
        SceneText scene = passScene({});
        scene.camera += fog(.5, .1);
        scene.elements = ruler() + "shader \"glass_s\" " + glass(1.5, ", \"transparency\" .8 .8 .8" + more) +
                         "\nmaterial \"glass\" \"lumoVexaShadingEngine\" ( \"surfaceShader\" = \"glass_s\" ) " +
                         fog(.25, .4) + " end material\n" + walls;
        scene.members = "\"ruler_wall\" " + members;
        return picture(scene.text());
    };
    const auto expectFog = [&](const Picture& image, int faces, bool inside) {
        expectPixels(image, "R", [&](int x, int y) {
            const Path path(x, y, 1.5);
            const double slant = 1 / -path.eye.z, tint = faces == 2 ? .8 : 1;
            double seen = tint * fogged(shade(path.x(path.distance(1.5, 1.5))), .5, .1, (kBack - kRear) * slant);
            if (inside) seen = fogged(seen, .25, .4, path.inside);
            return fogged(.8 * seen, .5, .1, kFront * slant);
        });
    };
    expectFog(filled("", slab("glass"), "\"front\" \"rear\""), 2, true);
    // A sheet has no inside: the ray starts at its far face, in what the eye ray came through.
    const std::string thick = fmt::format(", \"surfaceThickness\" {}", kThick);
    expectFog(filled(thick, wall("front", -kFront, "glass"), "\"front\""), 1, false);
}

}  // namespace
}  // namespace rendertest
