// Textures over the footprints of pixels: what the scene, a call or a record of a call asks for.
#include "harness.h"
#include "pixels.h"
#include "scene_text.h"

#include <algorithm>

namespace rendertest {
namespace {

constexpr int kPixels = 16;

class TextureFilter : public RenderTest {
protected:
    /// Pixels of one texel each, black and white: as a checkerboard, or as rows that lie across.
    void writePattern(bool rows = false) {
        constexpr int kSize = 256;
        std::string pixels = fmt::format("P6\n{0} {0}\n255\n", kSize);
        for (int y = 0; y < kSize; ++y)
            for (int x = 0; x < kSize; ++x) pixels.append(3, (rows ? y : x + y) % 2 ? '\xff' : '\0');
        write("pattern.ppm", pixels);
    }

    /// A wall that fills the picture with some texels per pixel. `filter` is what stands before the texture.
    static SceneText wallScene(const std::string& filter, double texelsPerPixel, const std::string& material = {},
                               double aperture = 2) {
        SceneText scene;
        scene.before = "link \"plain_texture_filter.so\"\n$include <plain_texture_filter.mi>\n";
        scene.options = "samples 0 0";
        scene.camera = fmt::format("resolution {0} {0} aperture {1}", kPixels, aperture);
        scene.elements = filter + " color texture \"image\" \"pattern.ppm\"\n";
        scene.elements += material.empty() ? "shader \"look\" \"plain_texture\" ( \"tex\" \"image\" )\n"
                                             "material \"m\" \"plain_constant\" ( \"color\" = \"look\" ) end material\n"
                                           : "material \"m\" \"plain_texture_filter\" ( \"tex\" \"image\", " +
                                                 material + " ) end material\n";
        // So wide is a pixel there. The odd shift keeps pixels away from the texels' middles and edges.
        const double pixel = 5 * aperture / kPixels, half = 128 * pixel / texelsPerPixel;
        scene.elements += wall("surface", -5, "m", half, "transform " + moved({-.137, -.071, 0}).text());
        scene.members = "\"surface\"";
        return scene;
    }

    std::vector<float> values(const SceneText& scene) { return picture(scene.text()).channels().at("R").values; }

    static double contrast(const std::vector<float>& values) {
        const auto [least, most] = std::minmax_element(values.begin(), values.end());
        return *most - *least;
    }

    static void expectAlike(const std::vector<float>& a, const std::vector<float>& b, float tolerance,
                            const std::string& what) {
        ASSERT_EQ(a.size(), b.size());
        for (std::size_t i = 0; i < a.size(); ++i) ASSERT_NEAR(a[i], b[i], tolerance) << what << " " << i;
    }
};

TEST_F(TextureFilter, TurnsSmallPatternsIntoTheirMean) {
    writePattern();
    for (const float value : values(wallScene("filter", 7.3))) ASSERT_NEAR(value, .5, .01);
    const std::vector<float> points = values(wallScene("", 7.3));
    EXPECT_GT(contrast(points), .8);
    // The scale counts pixels: next to nothing is a point, and eight are enough where one is not.
    expectAlike(values(wallScene("filter .001", 7.3)), points, .01F, "a small scale");
    EXPECT_GT(contrast(values(wallScene("filter", .7))), .3);
    for (const float value : values(wallScene("filter 8", .7))) ASSERT_NEAR(value, .5, .01);
}

// Where a pixel is about as wide as a texel, how much is left of the contrast tells how large the footprint is.
TEST_F(TextureFilter, FollowsTheRayThroughMirrorsAndPanes) {
    writePattern();
    const auto scene = [] { return wallScene("filter", .8, "", .2); };  // rays near the axis
    const std::vector<float> direct = values(scene());
    EXPECT_GT(contrast(direct), .2);
    EXPECT_LT(contrast(direct), .98);
    for (const std::string mode : {"0", "3"}) {
        SceneText pane = scene();
        pane.elements +=
            "material \"pane\" \"plain_rays\" ( \"mode\" " + mode + " ) end material\n" + wall("before", -2, "pane");
        pane.members += " \"before\"";
        expectAlike(values(pane), direct, 1e-3F, "mode " + mode);
    }
    // The wall behind the camera at 3, seen in a mirror at -1: five units away as before, and turned over.
    SceneText mirrored = scene();
    mirrored.elements += "material \"mirror\" \"plain_rays\" ( \"mode\" 1 ) end material\n" +
                         wall("before", -1, "mirror") +
                         "instance \"back\" \"surface_object\" material \"m\" transform " +
                         scaled({1, 1, -1}).then(moved({.137, .071, -2})).inverse().text() + " end instance\n";
    mirrored.members = "\"before\" \"back\"";
    expectAlike(values(mirrored), direct, .02F, "mirror");
}

TEST_F(TextureFilter, HonoursTheRecordOfACall) {
    writePattern();
    const std::vector<float> points = values(wallScene("", .6)), filtered = values(wallScene("filter", .6));
    expectAlike(values(wallScene("", .6, "\"radius\" .0005")), points, .01F, "a point");
    // The matrix and the ray tell the same size of a pixel.
    expectAlike(values(wallScene("", .6, "\"radius\" .5")), filtered, .01F, "a pixel");
    expectAlike(values(wallScene("", .6, "\"radius\" 0")), filtered, .01F, "the usual radius");
    expectAlike(values(wallScene("", .6, "\"norecord\" on")), filtered, .01F, "no record");
    for (const float value : values(wallScene("", .6, "\"radius\" 6"))) ASSERT_NEAR(value, .5, .01);
    for (const float value : values(wallScene("", .6, "\"radius\" .5, \"max_minor\" .05"))) ASSERT_NEAR(value, .5, .01);
    for (const float value : values(wallScene("", .6, "\"radius\" .01, \"bilinear\" off")))
        ASSERT_TRUE(value == 0 || value == 1) << value;
}

// A wall that is seen from the side has footprints that are much longer than wide. Rows along them stay apart, until
// the record says that footprints have to be round.
TEST_F(TextureFilter, KeepsWhatLiesAcrossLongFootprints) {
    writePattern(true);
    const auto scene = [](const std::string& record) {
        SceneText text = wallScene("", 1, record, .2);
        // 70 degrees from the axis a pixel covers 1 / cos 70 / .5 = 5.8 texels in u, and a third of one in v.
        text.elements += "instance \"slanted\" \"surface_object\" material \"m\" transform " +
                         moved({0, 0, 5})
                             .then(scaled({.5, 3, 1}))
                             .then(turned({0, 1, 0}, 70))
                             .then(moved({0, .07, -5}))
                             .inverse()
                             .text() +
                         " end instance\n";
        text.members = "\"slanted\"";
        return text;
    };
    EXPECT_GT(contrast(values(scene("\"eccmax\" 40"))), .5);
    EXPECT_LT(contrast(values(scene("\"eccmax\" 1"))), .05);
}

}  // namespace
}  // namespace rendertest
