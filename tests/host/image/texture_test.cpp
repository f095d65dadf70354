// Textures from files and from memory.
#include "image_fixture.h"

#include "image/texture.h"

namespace lumorender::test {
namespace {

using namespace std::chrono_literals;

class TextureTest : public ImageTest {
protected:
    std::unique_ptr<Texture> open(const std::string& name, const LayerImage& layer, float gamma = 1) const {
        EXPECT_EQ(write(name, {&layer}, whole(layer)), "");
        std::string error;
        auto texture = openTexture((folder / name).string(), gamma, error);
        EXPECT_TRUE(texture) << error;
        return texture;
    }
    static std::string color(const Texture& texture, float gamma = 1) {
        miColor c = {};
        EXPECT_TRUE(texture.lookup(c, .5f, .5f, false)) << gamma;
        return asText(c);
    }
};

/// What every texture must answer for the 4 x 2 picture with red = x + 10 y, times `scale`.
void expectSmallPicture(const Texture& texture, float scale) {
    ASSERT_EQ(asText(texture.width(), texture.height()), "4 2");
    miColor color;
    const auto expectRed = [&](float u, float v, bool filtered, float expected) {
        EXPECT_TRUE(texture.lookup(color, u, v, filtered));
        EXPECT_NEAR(color.r, expected * scale, 2e-5f * scale) << u << ' ' << v << ' ' << filtered;
    };
    for (int i = 0; i < 16; ++i)
        expectRed((static_cast<float>(i % 4) + 0.5f) / 4, i & 4 ? 0.75f : 0.25f, i & 8,
                  static_cast<float>(i % 4 + (i & 4 ? 10 : 0)));
    // Between four centers: three quarters of the way to the right, one quarter up.
    expectRed((1.5f + 0.75f) / 4, (0.5f + 0.25f) / 2, true, 1.75f + 2.5f);
    // At the left edge the pixels of both sides meet; at the lower edge those of top and bottom.
    expectRed(0, 0.25f, true, 1.5f);
    expectRed(0.125f, 0, true, 5);
    // Repetition, also far away and below zero.
    expectRed(-0.125f, 0.25f, false, 3);
    expectRed(7.625f, -1.25f, false, 12);
    expectRed(1, 1, false, 0);
    // Odd coordinates and footprints give some pixel, not a crash; a tiny footprint is a point.
    for (const float odd : {kNan, kInfinity, 3e38f, -1e-20f})
        for (const bool filtered : {false, true})
            EXPECT_TRUE(texture.lookup(color, odd, odd, filtered) && color.r >= 0);
    EXPECT_TRUE(texture.lookup(color, 0.3f, 0.6f, {kNan, 1e30f, 0, -1e30f}));
    EXPECT_TRUE(texture.lookup(color, 0.375f, 0.25f, {1e-4f, 0, 0, 1e-4f}));
    EXPECT_NEAR(color.r, scale, 0.01f * scale);
    for (const float u : {0.525f, 0.6f, 0.74f}) {  // the nearest pixel where none are mixed
        EXPECT_TRUE(texture.lookup(color, u, 0.3f, {1e-3f, 0, 0, 1e-3f, false}));
        EXPECT_NEAR(color.r, 2 * scale, 2e-5f * scale);
    }
}

TEST_F(TextureTest, FilesAndMemoryAnswerAlike) {
    const auto red = [](int x, int y, int) { return (x + 10 * y) / 255.0; };
    expectSmallPicture(*open("small.png", makeLayer("", miIMG_TYPE_RGB, 4, 2, red)), 1 / 255.0f);
    expectSmallPicture(*open("small.exr", makeLayer("", miIMG_TYPE_RGB_FP, 4, 2, red)), 1 / 255.0f);
    expectSmallPicture(*memoryTexture({0, 1, 2, 3, 10, 11, 12, 13}, 4, 2, 1), 1);
}

TEST_F(TextureTest, FootprintsAverage) {
    // Rows of single pixels, black and white, and a slope from left to right.
    const LayerImage layer = makeLayer("", miIMG_TYPE_RGB_FP, 256, 128,
                                       [](int x, int y, int c) { return c == 0 ? (y % 2) : (x + 0.5) / 256; });
    const auto file = open("rows.exr", layer), memory = memoryTexture(layer.pixels, 256, 128, 3);
    miColor color;
    for (const Texture* texture : {file.get(), memory.get()})
        for (const float u : {0.25f, 0.5f, 0.7f}) {
            ASSERT_TRUE(texture->lookup(color, u, 0.3f, {1 / 16.0f, 0, 0, 1 / 8.0f}));
            EXPECT_NEAR(color.r, 0.5f, 0.01f);
            EXPECT_NEAR(color.g, u, 0.01f);
        }
    // Seen at a grazing angle the file's rows stay apart: the footprint is long across the columns only.
    ASSERT_TRUE(file->lookup(color, 0.5f, 10.5f / 128, {16 / 256.0f, 0, 0, 0.25f / 128}));
    EXPECT_LT(color.r, 0.25f);
    // In memory: half way between the pixels themselves and the mean of each two, 2 to the .5 pixels wide.
    const auto pair = memoryTexture({0, 4, 8, 12}, 4, 1, 1);
    ASSERT_TRUE(pair->lookup(color, 0.375f, 0.5f, {std::sqrt(2.0f) / 4, 0, 0, 0, false}));
    EXPECT_NEAR(color.r, (4 + 2) / 2.0, 1e-5);
}

// The half axes of the circle's image under ((4, 3), (4, -3)) have the lengths 4 sqrt(2) and 3 sqrt(2): it is the circle
// with (u, v) = (8, 0) sqrt(1/2) and (0, 6) sqrt(1/2) turned by 45 degrees.
TEST(Footprints, HaveALimitedLength) {
    // The ellipse is known by the sums of products of its half axes, however these are turned.
    const auto text = [](const Footprint& given, int width, int height, float eccentricity, float factor) {
        const Footprint f = limitedFootprint(given, width, height, eccentricity, factor);
        const float sums[] = {f.dudx * f.dudx + f.dudy * f.dudy, f.dudx * f.dvdx + f.dudy * f.dvdy,
                              f.dvdx * f.dvdx + f.dvdy * f.dvdy};
        return fmt::format("{:.3f} {:.3f} {:.3f}", sums[0], sums[1] + 1e-4, sums[2]);
    };
    const Footprint skewed{4, 3, 4, -3};
    EXPECT_EQ(text(skewed, 1, 1, 0, 1), "32.000 0.000 18.000");
    EXPECT_EQ(text(skewed, 1, 1, 2, 3), "288.000 0.000 162.000");
    EXPECT_EQ(text(skewed, 1, 1, 1, 1), "32.000 0.000 32.000");
    // In pixels of a texture of 2 x 8 it is (8, 24), (8, -24): v is the longer one, 3 times as long as u.
    EXPECT_EQ(text(skewed, 2, 8, 1.5f, 1), "128.000 0.000 18.000");
    EXPECT_EQ(text({6, 8, 0, 0}, 1, 1, 5, 1), "38.560 46.080 65.440");  // a line gets 10 / 5 wide
    EXPECT_EQ(text({0, 0, 0, 0}, 4, 4, 1, 1), "0.000 0.000 0.000");
}

TEST_F(TextureTest, ComponentsBecomeColorsAndGammaLinearisesIntegers) {
    EXPECT_EQ(color(*open("s.tif", row(miIMG_TYPE_S_FP, {.1f}))), "0.1 0.1 0.1 1");
    EXPECT_EQ(color(*open("c.tif", row(miIMG_TYPE_RGB_FP, {.1f, .2f, .3f}))), "0.1 0.2 0.3 1");
    EXPECT_EQ(color(*open("a.exr", row(miIMG_TYPE_RGBA_FP, {.1f, .2f, .3f, .5f}))), "0.1 0.2 0.3 0.5");
    EXPECT_EQ(color(*memoryTexture({.1f, .2f}, 1, 1, 2)), "0.1 0.1 0.1 0.2");
    // A picture whose alpha is straight gives the colors that are in the file.
    EXPECT_EQ(color(*open("p.png", row(miIMG_TYPE_RGBA, {.1f, .2f, .3f, .5f}))), "0.2 0.4 0.6 0.50196");
    EXPECT_EQ(color(*open("g.png", row(miIMG_TYPE_RGBA, {.2f, .4f, .6f, 1}), 2)), "0.04 0.16 0.36 1");
    EXPECT_EQ(color(*open("g.exr", row(miIMG_TYPE_RGB_FP, {.5f, .25f, .5f}), 2)), "0.5 0.25 0.5 1");
    EXPECT_EQ(memoryTexture({1, 2, 3}, 2, 1, 1), nullptr);
    EXPECT_EQ(memoryTexture({}, 0, 0, 1), nullptr);
}

TEST_F(TextureTest, SaysWhyAFileCannotBeReadAndSeesThatItChanged) {
    std::ofstream(folder / "text.png") << "this is no picture";
    std::ofstream(folder / "empty.tif");
    const LayerImage noise =
        makeLayer("", miIMG_TYPE_RGB, 64, 64, [](int x, int y, int c) { return (x * y * (c + 7)) % 97 / 97.0; });
    for (const char* name : {"cut.tga", "cut.exr"}) {
        ASSERT_EQ(write(name, {&noise}, whole(noise)), "");
        fs::resize_file(folder / name, fs::file_size(folder / name) / 2);
    }
    for (const auto& [name, reason] : {std::pair{"missing.exr", "does not exist"},
                                       {"", "folder"},
                                       {"text.png", ""},
                                       {"empty.tif", "empty"},
                                       {"cut.tga", ""},
                                       {"cut.exr", ""}}) {
        std::string error;
        EXPECT_EQ(openTexture((folder / name).string(), 1, error), nullptr) << name;
        expectParts(error, {name, reason});
        EXPECT_GT(error.size(), folder.string().size() + 25) << error;
    }
    EXPECT_EQ(color(*open("change.png", row(miIMG_TYPE_RGB, {.2f, .4f, .6f}))), "0.2 0.4 0.6 1");
    EXPECT_EQ(write("change.png", {&noise}, whole(noise)), "");
    fs::last_write_time(folder / "change.png", fs::last_write_time(folder / "change.png") + 5s);
    std::string error;
    EXPECT_EQ(openTexture((folder / "change.png").string(), 1, error)->width(), 64);
}

}  // namespace
}  // namespace lumorender::test
