#include "image_fixture.h"

#include "image/texture.h"

#include <atomic>
#include <cmath>
#include <limits>
#include <thread>

namespace lumorender::test {
namespace {

using namespace std::chrono_literals;

class TextureTest : public ImageTest {
protected:
    /// 4 x 2 pixels with red = (x + 10 y) / 255 and green = 1 - red, y from the bottom.
    fs::path writeSmall(const std::string& name, miImg_type type = miIMG_TYPE_RGB) const {
        const LayerImage layer = makeLayer("", type, 4, 2, [](int x, int y, int c) {
            const double red = (x + 10 * y) / 255.0;
            return c == 0 ? red : c == 1 ? 1 - red : 0.5;
        });
        EXPECT_EQ(write(name, {&layer}, whole(4, 2)), "");
        return folder / name;
    }

    static std::unique_ptr<Texture> open(const fs::path& path, float gamma = 1) {
        std::string error;
        auto texture = openTexture(path.string(), gamma, error);
        EXPECT_TRUE(texture) << error;
        return texture;
    }
};

float red(const Texture& texture, float u, float v, bool filtered) {
    miColor color;
    EXPECT_TRUE(texture.lookup(color, u, v, filtered));
    return color.r;
}

/// What every texture must answer for the 4 x 2 picture with red = x + 10 y, times `scale`.
void expectSmallPicture(const Texture& texture, float scale) {
    ASSERT_EQ(texture.width(), 4);
    ASSERT_EQ(texture.height(), 2);
    const auto expectRed = [&](float u, float v, bool filtered, float expected) {
        EXPECT_NEAR(red(texture, u, v, filtered), expected * scale, 2e-5f * scale) << u << ' ' << v << ' ' << filtered;
    };
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 4; ++x)
            for (const bool filtered : {false, true})
                expectRed((static_cast<float>(x) + 0.5f) / 4, (static_cast<float>(y) + 0.5f) / 2, filtered,
                          static_cast<float>(x + 10 * y));

    // Between four centers: three quarters of the way to the right, one quarter up.
    expectRed((1.5f + 0.75f) / 4, (0.5f + 0.25f) / 2, true, 1.75f + 2.5f);
    // At the left edge the pixels of both sides meet; at the lower edge those of top and bottom.
    expectRed(0, 0.25f, true, 1.5f);
    expectRed(0.125f, 0, true, 5);
    // Repetition, also far away and below zero.
    expectRed(-0.125f, 0.25f, false, 3);
    expectRed(7.625f, -1.25f, false, 12);
    expectRed(1, 1, false, 0);
    // Odd coordinates give some pixel, not a crash.
    for (const float odd :
         {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(), 3e38f, -1e-20f})
        for (const bool filtered : {false, true}) EXPECT_GE(red(texture, odd, odd, filtered), 0);

