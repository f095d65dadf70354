// Ambient occlusion, as the renderer's function answers it and as the pass shader shows it, against closed forms.
#include "harness.h"
#include "occlusion_scene.h"
#include "pixels.h"

#include <set>

namespace rendertest {
namespace {

class AmbientOcclusion : public RenderTest {
protected:
    /// Every pixel comes within the relative tolerance.
    void expectHidden(const SceneText& scene, double expected, double tolerance = .01) {
        const std::vector<float> values = picture(scene.text()).channels().at("R").values;
        ASSERT_EQ(values.size(), 64U);
        for (const float value : values) ASSERT_NEAR(value, expected, tolerance * expected);
    }
};

// The disc's share of the hemisphere, weighted by the cosine, is sin^2 of the half angle under which it is seen.
TEST_F(AmbientOcclusion, UnderADisc) {
    for (const double radius : {.75, 2.0}) {
        SceneText scene = floorScene("");
        addDisc(scene, radius);
        expectHidden(scene, radius * radius / (radius * radius + kHeight * kHeight));
    }
}

// A large wall at a right angle hides half, however far it is. What is left is a quarter of the sphere, the mean of
// whose directions, weighted by the cosine, is (integral of x z, 0, integral of z z) = (2/3, 0, pi/3).
TEST_F(AmbientOcclusion, BesideAWall) {
    for (const double distance : {.01, 3.0}) {
        SceneText scene = floorScene("");
        addWall(scene, distance);
        expectHidden(scene, .5);
        const Picture image = picture(scene.text());
        const V3 bent = meanBent(image), expected = unit({2. / 3, 0, kPi / 3});
        EXPECT_NEAR(bent.x, expected.x, .002);
        EXPECT_NEAR(bent.y, 0, .002);
        EXPECT_NEAR(bent.z, expected.z, .002);
        // Every pixel has rays of its own.
        const std::vector<float>& across = image.channels().at("B").values;
        EXPECT_GT(std::set<float>(across.begin(), across.end()).size(), 32U);
    }
}

TEST_F(AmbientOcclusion, OfWhatIsOpenOrClosed) {
    const Picture open = picture(floorScene("").text());
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x) {
            EXPECT_EQ(open.at("R", x, y), 0);
            EXPECT_NEAR(open.at("A", x, y), 1, 1e-4);  // up
        }
    SceneText closed = floorScene(", \"axis\" 0 .6 .8");
    addCeiling(closed);
    const Picture image = picture(closed.text());
    EXPECT_EQ(image.at("R", 3, 3), 1);
    EXPECT_FLOAT_EQ(image.at("B", 3, 3), .6F);  // the axis where nothing is open
    EXPECT_FLOAT_EQ(image.at("A", 3, 3), .8F);
}

// A ceiling at height h is met at distance h / c by rays with cosine c, whose density is 2 c. Up to a distance D it
// hides 1 - k^2 where k = h / D; with a linear falloff the integral of 2 c (1 - k / c) over c from k to 1, (1 - k)^2;
// with power 2 that of 2 c (1 - k / c)^2 = 1 - 4 k + 3 k^2 - 2 k^2 ln k. Down to a distance d > h it hides (h / d)^2.
TEST_F(AmbientOcclusion, FadesWithTheDistance) {
    const double h = kHeight, k = h / 2.5;
    const std::pair<std::string, double> cases[] = {
        {"\"maxdist\" 2.5, \"falloff\" 0", 1 - k * k},
        {"\"maxdist\" 2.5", (1 - k) * (1 - k)},
        {"\"maxdist\" 2.5, \"falloff\" 2", 1 - 4 * k + 3 * k * k - 2 * k * k * std::log(k)},
        {"\"mindist\" 2", h * h / 4},
        {"\"mindist\" 2, \"maxdist\" 2.5, \"falloff\" 0", h * h / 4 - k * k},
        {"\"maxdist\" 1", 0}};
    for (const auto& [settings, expected] : cases) {
        SCOPED_TRACE(settings);
        SceneText scene = floorScene(", " + settings);
        addCeiling(scene);
        expectHidden(scene, expected);
    }
}

// Density proportional to c^n inside the cone around (s, 0, c0). Rays that a wall at x = 0 hides are those with x < 0.
TEST_F(AmbientOcclusion, LooksIntoACone) {
    // A cone of half angle 60 degrees around the normal: the share of the cosine's integral outside the cone in which
    // the disc is seen (cosine q): (q^(n + 1) - c^(n + 1)) / (1 - c^(n + 1)) is open.
    const double q = kHeight / std::hypot(kHeight, 2.0), c = .5;
    for (const int n : {0, 1, 4}) {
        SceneText scene = floorScene(fmt::format(", \"spread\" .5, \"exponent\" {}", n));
        addDisc(scene, 2);
        expectHidden(scene, (1 - std::pow(q, n + 1)) / (1 - std::pow(c, n + 1)));
    }
    // A cone that is narrower than its axis is tilted misses a wall at the other side, and meets one at its own.
    SceneText away = floorScene(", \"spread\" .8, \"axis\" 1 0 1");
    addWall(away, 2);
    expectHidden(away, 0);
    SceneText towards = floorScene(", \"spread\" .8, \"axis\" -1 0 1");
    addWall(towards, 2);
    expectHidden(towards, 1);
    // Directions behind the floor do not count: half of this hemisphere, and no occlusion by the floor itself.
    expectHidden(floorScene(", \"axis\" 1 0 0.001"), 0);
}

TEST_F(AmbientOcclusion, CountsWhatCarriesTheFlags) {
    const auto hidden = [&](const std::string& settings, const std::string& ceiling, const std::string& options = {}) {
        SceneText scene = floorScene(settings, options);
        addCeiling(scene, ceiling);
        return picture(scene.text()).at("R", 4, 4);
    };
    EXPECT_EQ(hidden("", "visible off"), 1);
    EXPECT_EQ(hidden("", "visible off shadow off"), 0);
    EXPECT_EQ(hidden(", \"flags\" 8", "visible off shadow off"), 1);  // is seen in reflections
    EXPECT_EQ(hidden(", \"flags\" 8", "visible off reflection off"), 0);
    EXPECT_EQ(hidden(", \"flags\" 10", "visible off shadow off"), 1);  // one of two is enough
    EXPECT_EQ(hidden(", \"flags\" 0", "visible off"), 0);
    EXPECT_EQ(hidden("", "visible off", "trace off"), 0);
    EXPECT_EQ(hidden("", "visible off face front"), 0);  // it turns its back to the floor
}

TEST_F(AmbientOcclusion, FollowsTheOptionsOfTheScene) {
    const auto values = [&](const std::string& settings, const std::string& options) {
        SceneText scene = floorScene(settings, options);
        addDisc(scene, 2);
        return picture(scene.text()).channels().at("R").values;
    };
    const std::string own = ", \"rays\" -1";
    EXPECT_EQ(values(own, "\"ambient occlusion\" off")[0], 0);
    // With four rays all values are quarters.
    for (const float value : values(own, "\"ambient occlusion rays\" 4")) EXPECT_EQ(value * 4, std::floor(value * 4));
    EXPECT_EQ(values(own, ""), values(", \"rays\" 256", "\"ambient occlusion rays\" 4"));
    EXPECT_EQ(values("", "\"ambient occlusion max distance\" 1")[0], 0);
    EXPECT_GT(values(", \"maxdist\" 100", "\"ambient occlusion max distance\" 1")[0], 0);
    EXPECT_EQ(values(", \"maxdist\" 3", "\"ambient occlusion falloff\" 0"),
              values(", \"maxdist\" 3, \"falloff\" 0", ""));
    EXPECT_EQ(values("", "\"ambient occlusion min distance\" 10")[0], 0);
    // No record, and one that ends behind the number of rays.
    EXPECT_EQ(values(", \"recordsize\" -1", ""), values(own, ""));
    EXPECT_EQ(values(", \"recordsize\" 8, \"maxdist\" 1", ""), values("", ""));
}

TEST_F(AmbientOcclusion, DoesNotDependOnThreads) {
    SceneText scene = floorScene(", \"rays\" 16");
    scene.options = "samples 1 1";
    scene.camera = "aperture 2 resolution 40 40";
    addDisc(scene, 2);
    addWall(scene, 1);
    const Picture one = picture(scene.text(), {"-threads", "1"});
    expectSameBits(one, picture(scene.text(), {"-threads", "4", "-task_size", "7"}), "four threads");
}

// Samples of a pixel share one sequence: 16 samples of 64 rays are as good as 1024. Random rays would have a standard
// deviation of sqrt(.64 * .36 / 1024) = .015.
TEST_F(AmbientOcclusion, SharesItsRaysBetweenSamples) {
    SceneText scene = floorScene(", \"rays\" 64");
    scene.options = "samples 2 2";
    addDisc(scene, 2);
    expectHidden(scene, .64, .004);
}

/// The pass of a floor in a turned world, beside a wall that hides half, at the left in the picture.
class OcclusionPass : public RenderTest {
protected:
    static Placing cameraPlace() { return turned({1, 2, -1}, 40).then(moved({3, 1, 2})); }
    static Placing floorPlace() { return scaled({2, .5, 1}).then(turned({0, 0, 1}, 70)).then(cameraPlace()); }
    /// Of the directions that the wall leaves open, in camera space.
    static V3 bent() { return unit({2. / 3, 0, kPi / 3}); }

