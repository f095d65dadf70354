#include "image_fixture.h"

#include "support/messages.h"

#include <cmath>
#include <limits>

#include <sys/stat.h>

namespace lumorender::test {
namespace {

using FormatTest = ImageTest;

/// Red and green tell the place, alpha is 1.
LayerImage gradient(miImg_type type, int width, int height) {
    return makeLayer("", type, width, height, [=](int x, int y, int c) {
        return c == 0 ? (x + 0.5) / width : c == 1 ? (y + 0.5) / height : c == 2 ? 0.25 : 1.0;
    });
}

TEST(PixelFormats, NamesAndTypesAgree) {
    for (int i = 0; i < miIMG_TYPE_COUNT; ++i) {
        const auto type = static_cast<miImg_type>(i);
        EXPECT_EQ(imageTypeByName(imageTypeName(type)), type);
    }
    EXPECT_EQ(imageTypeByName("rgba_h"), miIMG_TYPE_RGBA_H);
    EXPECT_EQ(imageTypeByName("n"), miIMG_TYPE_N);
    EXPECT_EQ(imageTypeByName("coverage"), miIMG_TYPE_COVERAGE);
    EXPECT_EQ(imageTypeByName("RGBA"), miIMG_TYPE_COUNT);
    EXPECT_EQ(naturalImageType("exr"), miIMG_TYPE_RGBA_H);
    EXPECT_EQ(naturalImageType("tga"), miIMG_TYPE_RGBA);
    EXPECT_EQ(naturalImageType("zt"), miIMG_TYPE_Z);
    EXPECT_EQ(naturalImageType("doc"), miIMG_TYPE_COUNT);
}

TEST_F(FormatTest, CommonFormatsKeepColorsAndOrientation) {
    const LayerImage layer = gradient(miIMG_TYPE_RGBA, 16, 8);
    for (const char* name :
         {"a.png", "a.tif", "a.tga", "a.bmp", "a.ppm", "a.iff", "a.rla", "a.rgb", "a.jpg", "a.hdr"}) {
        ASSERT_EQ(write(name, {&layer}, whole(16, 8)), "");
        const ReadImage read(folder / name);
        ASSERT_EQ(read.spec.width, 16) << name;
        const float tolerance = std::string(name) == "a.jpg" ? 0.1f : 0.006f;
        for (const auto& [x, row] : {std::pair{0, 7}, {15, 7}, {0, 0}, {15, 0}}) {
            EXPECT_NEAR(read.at(x, row, 0), (static_cast<float>(x) + 0.5f) / 16, tolerance) << name;
            EXPECT_NEAR(read.at(x, row, 1), (static_cast<float>(7 - row) + 0.5f) / 8, tolerance) << name;
        }
    }
}

TEST_F(FormatTest, DataTypeSetsTheDepth) {
    const std::pair<miImg_type, OIIO::TypeDesc> inTiff[] = {{miIMG_TYPE_RGBA, OIIO::TypeDesc::UINT8},
                                                            {miIMG_TYPE_RGBA_16, OIIO::TypeDesc::UINT16},
                                                            {miIMG_TYPE_RGBA_FP, OIIO::TypeDesc::FLOAT},
                                                            {miIMG_TYPE_S, OIIO::TypeDesc::UINT8}};
    for (const auto& [type, expected] : inTiff) {
        const LayerImage layer = gradient(type, 4, 4);
        ASSERT_EQ(write("d.tif", {&layer}, whole(4, 4)), "");
        const ReadImage read(folder / "d.tif");
        EXPECT_EQ(read.spec.format, expected) << imageTypeName(type);
        EXPECT_EQ(read.spec.nchannels, pixelFormat(type).channels);
    }
    const LayerImage sixteen = gradient(miIMG_TYPE_RGBA_16, 4, 4);
    ASSERT_EQ(write("d.png", {&sixteen}, whole(4, 4)), "");
    const ReadImage read(folder / "d.png");
    EXPECT_EQ(read.spec.format, OIIO::TypeDesc::UINT16);
    EXPECT_NEAR(read.at(1, 0, 0), 0.375f, 1 / 65535.0f);
}

TEST_F(FormatTest, GammaActsOnColorsOnly) {
    const LayerImage layer = makeLayer("", miIMG_TYPE_RGBA_16, 1, 1, [](int, int, int c) { return c < 3 ? 0.25 : 1; });
    ImageFile file;
    file.path = folder / "g.png";
    file.gamma = 2;
    file.layers = {&layer};
    ASSERT_EQ(writeImageFile(file, whole(1, 1), {}), "");
    EXPECT_NEAR(ReadImage(file.path).at(0, 0, 0), 0.5f, 1e-4f);

    const LayerImage half = makeLayer("", miIMG_TYPE_RGBA_16, 1, 1, [](int, int, int c) { return c < 3 ? 0.25 : 0.5; });
    file.path = folder / "g.tif";
    file.layers = {&half};
    ASSERT_EQ(writeImageFile(file, whole(1, 1), {}), "");
    EXPECT_NEAR(ReadImage(file.path).at(0, 0, 0), 0.5f, 1e-4f);
    EXPECT_NEAR(ReadImage(file.path).at(0, 0, 3), 0.5f, 1e-4f);
}

TEST_F(FormatTest, StraightAlphaFormatsGetDividedColors) {
    const LayerImage layer = makeLayer("", miIMG_TYPE_RGBA, 1, 1, [](int, int, int c) { return c < 3 ? 0.2 : 0.5; });
    for (const auto& [name, expected] : {std::pair{"s.png", 0.4f}, {"s.tif", 0.2f}}) {
        ASSERT_EQ(write(name, {&layer}, whole(1, 1)), "");
        EXPECT_NEAR(ReadImage(folder / name).at(0, 0, 0), expected, 0.003f) << name;
    }
}

TEST_F(FormatTest, IntegerFilesClampAndNeverWrap) {
    const float values[] = {-1, 2, std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()};
    const LayerImage layer = makeLayer("", miIMG_TYPE_S, 4, 1, [&](int x, int, int) { return values[x]; });
    ASSERT_EQ(write("c.png", {&layer}, whole(4, 1)), "");
    const ReadImage read(folder / "c.png");
    const float expected[] = {0, 1, 0, 1};
    for (int x = 0; x < 4; ++x) EXPECT_EQ(read.at(x, 0, 0), expected[x]);
}

TEST_F(FormatTest, WindowLiesInABlackImage) {
    const LayerImage layer = makeLayer("", miIMG_TYPE_RGB, 2, 1, [](int, int, int) { return 1; });
    ASSERT_EQ(write("w.png", {&layer}, {1, 0, 2, 1, 4, 3}), "");
    const ReadImage read(folder / "w.png");
    ASSERT_EQ(read.spec.width, 4);
    ASSERT_EQ(read.spec.height, 3);
    EXPECT_EQ(read.at(0, 2, 0), 0.0f);
    EXPECT_EQ(read.at(1, 2, 0), 1.0f);
    EXPECT_EQ(read.at(2, 2, 0), 1.0f);
    EXPECT_EQ(read.at(3, 2, 0), 0.0f);
    EXPECT_EQ(read.at(1, 1, 0), 0.0f);
}

TEST_F(FormatTest, NativeFormatsAreByteExact) {
    using namespace std::string_literals;
    const LayerImage depth = makeLayer("", miIMG_TYPE_Z, 1, 2, [](int, int y, int) { return y == 0 ? 1.0 : -2.0; });
    ASSERT_EQ(write("d.zt", {&depth}, whole(1, 2)), "");
    EXPECT_EQ(bytes("d.zt"), "\x08\0\0\x01\0\x02\0\0\x3f\x80\0\0\xc0\0\0\0"s);

    const LayerImage color = makeLayer("", miIMG_TYPE_RGB, 1, 1, [](int, int, int c) { return c * 0.5; });
    ASSERT_EQ(write("c.ct", {&color}, whole(1, 1)), "");
    EXPECT_EQ(bytes("c.ct"), "\x03\0\0\x01\0\x01\0\0\0\x80\xff\xff"s);

    const LayerImage alpha = makeLayer("", miIMG_TYPE_A_16, 1, 1, [](int, int, int) { return 1; });
    ASSERT_EQ(write("a.st", {&alpha}, whole(1, 1)), "");
    EXPECT_EQ(bytes("a.st"), "\x07\0\0\x01\0\x01\0\0\xff\xff"s);

    const LayerImage ids = makeLayer("", miIMG_TYPE_TAG, 1, 1, [](int, int, int) { return 0x01020304u; });
    ASSERT_EQ(write("i.tt", {&ids}, {1, 0, 1, 1, 2, 1}), "");
    EXPECT_EQ(bytes("i.tt"), "\x0a\0\0\x02\0\x01\0\0\0\0\0\0\x01\x02\x03\x04"s);

    const LayerImage bits = makeLayer("", miIMG_TYPE_BIT, 9, 1, [](int x, int, int) { return x == 0 || x == 8; });
    ASSERT_EQ(write("b.bit", {&bits}, whole(9, 1)), "");
    EXPECT_EQ(bytes("b.bit"), "\x0d\0\0\x09\0\x01\0\0\x80\x80"s);

    EXPECT_NE(write("d.ct", {&depth}, whole(1, 2)).find("cannot hold the data type z"), std::string::npos);
}

TEST_F(FormatTest, FailuresSayWhichFileAndWhyAndLeaveNothing) {
    const LayerImage layer = gradient(miIMG_TYPE_RGBA, 2, 2);
    const LayerImage ids = makeLayer("", miIMG_TYPE_TAG, 2, 2, [](int, int, int) { return 1; });
    LayerImage broken = layer;
    broken.pixels.pop_back();
    fs::create_directory(folder / "folder.exr");
    struct Case {
        const char* name;
        const LayerImage* layer;
        const char* reason;
    };
    const Case cases[] = {{"a.xyz", &layer, "'xyz' is no image format"}, {"noending", &layer, "no file format"},
                          {"missing/a.exr", &layer, "does not exist"},   {"folder.exr", &layer, "it is a folder"},
                          {"ids.png", &ids, "cannot hold labels"},       {"short.exr", &broken, "15 values where 16"},
                          {"a.pic", &layer, "'pic' is no image format"}};
    for (const Case& c : cases) {
        const std::string error = write(c.name, {c.layer}, whole(2, 2));
        EXPECT_NE(error.find(c.reason), std::string::npos) << error;
        EXPECT_NE(error.find((folder / c.name).string()), std::string::npos) << error;
    }
    EXPECT_NE(write("none.exr", {}, whole(2, 2)), "");
    EXPECT_NE(write("window.exr", {&layer}, {3, 0, 2, 2, 4, 4}).find("out of the image"), std::string::npos);
    const auto entries = std::distance(fs::directory_iterator(folder), fs::directory_iterator{});
    EXPECT_EQ(entries, 1) << "only folder.exr was there before";

    fs::create_symlink("/proc/version", folder / "readonly.exr");
    EXPECT_NE(write("readonly.exr", {&layer}, whole(2, 2)), "");
}

TEST_F(FormatTest, ReplacesFilesAtomicallyAndThroughLinks) {
    const LayerImage layer = gradient(miIMG_TYPE_RGBA, 2, 2);
    std::ofstream(folder / "old.png") << "old";
    fs::create_symlink(folder / "old.png", folder / "link.png");
    ASSERT_EQ(write("link.png", {&layer}, whole(2, 2)), "");
    EXPECT_TRUE(fs::is_symlink(folder / "link.png"));
    EXPECT_EQ(ReadImage(folder / "old.png").spec.width, 2);

    // A pipe or a device must stay what it is.
    ASSERT_EQ(mkfifo((folder / "pipe.png").c_str(), 0600), 0);
    EXPECT_NE(write("pipe.png", {&layer}, whole(2, 2)).find("no plain file"), std::string::npos);
    EXPECT_TRUE(fs::is_fifo(folder / "pipe.png"));
}

TEST_F(FormatTest, OneLayerFormatsWarnAboutTheRest) {
    const LayerImage layer = gradient(miIMG_TYPE_RGBA, 2, 2);
    const long warnings = messageCount(MessageClass::Warning);
    ASSERT_EQ(write("two.png", {&layer, &layer}, whole(2, 2)), "");
    EXPECT_EQ(messageCount(MessageClass::Warning), warnings + 1);
}

}  // namespace
}  // namespace lumorender::test