    // A tiny footprint is a point; an odd one does no harm.
    miColor color;
    ASSERT_TRUE(texture.lookup(color, 0.375f, 0.25f, {1e-4f, 0, 0, 1e-4f}));
    EXPECT_NEAR(color.r, scale, 0.01f * scale);
    EXPECT_TRUE(texture.lookup(color, 0.3f, 0.6f, {std::numeric_limits<float>::quiet_NaN(), 1e30f, 0, -1e30f}));
}

TEST_F(TextureTest, FileAndMemoryTexturesAnswerAlike) {
    expectSmallPicture(*open(writeSmall("small.png")), 1 / 255.0f);
    expectSmallPicture(*open(writeSmall("small.exr", miIMG_TYPE_RGB_FP)), 1 / 255.0f);
    expectSmallPicture(*memoryTexture({0, 1, 2, 3, 10, 11, 12, 13}, 4, 2, 1), 1);
}

TEST_F(TextureTest, FootprintsAverage) {
    // Rows of single pixels, black and white, and a slope from left to right.
    const auto value = [](int x, int y, int c) { return c == 0 ? (y % 2) : (x + 0.5) / 256; };
    const LayerImage layer = makeLayer("", miIMG_TYPE_RGB_FP, 256, 128, value);
    ASSERT_EQ(write("rows.exr", {&layer}, whole(256, 128)), "");
    const auto file = open(folder / "rows.exr");
    const auto memory = memoryTexture(layer.pixels, 256, 128, 3);
    for (const Texture* texture : {file.get(), memory.get()}) {
        miColor color;
        for (const float u : {0.25f, 0.5f, 0.7f}) {
            ASSERT_TRUE(texture->lookup(color, u, 0.3f, {1 / 16.0f, 0, 0, 1 / 8.0f}));
            EXPECT_NEAR(color.r, 0.5f, 0.01f);
            EXPECT_NEAR(color.g, u, 0.01f);
        }
    }
    // Seen at a grazing angle the file's rows stay apart: the footprint is long across the columns only.
    miColor color;
    ASSERT_TRUE(file->lookup(color, 0.5f, 10.5f / 128, {16 / 256.0f, 0, 0, 0.25f / 128}));
    EXPECT_LT(color.r, 0.25f);
}

TEST_F(TextureTest, FootprintsMayTakeTheNearestPixel) {
    const auto file = open(writeSmall("small.png"));
    const auto memory = memoryTexture({0, 1, 2, 3, 10, 11, 12, 13}, 4, 2, 1);
    miColor color;
    for (const float offset : {0.1f, 0.4f, 0.9f}) {
        const float u = (2 + offset) / 4;
        ASSERT_TRUE(file->lookup(color, u, 0.3f, {1e-3f, 0, 0, 1e-3f, false}));
        EXPECT_NEAR(color.r * 255, 2, 0.01f) << offset;
        ASSERT_TRUE(memory->lookup(color, u, 0.3f, {1e-3f, 0, 0, 1e-3f, false}));
        EXPECT_EQ(color.r, 2) << offset;
    }
}

// The half axes of the circle's image under ((4, 3), (4, -3)) have the lengths 4 sqrt(2) and 3 sqrt(2): it is the circle
// with (u, v) = (8, 0) sqrt(1/2) and (0, 6) sqrt(1/2) turned by 45 degrees.
TEST(Footprints, HaveALimitedLength) {
    const auto check = [](const Footprint& f, double uu, double uv, double vv) {
        // The ellipse is known by the sums of products of its half axes, however these are turned.
        EXPECT_NEAR(f.dudx * f.dudx + f.dudy * f.dudy, uu, 1e-4 * uu + 1e-6);
        EXPECT_NEAR(f.dudx * f.dvdx + f.dudy * f.dvdy, uv, 1e-4 * uu + 1e-6);
        EXPECT_NEAR(f.dvdx * f.dvdx + f.dvdy * f.dvdy, vv, 1e-4 * vv + 1e-6);
    };
    const Footprint skewed{4, 3, 4, -3};
    check(limitedFootprint(skewed, 1, 1, 0, 1), 32, 0, 18);
    check(limitedFootprint(skewed, 1, 1, 2, 3), 9 * 32, 0, 9 * 18);
    check(limitedFootprint(skewed, 1, 1, 1, 1), 32, 0, 32);
    // In pixels of a texture of 2 x 8 it is (8, 24), (8, -24): v is the longer one, 3 times as long as u.
    check(limitedFootprint(skewed, 2, 8, 1.5f, 1), 32 * 4, 0, 18);
    check(limitedFootprint({6, 8, 0, 0}, 1, 1, 5, 1), 36 + 2.56, 48 - 1.92, 64 + 1.44);  // a line gets 10 / 5 wide
    check(limitedFootprint({0, 0, 0, 0}, 4, 4, 1, 1), 0, 0, 0);
}

TEST_F(TextureTest, ComponentsBecomeColors) {
    const auto pixel = [&](miImg_type type, const char* name) {
        const LayerImage layer =
            makeLayer("", type, 1, 1, [](int, int, int c) { return c == 3 ? 0.5 : 0.1 * (c + 1); });
        EXPECT_EQ(write(name, {&layer}, whole(1, 1)), "");
        miColor color{};
        open(folder / name)->lookup(color, 0.5f, 0.5f, false);
        return color;
    };
    const miColor gray = pixel(miIMG_TYPE_S_FP, "s.tif"), rgb = pixel(miIMG_TYPE_RGB_FP, "c.tif");
    EXPECT_FLOAT_EQ(gray.b, 0.1f);
    EXPECT_FLOAT_EQ(gray.a, 1);
    EXPECT_FLOAT_EQ(rgb.b, 0.3f);
    EXPECT_FLOAT_EQ(rgb.a, 1);

    // A picture whose alpha is straight gives the colors that are in the file.
    const miColor straight = pixel(miIMG_TYPE_RGBA_16, "straight.png");
    EXPECT_NEAR(straight.r, 0.2f, 1e-4f);
    EXPECT_NEAR(straight.a, 0.5f, 1e-4f);

    EXPECT_EQ(memoryTexture({1, 2, 3}, 2, 1, 1), nullptr);
    EXPECT_EQ(memoryTexture({}, 0, 0, 1), nullptr);
}

TEST_F(TextureTest, GammaLinearisesIntegerFilesOnly) {
    const LayerImage layer = makeLayer("", miIMG_TYPE_RGB_16, 1, 1, [](int, int, int) { return 0.5; });
    ASSERT_EQ(write("g.png", {&layer}, whole(1, 1)), "");
    EXPECT_NEAR(red(*open(folder / "g.png", 2), 0.5f, 0.5f, false), 0.25f, 1e-4f);
    LayerImage floats = layer;
    floats.type = miIMG_TYPE_RGB_FP;
    ASSERT_EQ(write("g.exr", {&floats}, whole(1, 1)), "");
    EXPECT_FLOAT_EQ(red(*open(folder / "g.exr", 2), 0.5f, 0.5f, false), 0.5f);
}

TEST_F(TextureTest, SaysWhyAFileCannotBeRead) {
    std::ofstream(folder / "text.png") << "this is no picture";
    std::ofstream(folder / "empty.tif");
    const LayerImage noise =
        makeLayer("", miIMG_TYPE_RGB, 64, 64, [](int x, int y, int c) { return (x * y * (c + 7)) % 97 / 97.0; });
    for (const char* name : {"cut.tga", "cut.exr"}) {
        ASSERT_EQ(write(name, {&noise}, whole(64, 64)), "");
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
        EXPECT_NE(error.find(name), std::string::npos) << error;
        EXPECT_NE(error.find(reason), std::string::npos) << error;
        EXPECT_GT(error.size(), folder.string().size() + 25) << error;
    }
}

TEST_F(TextureTest, SeesThatAFileChanged) {
    const fs::path path = writeSmall("change.png");
    EXPECT_NEAR(red(*open(path), 0.125f, 0.25f, false), 0, 1e-6f);
    const LayerImage white = makeLayer("", miIMG_TYPE_RGB, 3, 3, [](int, int, int) { return 1; });
    ASSERT_EQ(write("change.png", {&white}, whole(3, 3)), "");
    fs::last_write_time(path, fs::last_write_time(path) + 5s);
    const auto changed = open(path);
    EXPECT_EQ(changed->width(), 3);
    EXPECT_EQ(red(*changed, 0.125f, 0.25f, false), 1);
}

TEST_F(TextureTest, ManyThreadsReadTheSameTexture) {
    const LayerImage layer = makeLayer("", miIMG_TYPE_RGB_FP, 512, 512, [](int x, int y, int) { return x + 512 * y; });
    ASSERT_EQ(write("big.exr", {&layer}, whole(512, 512)), "");
    const auto texture = open(folder / "big.exr");
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (unsigned seed = 1; seed <= 8; ++seed)
        threads.emplace_back([&, state = seed]() mutable {
            for (int i = 0; i < 20000; ++i) {
                state = state * 1664525u + 1013904223u;
                const int x = static_cast<int>(state >> 23), y = static_cast<int>(state >> 14 & 511u);
                miColor color;
                const bool good = texture->lookup(color, (static_cast<float>(x) + 0.5f) / 512,
                                                  (static_cast<float>(y) + 0.5f) / 512, false);
                if (!good || color.r != static_cast<float>(x + 512 * y)) ++wrong;
                if (i % 64 == 0 && !texture->lookup(color, 0.1f, 0.7f, {0.01f, 0, 0, 0.02f})) ++wrong;
            }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace lumorender::test
