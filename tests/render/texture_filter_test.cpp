// Textures over the footprints of pixels: what the scene, a call or a record of a call asks for.
#include "pixels.h"
#include "scene_text.h"

#include <fmt/format.h>

#include <algorithm>

namespace rendertest {
namespace {

constexpr int kPixels = 16;

/// A wall that fills the picture with some texels per pixel. `filter` is what stands before the texture.
struct Wall : SceneText {
    Wall(const std::string& filter, double texels, const std::string& material = {}, double aperture = 2) {
        camera = fmt::format("resolution {0} {0} aperture {1}", kPixels, aperture);
        elements = filter + " color texture \"image\" \"pattern.ppm\"\n";
        elements += material.empty() ? "shader \"look\" \"example_texture\" ( \"tex\" \"image\" )\n"
                                       "material \"m\" \"plain_constant\" ( \"color\" = \"look\" ) end material\n"
                                     : "material \"m\" \"plain_texture_filter\" ( \"tex\" \"image\", " + material +
                                           " ) end material\n";
        // So wide is a pixel there. The odd shift keeps pixels away from the texels' middles and edges.
        const double pixel = 5 * aperture / kPixels;
        elements += wall("surface", -5, "m", 128 * pixel / texels, "transform " + moved({-.137, -.071, 0}).text());
        members = "\"surface\"";
    }
    /// What eyes see instead: another surface, and the wall at this place or where it is.
    Wall& behind(const std::string& surface, double z, const std::string& place) {
        elements += "material \"before_m\" " + surface + " end material\n" + wall("before", z, "before_m") +
                    "instance \"there\" \"surface_object\" material \"m\" transform " + place + " end instance\n";
        members = "\"before\" \"there\"";
        return *this;
    }
};

class TextureFilter : public RenderTest {
protected:
    /// Pixels of one texel each, black and white: as a checkerboard, or as rows that lie across.
    void writePattern(bool rows = false) {
        std::string pixels = "P6\n256 256\n255\n";
        for (int y = 0; y < 256; ++y)
            for (int x = 0; x < 256; ++x) pixels.append(3, (rows ? y : x + y) % 2 ? '\xff' : '\0');
        write("pattern.ppm", pixels);
    }
    std::vector<float> values(const SceneText& scene) { return picture(scene.text()).channels().at("R").values; }

    double contrast(const SceneText& scene) {
        const std::vector<float> all = values(scene);
        return *std::max_element(all.begin(), all.end()) - *std::min_element(all.begin(), all.end());
    }
    void expectMean(const SceneText& scene) {
        for (const float value : values(scene)) ASSERT_NEAR(value, .5, .01);
    }
    void expectAlike(const SceneText& scene, const std::vector<float>& expected, float tolerance) {
        const std::vector<float> all = values(scene);
        for (std::size_t i = 0; i < expected.size(); ++i) ASSERT_NEAR(all.at(i), expected[i], tolerance) << i;
    }
};

// Where a pixel is about as wide as a texel, how much is left of the contrast tells how large the footprint is.
TEST_F(TextureFilter, TurnsSmallPatternsIntoTheirMeanAlongTheRay) {
    writePattern();
    expectMean(Wall("filter", 7.3));
    EXPECT_GT(contrast(Wall("", 7.3)), .8);
    // The scale counts pixels: next to nothing is a point, and eight are enough where one is not.
    expectAlike(Wall("filter .001", 7.3), values(Wall("", 7.3)), .01F);
    EXPECT_GT(contrast(Wall("filter", .7)), .3);
    expectMean(Wall("filter 8", .7));

    const auto near = [] { return Wall("filter", .8, "", .2); };  // rays near the axis
    const std::vector<float> direct = values(near());
    EXPECT_GT(contrast(near()), .2);
    EXPECT_LT(contrast(near()), .98);
    const std::string here = moved({-.137, -.071, 0}).text();
    expectAlike(near().behind("\"plain_rays\" ( \"mode\" 0 )", -2, here), direct, 1e-3F);
    expectAlike(near().behind("\"plain_rays\" ( \"mode\" 3 )", -2, here), direct, 1e-3F);
    // The wall behind the camera at 3, seen in a mirror at -1: five units away as before, and turned over.
    const Placing back = scaled({1, 1, -1}).then(moved({.137, .071, -2}));
    expectAlike(near().behind("\"plain_rays\" ( \"mode\" 1 )", -1, back.inverse().text()), direct, .02F);
}

TEST_F(TextureFilter, HonoursTheRecordOfACall) {
    writePattern();
    const std::vector<float> filtered = values(Wall("filter", .6));
    expectAlike(Wall("", .6, "\"radius\" .0005"), values(Wall("", .6)), .01F);
    // The matrix and the ray tell the same size of a pixel, which is the usual radius, with and without a record.
    for (const std::string record : {"\"radius\" .5", "\"radius\" 0", "\"norecord\" on"})
        expectAlike(Wall("", .6, record), filtered, .01F);
    expectMean(Wall("", .6, "\"radius\" 6"));
    expectMean(Wall("", .6, "\"radius\" .5, \"max_minor\" .05"));
    for (const float value : values(Wall("", .6, "\"radius\" .01, \"bilinear\" off")))
        ASSERT_TRUE(value == 0 || value == 1) << value;

    // A wall that is seen from the side has footprints that are much longer than wide: 70 degrees from the axis a pixel
    // covers 1 / cos 70 / .5 = 5.8 texels in u, and a third of one in v. Rows along them stay apart, until the record
    // says that footprints have to be round.
    writePattern(true);
    const Placing slanted = moved({0, 0, 5}).then(scaled({.5, 3, 1})).then(turned({0, 1, 0}, 70));
    const std::string place = slanted.then(moved({0, .07, -5})).inverse().text();
    const auto contrastWith = [&](const std::string& record) {
        Wall scene("", 1, record, .2);
        scene.behind("\"plain_constant\" ()", 5, place);
        return contrast(scene);
    };
    EXPECT_GT(contrastWith("\"eccmax\" 40"), .5);
    EXPECT_LT(contrastWith("\"eccmax\" 1"), .05);
}

}  // namespace
}  // namespace rendertest
