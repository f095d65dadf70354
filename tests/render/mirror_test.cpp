// What is seen in mirrors, and in the passes of mirrors, against what is there.
#include "pass_scene.h"
#include "pixels.h"

#include <functional>

namespace rendertest {
namespace {

constexpr double kMirror = 5, kSeen = 4;  // distances of the mirror, and behind the camera of what it shows
constexpr double kWide = 20;

/// Gray of a ruler that runs from 0 to 1 over x and y from -20 to 20.
double shade(double place) { return .5 + place / (2 * kWide); }

/// A material without light of its own, that reflects by (r, g, b).
std::string mirror(const std::string& shader, const std::string& reflected, const std::string& more = {}) {
    return fmt::format(
        "\"{}\" ( \"color\" 0 0 0, \"diffuse\" 0, \"specularColor\" 0 0 0, \"reflectivity\" .5, \"reflectedColor\" {} "
        "{} )",
        shader, reflected, more);
}

const std::vector<std::string> kMaterials{"lumoVexaPhong", "lumoVexaPhongE", "lumoVexaBlinn", "lumoVexaAnisotropic",
                                          "lumoVexaHairTubeShader"};

class Mirror : public RenderTest {
protected:
    /// A mirror that faces the camera, and a wall behind the camera that faces the mirror.
    static SceneText facing(std::vector<PassBuffer> buffers, const std::string& front, const std::string& seen) {
        SceneText scene = passScene(std::move(buffers));
        scene.elements = "shader \"place\" \"plain_coordinate\" ()\n" + group("front", front) + group("seen", seen) +
                         wall("mirror", -kMirror, "front") + wall("wall", -kSeen, "seen", kWide, kTurned);
        scene.members = "\"mirror\" \"wall\"";
        return scene;
    }