    Picture pass(const std::string& settings, const std::string& before = {}) {
        SceneText scene;
        scene.before = libraryPrelude() +
                       "data \"fbuf\" \"FrameBufferData\" ( \"magic\" 1178760550, \"passNames\" [ \"open\" ], "
                       "\"frameBufferInfo\" [], \"FrameBufferTypeCounts\" [0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,"
                       "0,0,0,0,0,0,0,0,0,0,0,0,0,0] )\n";
        scene.options =
            "samples 0 0 \"ambient occlusion rays\" 1024 state [ \"vexabase\" (), \"lumoFrameBufferState\" () ]";
        scene.buffers += "\nframebuffer \"open\" datatype \"rgba_fp\" user on filename \"out.exr\" filetype \"exr\"";
        scene.camera = "data \"fbuf\" aperture .001 environment \"plain_constant\" ( \"color\" .25 .5 2 1 )";
        scene.cameraPlace = "transform " + cameraPlace().inverse().text();
        scene.elements =
            "material \"m\" \"plain_constant\" ( \"color\" 1 1 1 1 ) \"lumoPassAmbientOcclusion\" ( \"pass\" 0 " +
            settings +
            " ) end material\n"
            "material \"pane\" \"plain_rays\" ( \"mode\" 0 ) end material\n"
            "material \"nothing\" \"plain_rays\" ( \"mode\" 3 ) end material\n" +
            constantMaterial("black", "0 0 0 1");
        place(scene, "floor", -5, "m", floorPlace());
        place(scene, "side", -1, "black", turned({0, 1, 0}, 90).then(cameraPlace()));
        if (!before.empty()) place(scene, "before", -2, before, cameraPlace(), "shadow off");
        return picture(scene.text());
    }