    /// Where the reflected ray of a pixel meets the wall, whose own x runs against that of the world.
    static V3 place(int x, int y) {
        const V3 d = eyeRay(x, y);
        return (-(2 * kMirror + kSeen) / d.z) * d;
    }
};

// The wall behind the camera shines, and is lit and tinted; the mirror halves it. Its own reflection pass ends at the
// first level, so it holds all of the wall, and the wall's passes hold theirs.
TEST_F(Mirror, ShowsTheMaterialPassesOfWhatItSees) {
    const std::string seen =
        "\"lumoVexaLambert\" ( \"color\" .8 .6 .4, \"diffuse\" .5, \"ambientColor\" .25 .25 .25, "
        "\"incandescence\" = \"place\" )";
    for (const std::string& material : kMaterials) {
        SCOPED_TRACE(material);
        SceneText scene = facing({{"beauty_pass", 0},
                                  {"ambient", 3},
                                  {"material", 4},
                                  {"diffuse", 5},
                                  {"irradiance", 10},
                                  {"reflection", 19, 0x81, {0, 0, 0, 0}},
                                  {"incandescence", 22},
                                  {"unshadowed", 34, 0x1}},
                                 mirror(material, "1 .5 .25", ", \"passWriteMode\" 1"), seen);
        scene.elements +=
            "light \"l\" \"lumoVexaDirectionalLight\" ( \"color\" 1 .5 2 ) direction 0 .6 .8 end light\n"
            "instance \"light\" \"l\" end instance\n";
        scene.members += " \"light\"";
        const Picture image = picture(scene.text());
        struct {
            const char* channel;
            double weight, color, light;
            std::function<double(int, int)> shine;
        } const channels[] = {
            {"R", .5, .8, 1, [](int x, int y) { return shade(-place(x, y).x); }},
            {"G", .25, .6, .5, [](int x, int y) { return shade(place(x, y).y); }},
            {"B", .125, .4, 2, [](int, int) { return 0.; }},
        };
        for (const auto& [channel, weight, color, light, shine] : channels) {
            const auto expect = [&, w = weight](const std::string& layer, auto value) {
                expectPixels(image, layer + channel, [&](int x, int y) { return w * value(x, y); });
            };
            const double lit = .8 * .5 * color * light, ambient = .25 * color;
            const auto whole = [&, s = shine](int x, int y) { return lit + ambient + s(x, y); };
            for (const std::string layer : {"", "beauty_pass.", "unshadowed.", "reflection."}) expect(layer, whole);
            expect("diffuse.", [=](int, int) { return lit; });
            expect("ambient.", [=](int, int) { return ambient; });
            expect("irradiance.", [&, l = light](int, int) { return .8 * l; });
            expect("material.", [](int, int) { return 0.; });  // of the surface in front alone
            expect("incandescence.", shine);
        }
    }
}

// Two mirrors that face each other shine 1 and 4, and each halves what it shows: 1 + 4/2 + 1/4 + 4/8 + 1/16. The first
// limit that is reached ends it, with the environment where there is one.
TEST_F(Mirror, LimitsEndReflections) {
    const auto scene = [](int limit, const std::string& depth, const std::string& environment) {
        const auto side = [&](double own) {
            return mirror("lumoVexaBlinn", "1 1 1",
                          fmt::format(", \"incandescence\" {0} {0} {0}, \"reflectionLimit\" {1}", own, limit));
        };
        SceneText text =
            facing({{"beauty_pass", 0}, {"reflection", 19, 0x81, {0, 0, 0, 0}}, {"shine", 22}}, side(1), side(4));
        text.elements += wall("whole", -kSeen, "seen", 1000, kTurned);
        text.members = "\"mirror\" \"whole\"";
        text.options += " trace depth " + depth;
        text.camera += environment;
        return text.text();
    };
    const auto expected = [](int rays, double environment) {
        double sum = 0, weight = 1;
        for (int i = 0; i <= rays; ++i, weight /= 2) sum += weight * (i % 2 ? 4 : 1);
        return sum + weight * environment;
    };
    const auto check = [&](int rays, int limit, const std::string& depth) {
        SCOPED_TRACE(fmt::format("{} rays, limit {}, depth {}", rays, limit, depth));
        const double sky = (rays + limit) % 2 ? 8 : 0;
        const std::string environment =
            sky > 0 ? fmt::format(" environment \"plain_constant\" ( \"color\" {0} {0} {0} 1 )", sky) : "";
        const Picture image = picture(scene(limit, depth, environment));
        expectPixels(image, "R", [&](int, int) { return expected(rays, sky); });
        expectPixels(image, "beauty_pass.R", [&](int, int) { return expected(rays, sky); });
        expectPixels(image, "reflection.R", [&](int, int) { return expected(rays, sky) - 1; });
        expectPixels(image, "shine.R", [&](int, int) { return expected(rays, 0); });
    };
    for (int rays = 0; rays <= 4; ++rays) {
        check(rays, rays, "9 9 9");
        check(rays, rays + 1, fmt::format("{} 9 9", rays));
        check(rays, 9, fmt::format("9 9 {}", rays));
    }
}

// The environment, darker below, is what a mirror shows where nothing else is: by a ray, and when no ray is allowed.
TEST_F(Mirror, ShowsTheEnvironment) {
    for (const int limit : {5, 0}) {
        SceneText scene = passScene({{"beauty_pass", 0}, {"direct", 0, 0x81, {0, 0, 0, 0}}, {"unshadowed", 34, 0x1}});
        scene.camera += " environment \"plain_environment\" ( \"down\" 0 0 0 1, \"up\" 1 1 1 1 )";
        scene.elements =
            group("front", mirror("lumoVexaPhong", "1 1 1", fmt::format(", \"reflectionLimit\" {}", limit))) +
            wall("mirror", -kMirror, "front");
        scene.members = "\"mirror\"";
        const Picture image = picture(scene.text());
        const auto sky = [](int x, int y) { return .5 * (.5 + .5 * eyeRay(x, y).y); };
        for (const std::string layer : {"", "beauty_pass.", "unshadowed."}) expectPixels(image, layer + "R", sky);
        expectPixels(image, "direct.R", [](int, int) { return 0.; });
    }
}

// A picture of the surroundings on the reflected color tints what a ray sees, and stands for it where none is traced.
TEST_F(Mirror, PicturesOnTheReflectedColorServeWithoutRays) {
    const auto scene = [](const char* limit) {
        const std::string front = mirror("lumoVexaPhong", "= \"place\"", limit);
        return facing({{"beauty_pass", 0}}, front, shining(.5)).text();
    };
    // The mirror's own coordinates: x and y of the ray's hit, from -1000 to 1000.
    const auto map = [](int x, int y) { return .5 + meeting(x, y, -kMirror).x / 2000; };
    for (const std::string layer : {"", "beauty_pass."}) {
        expectPixels(picture(scene("")), layer + "R", [&](int x, int y) { return .5 * .5 * map(x, y); });
        expectPixels(picture(scene(", \"reflectionLimit\" 0")), layer + "R",
                     [&](int x, int y) { return .5 * map(x, y); });
    }
}

// Highlights that are seen in a mirror are dimmed by the material that has them.
TEST_F(Mirror, DimsHighlights) {
    const auto scene = [](double scale) {
        SceneText text = facing({{"specular", 7}}, mirror("lumoVexaPhong", "1 1 1"),
                                fmt::format("\"lumoVexaPhong\" ( \"color\" 0 0 0, \"diffuse\" 0, \"cosinePower\" 2, "
                                            "\"specularColor\" 1 1 1, \"secondarySpecularScale\" {} )",
                                            scale));
        text.elements +=
            "light \"l\" \"lumoVexaDirectionalLight\" () direction 0 0 1 end light\ninstance \"light\" \"l\" end "
            "instance\n";
        text.members += " \"light\"";
        return text.text();
    };
    for (const double scale : {1., .25, 0.}) {
        const Picture image = picture(scene(scale));
        // The ray leaves the wall as it came, but for z; the light comes from (0 0 -1).
        const auto highlight = [&](int x, int y) { return .5 * scale * std::pow(eyeRay(x, y).z, 2); };
        expectPixels(image, "R", highlight);
        expectPixels(image, "specular.R", highlight);
    }
}

/// Part of a blurred ray, spread by cosine^power around the mirrored one, that meets the square of this half width.
/// What would go into the mirror comes back out.
double partSeen(int x, int y, double power, double half) {
    constexpr int kSteps = 400;
    const V3 eye = eyeRay(x, y), r = {eye.x, eye.y, -eye.z}, u = unit(cross(r, V3{0, 1, 0})), v = cross(r, u);
    double all = 0, met = 0;
    for (int i = 0; i < kSteps; ++i)
        for (int j = 0; j < kSteps; ++j) {
            const double c = (i + .5) / kSteps, s = std::sqrt(1 - c * c), a = 2 * std::acos(-1.) * (j + .5) / kSteps;
            const V3 d = c * r + (s * std::cos(a)) * u + (s * std::sin(a)) * v;
            const V3 p = meeting(x, y, -kMirror) + ((kMirror + kSeen) / std::abs(d.z)) * V3{d.x, d.y, 0};
            const double weight = std::pow(c, power);
            all += weight;
            if (std::abs(p.x) < half && std::abs(p.y) < half) met += weight;
        }
    return met / all;
}

TEST_F(Mirror, BlurConvergesToTheHighlightsShape) {
    const auto scene = [](int rays) {
        const std::string blur = fmt::format(", \"cosinePower\" 20, \"reflectionBlur\" 1, \"reflectionRays\" {}", rays);
        SceneText text = facing({{"beauty_pass", 0}}, mirror("lumoVexaPhong", "1 1 1", blur), shining(2));
        text.elements += wall("square", -kSeen, "seen", 5, kTurned);
        text.members = "\"mirror\" \"square\"";
        return text.text();
    };
    for (const int rays : {64, 1024}) {
        const Picture image = picture(scene(rays));
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 4; ++x) {
                EXPECT_NEAR(image.at("R", x, y), partSeen(x, y, 20, 5), std::pow(rays, -.75)) << x << " " << y;
                EXPECT_NEAR(image.at("beauty_pass.R", x, y), image.at("R", x, y), 1e-5);
            }
    }
}

}  // namespace
}  // namespace rendertest