    void expectMean(const Picture& image, double r, double g, double b, double a, double tolerance = .005) {
        const std::pair<std::string, double> channels[] = {{"open.R", r}, {"open.G", g}, {"open.B", b}, {"open.A", a}};
        for (const auto& [name, expected] : channels) {
            double sum = 0;
            for (const float value : image.channels().at(name).values) sum += value;
            EXPECT_NEAR(sum / 16, expected, tolerance) << name;
        }
    }

    void expectNormal(const Picture& image, V3 n) {
        expectMean(image, (n.x + 1) / 2, (n.y + 1) / 2, (n.z + 1) / 2, 1, .002);
    }

private:
    static void place(SceneText& scene, const std::string& name, double z, const std::string& material,
                      const Placing& at, const std::string& more = {}) {
        scene.elements += wall(name, z, material, 10000, more + " transform " + at.inverse().text());
        scene.members += " \"" + name + "\"";
    }
};

TEST_F(OcclusionPass, ShowsHowOpenPlacesAre) {
    expectMean(pass(""), .5, .5, .5, 1);
    const std::string own = ", \"customSettings\" 1, \"bright\" .8 .4 .2, \"dark\" .1 .2 1";
    expectMean(pass(own), .45, .3, .6, 1);
    expectMean(pass(own + ", \"alpha\" 1"), .45, .3, .6, .5);
    // Half of the surroundings, tinted: .25 * .8 * .5 + .1, .5 * .4 * .5 + .2, 2 * .2 * .5 + 1.
    expectMean(pass(own + ", \"output\" 1"), .2, .3, 1.2, 1);
    // The wall is one unit away. Up to a distance D the wall's half hides what comes as near: with D = 0.5 nothing.
    expectMean(pass(own + ", \"maximumDistance\" .5"), .8, .4, .2, 1, 1e-6);
}

TEST_F(OcclusionPass, ShowsTheBentNormal) {
    const std::string output = ", \"customSettings\" 1, \"output\" ";
    expectNormal(pass(output + "2"), cameraPlace().vector(bent()));
    expectNormal(pass(output + "3"), bent());
    expectNormal(pass(output + "4"), unit(floorPlace().inverse().normal(cameraPlace().vector(bent()))));
    // The mirror direction of a ray that falls straight down is the normal.
    expectNormal(pass(", \"customSettings\" 1, \"reflective\" 1, \"output\" 3"), bent());
}

// What is seen through a transparent surface is not written, but for eye rays that go on as if nothing were there.
TEST_F(OcclusionPass, LeavesWhatIsBehindTransparentSurfacesAlone) {
    const Picture through = pass("", "pane");
    EXPECT_EQ(through.at("R", 1, 1), 1);
    expectMean(through, 0, 0, 0, 0, 0);
    expectMean(pass("", "nothing"), .5, .5, .5, 1);
}

}  // namespace
}  // namespace rendertest
