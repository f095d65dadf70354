// What writers put into files, as another reader finds it.
#include "image_fixture.h"

#include "image/shrink.h"
#include "support/messages.h"

#include <sys/stat.h>

namespace lumorender::test {
namespace {

using ImageFiles = ImageTest;

/// Different in every pixel and channel.
double anyValue(int x, int y, int c) { return x + 10 * y + 0.25 * c; }

TEST(PixelFormats, NamesAndTypesAgree) {
    for (int i = 0; i < miIMG_TYPE_COUNT; ++i) EXPECT_EQ(imageTypeByName(imageTypeName(static_cast<miImg_type>(i))), i);
    EXPECT_EQ(asText(imageTypeByName("rgba_h"), imageTypeByName("n"), imageTypeByName("RGBA"), naturalImageType("exr"),
                     naturalImageType("tga"), naturalImageType("zt"), naturalImageType("doc")),
              asText(miIMG_TYPE_RGBA_H, miIMG_TYPE_N, miIMG_TYPE_COUNT, miIMG_TYPE_RGBA_H, miIMG_TYPE_RGBA,
                     miIMG_TYPE_Z, miIMG_TYPE_COUNT));
}

TEST_F(ImageFiles, ExrKeepsLayersLabelsAndMetadata) {
    const auto sharp = [](int x, int y, int c) { return anyValue(x, y, c) + 1e-4; };
    const auto label = [](int x, int y, int) { return 0xfffffff0u + static_cast<unsigned>(4 * x + y); };
    const LayerImage beauty = makeLayer("", miIMG_TYPE_RGBA_H, 3, 2, anyValue),
                     ids = makeLayer("object", miIMG_TYPE_TAG, 3, 2, label),
                     diffuse = makeLayer("diffuse", miIMG_TYPE_RGB_FP, 3, 2, sharp),
                     normal = makeLayer("", miIMG_TYPE_N, 3, 2, anyValue),
                     depth = makeLayer("depth", miIMG_TYPE_Z, 3, 2, anyValue);
    std::vector<float> matrix(16, 0);
    matrix[6] = 6;
    const long warnings = messageCount(MessageClass::Warning);
    ASSERT_EQ(write("a.exr", {&beauty, &diffuse, &depth, &normal, &depth, &depth, &ids}, {4, 1, 3, 2, 10, 8}, "", 1,
                    {{"scene", "a.mi"}, {"pixelAspectRatio", 1.5f}, {"worldToCamera", matrix}, {"dataWindow", "none"}}),
              "");
    EXPECT_EQ(messageCount(MessageClass::Warning), warnings + 3) << "two layers get other names; a key of the format";
    // Rows 1 and 2 from the bottom of 8 are rows 6 and 5 from the top; the lower left pixel stands in the last row.
    const ReadImage read(folder / "a.exr");
    const OIIO::ImageSpec& s = read.spec;
    std::string channels;
    for (int i = 0; i < s.nchannels; ++i)
        channels += asText(s.channel_name(i), s.channelformat(i).c_str(), read.at(1, 0, i), "; ");
    EXPECT_EQ(
        channels,
        "R half 11 ; G half 11.25 ; B half 11.5 ; A half 11.75 ; N.X float 11 ; N.Y float 11.25 ; N.Z float 11.5 ; "
        "depth.Z float 11 ; depth_2.Z float 11 ; depth_3.Z float 11 ; diffuse.R float 11 ; "
        "diffuse.G float 11.25 ; diffuse.B float 11.5 ; object.id uint 1 ; ");
    EXPECT_EQ(read.at(0, 1, "diffuse.G"), static_cast<float>(0.25 + 1e-4));
    EXPECT_EQ(asText(s.x, s.y, s.width, s.height, s.full_width, s.full_height,
                     s.get_float_attribute("PixelAspectRatio"), s.get_string_attribute("scene")),
              "4 5 3 2 10 8 1.5 a.mi");
    float stored[16] = {};
    std::uint32_t labels[6] = {};
    const auto input = OIIO::ImageInput::open(read.path.string());
    const int id = s.channelindex("object.id");
    EXPECT_TRUE(s.getattribute("worldToCamera", OIIO::TypeMatrix, stored) &&
                input->read_image(0, 0, id, id + 1, OIIO::TypeUInt32, labels));
    EXPECT_EQ(asText(stored[6], stored[9], labels[3], labels[2]), asText(6, 0, label(0, 0, 0), label(2, 1, 0)));
}

TEST_F(ImageFiles, ExrWritesManyBandsAndClampsHalves) {
    const LayerImage layer = makeLayer("", miIMG_TYPE_RGB_FP, 7, 600, [](int x, int y, int) { return x + y; });
    for (const std::string compression :
         {"", "none", "rle", "zips", "zip", "piz", "pxr24", "b44a", "dwaa", "nonsense"}) {
        const ReadImage read = written("long.exr", layer, compression);
        for (const int row : {0, 255, 256, 599})
            EXPECT_NEAR(read.at(6, row, 1), 605 - row, compression == "dwaa" ? 8 : 0) << compression;
    }
    EXPECT_EQ(asText(written("h.exr", row(miIMG_TYPE_S_H, {1e6f, -1e6f, kInfinity, kNan})).pixels),
              "65504 -65504 inf nan");
}

TEST_F(ImageFiles, CommonFormatsKeepColorsOrientationAndDepth) {
    const LayerImage layer = makeLayer("", miIMG_TYPE_RGBA, 16, 8, [](int x, int y, int c) {
        return c == 0 ? (x + 0.5) / 16 : c == 1 ? (y + 0.5) / 8 : c == 2 ? 0.25 : 1.0;
    });
    for (const char* ending : {"png", "tif", "tga", "bmp", "ppm", "iff", "rla", "rgb", "jpg", "hdr"}) {
        const ReadImage read = written(std::string("a.") + ending, layer);
        ASSERT_EQ(read.spec.width, 16) << ending;
        const double tolerance = std::string(ending) == "jpg" ? 0.1 : 0.006;
        for (const auto& [x, fromTop] : {std::pair{0, 7}, {15, 7}, {0, 0}, {15, 0}}) {
            EXPECT_NEAR(read.at(x, fromTop, 0), (x + 0.5) / 16, tolerance) << ending;
            EXPECT_NEAR(read.at(x, fromTop, 1), (7 - fromTop + 0.5) / 8, tolerance) << ending;
        }
    }
    // What the file says of its pixels, and one of them: straight where the format's alpha is, never wrapped around.
    struct Case {
        const char* name;
        miImg_type type;
        std::vector<float> pixels;
        float gamma;
        const char* expected;
    };
    const Case cases[] = {{"d.tif", miIMG_TYPE_RGBA_16, {.2f, .4f, .6f, .8f}, 1, "uint16 0.2 0.4 0.6 0.8"},
                          {"d.tif", miIMG_TYPE_RGBA_FP, {-2, .25f, 7, .75f}, 1, "float -2 0.25 7 0.75"},
                          {"d.tif", miIMG_TYPE_RGBA, {.2f, .4f, .6f, .8f}, 1, "uint8 0.2 0.4 0.6 0.8"},
                          {"d.tif", miIMG_TYPE_S, {.2f, .4f}, 1, "uint8 0.2 0.4"},
                          {"d.png", miIMG_TYPE_RGB_16, {-1, 2, kNan}, 1, "uint16 0 1 0"},
                          {"d.png", miIMG_TYPE_RGBA, {.1f, .2f, .3f, .5f}, 1, "uint8 0.2 0.4 0.6 0.50196"},
                          {"d.png", miIMG_TYPE_N, {-1, .2f, kInfinity}, 1, "uint16 0 0.6 1"},
                          {"d.tif", miIMG_TYPE_RGBA_16, {.16f, .04f, .09f, .2f}, 2, "uint16 0.4 0.2 0.30001 0.2"},
                          {"d.png", miIMG_TYPE_N, {0, .2f, 1}, 2, "uint16 0.50001 0.6 1"}};
    for (const Case& c : cases) {
        const ReadImage read = written(c.name, row(c.type, c.pixels), "", c.gamma);
        EXPECT_EQ(asText(read.spec.format.c_str(), read.pixels), c.expected) << c.name;
    }
    // The data window lies in a black image.
    const LayerImage white = row(miIMG_TYPE_RGB, std::vector<float>(6, 1));
    ASSERT_EQ(write("w.png", {&white}, {1, 0, 2, 1, 4, 3}), "");
    const ReadImage read(folder / "w.png");
    EXPECT_EQ(asText(read.spec.width, read.spec.height, read.at(0, 2, 0), read.at(1, 2, 0), read.at(2, 2, 0),
                     read.at(3, 2, 0), read.at(1, 1, 0)),
              "4 3 0 1 1 0 0");
}

TEST_F(ImageFiles, NativeFormatsAreByteExact) {
    using namespace std::string_literals;
    const auto bytes = [&](const char* name, const LayerImage& layer, const DataWindow& window) {
        EXPECT_EQ(write(name, {&layer}, window), "");
        std::ifstream input(folder / name, std::ios::binary);
        return std::string{std::istreambuf_iterator<char>(input), {}};
    };
    const LayerImage depth = makeLayer("", miIMG_TYPE_Z, 1, 2, [](int, int y, int) { return y == 0 ? 1.0 : -2.0; });
    EXPECT_EQ(bytes("d.zt", depth, whole(1, 2)), "\x08\0\0\x01\0\x02\0\0\x3f\x80\0\0\xc0\0\0\0"s);
    EXPECT_EQ(bytes("c.ct", row(miIMG_TYPE_RGB, {0, .5f, 7}), whole(1, 1)), "\x03\0\0\x01\0\x01\0\0\0\x80\xff\xff"s);
    EXPECT_EQ(bytes("a.st", row(miIMG_TYPE_A_16, {1, .5f}), whole(2, 1)), "\x07\0\0\x02\0\x01\0\0\xff\xff\x80\0"s);
    EXPECT_EQ(bytes("i.tt", {"", miIMG_TYPE_TAG, 1, 1, {}, {0x01020304}}, {1, 0, 1, 1, 2, 1}),
              "\x0a\0\0\x02\0\x01\0\0\0\0\0\0\x01\x02\x03\x04"s);
    EXPECT_EQ(bytes("b.bit", row(miIMG_TYPE_BIT, {1, 0, 0, 0, 0, 0, 0, .4f, .5f}), whole(9, 1)),
              "\x0d\0\0\x09\0\x01\0\0\x80\x80"s);
    expectParts(write("d.ct", {&depth}, whole(1, 2)), {"cannot hold the data type z"});
}

// Runs of every length around the limits of one byte and beyond it, and single pixels between them, in both packets.
TEST_F(ImageFiles, PicHoldsRunsOfEveryLength) {
    std::vector<float> pixels;
    for (const int length : {1, 1, 2, 1, 3, 127, 128, 129, 130, 256, 300, 1, 1, 1, 1}) {
        const float value = static_cast<float>(pixels.size() / 4 % 251) / 255;
        for (int i = 0; i < length; ++i) pixels.insert(pixels.end(), {value, 0, value, 1});
    }
    for (int i = 0; i < 200; ++i) {
        const float value = static_cast<float>(i) / 255;
        pixels.insert(pixels.end(), {i % 2 ? value : 0, 0, 0, i % 2 ? 1 : value});
    }
    const LayerImage layer = row(miIMG_TYPE_RGBA, pixels);
    const ReadImage read = written("runs.pic", layer);
    ASSERT_EQ(read.pixels.size(), pixels.size());
    for (std::size_t i = 0; i < pixels.size(); ++i) ASSERT_NEAR(read.pixels[i], pixels[i], 1e-6) << i / 4;
}

// 128.25 of 255 is 129 in a quarter of the pixels.
TEST_F(ImageFiles, DitheringKeepsTheMean) {
    const LayerImage layer = makeLayer("", miIMG_TYPE_RGB, 64, 64, [](...) { return 128.25 / 255; });
    ImageFile file;
    file.path = folder / "noise.png";
    file.colors.dither = true;
    file.layers = {&layer};
    ASSERT_EQ(writeImageFile(file, whole(layer), {}), "");
    double mean = 0;
    for (const float value : ReadImage(file.path).pixels) {
        EXPECT_NEAR(value * 255, 128.5, .51);
        mean += value * 255 / (64 * 64 * 3);
    }
    EXPECT_NEAR(mean, 128.25, .02);
}

TEST_F(ImageFiles, FailuresSayWhichFileAndWhyAndLeaveNothing) {
    const LayerImage layer = makeLayer("", miIMG_TYPE_RGBA, 2, 2, anyValue);
    const LayerImage ids = makeLayer("", miIMG_TYPE_TAG, 2, 2, [](int, int, int) { return 1; });
    const LayerImage normal = makeLayer("", miIMG_TYPE_N, 2, 2, anyValue);
    LayerImage broken = layer;
    broken.pixels.pop_back();
    fs::create_directory(folder / "folder.exr");
    ASSERT_EQ(mkfifo((folder / "pipe.png").c_str(), 0600), 0);
    const std::tuple<const char*, const LayerImage*, const char*> cases[] = {
        {"a.xyz", &layer, "'xyz' is no image format"},     {"noending", &layer, "no file format"},
        {"missing/a.exr", &layer, "does not exist"},       {"folder.exr", &layer, "it is a folder"},
        {"ids.png", &ids, "cannot hold labels"},           {"short.exr", &broken, "15 values where 16"},
        {"n.pic", &normal, "cannot hold the data type n"}, {"pipe.png", &layer, "no plain file"}};
    for (const auto& [name, given, reason] : cases) expectParts(write(name, {given}, whole(2, 2)), {reason});
    expectParts(write("none.exr", {}, whole(2, 2)), {"no layer"});
    expectParts(write("window.exr", {&layer}, {3, 0, 2, 2, 4, 4}), {"out of the image"});
    EXPECT_TRUE(fs::is_fifo(folder / "pipe.png"));
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator{}), 2) << "as many as before";
    fs::create_symlink("/proc/version", folder / "readonly.exr");
    EXPECT_NE(write("readonly.exr", {&layer}, whole(2, 2)), "");

    std::ofstream(folder / "old.png") << "old";
    fs::create_symlink(folder / "old.png", folder / "link.png");
    const long warnings = messageCount(MessageClass::Warning);
    ASSERT_EQ(write("link.png", {&layer, &layer}, whole(2, 2)), "");
    EXPECT_EQ(messageCount(MessageClass::Warning), warnings + 1) << "the format holds one layer";
    EXPECT_TRUE(fs::is_symlink(folder / "link.png"));
    EXPECT_EQ(ReadImage(folder / "old.png").spec.width, 2);
}

TEST_F(ImageFiles, PreviewsShowEachTypeInItsWay) {
    const auto bytes = [&](const LayerImage& layer, const DataWindow& window) {
        EXPECT_EQ(writePreview(folder / "p.png", layer, window), "");
        std::vector<int> values;
        for (const float value : ReadImage(folder / "p.png").pixels)
            values.push_back(static_cast<int>(std::lround(value * 255)));
        return values;
    };
    const auto shown = [&](miImg_type type, std::vector<float> pixels) {
        const LayerImage layer = row(type, std::move(pixels));
        return asText(bytes(layer, whole(layer)));
    };
    // Linear 0.2159 is byte 128 of the display curve; 0.002 lies on the curve's straight part.
    EXPECT_EQ(shown(miIMG_TYPE_RGB_FP, {0.2159f, 0.002f, 7, -1, kInfinity, 1}), "128 7 255 0 255 255");
    EXPECT_EQ(shown(miIMG_TYPE_Z, {10, 20, 15, 1e36f}), "0 0 0 255 255 255 128 128 128 255 255 255");
    EXPECT_EQ(shown(miIMG_TYPE_N, {-1, 0, .5f}), "0 128 191");
    EXPECT_EQ(shown(miIMG_TYPE_M, {-8, 0, 4}), "0 128 191");
    EXPECT_EQ(shown(miIMG_TYPE_A_FP, {0.3f}), "77 77 77");
    const LayerImage labels{"id", miIMG_TYPE_TAG, 1, 2, {}, {7, 0}};
    const std::vector<int> p =
        bytes(labels, {1, 0, 1, 2, 2, 3});  // two wide and three high, the label low on the right
    EXPECT_EQ(asText(p.size(), p[15] > 60, p[9], p[12]), "18 true 0 0");
    EXPECT_NE(writePreview(folder / "no/l.png", labels, whole(1, 2)), "");

    for (const auto& [width, height, count] :
         {std::tuple{640, 360, 36}, {100, 900, 3}, {1, 1, 1}, {16, 16, 100}, {5000, 2, 5}}) {
        const LayerImage half = makeLayer("half", miIMG_TYPE_RGB_H, width, height,
                                          [middle = width / 2](int x, int, int) { return x < middle ? 0 : 1; }),
                         tags = makeLayer("tags", miIMG_TYPE_TAG, width, height, anyValue);
        std::vector<const LayerImage*> layers(static_cast<std::size_t>(count), &half);
        layers.back() = &tags;
        EXPECT_EQ(writeContactSheet(folder / "sheet.png", layers, whole(half)), "");
        const int wide = ReadImage(folder / "sheet.png").spec.width;
        EXPECT_TRUE(wide > 200 && wide <= 2000) << wide;
    }
    const LayerImage crop = row(miIMG_TYPE_Z, {3});
    EXPECT_EQ(writeContactSheet(folder / "crop.png", {&crop}, {1999, 999, 1, 1, 2000, 1000}), "");
    /// Left, top, width and height of what is white, on a sheet of one layer.
    const auto white = [&](const DataWindow& window) {
        const LayerImage layer = makeLayer("", miIMG_TYPE_RGB, window.width, window.height, [](...) { return 1; });
        EXPECT_EQ(writeContactSheet(folder / "white.png", {&layer}, window), "");
        const ReadImage sheet(folder / "white.png");
        double left = 1e9, top = 1e9, right = 0, bottom = 0;
        for (int y = 0; y < sheet.spec.height; ++y)
            for (int x = 0; x < sheet.spec.width; ++x) {
                if (sheet.at(x, y, 0) < 1) continue;
                left = std::min<double>(left, x), right = std::max<double>(right, x + 1);
                top = std::min<double>(top, y), bottom = std::max<double>(bottom, y + 1);
            }
        return std::array{left, top, right - left, bottom - top};
    };
    const auto all = white({0, 0, 8, 4, 8, 4}), part = white({2, 1, 4, 1, 8, 4});
    EXPECT_EQ(asText((part[0] - all[0]) / all[2], (part[1] - all[1]) / all[3], part[2] / all[2], part[3] / all[3]),
              "0.25 0.5 0.5 0.25");
    EXPECT_NE(writeContactSheet(folder / "empty.png", {}, whole(1, 1)), "");
}

TEST(ResizeByArea, TakesExactMeansOfMeasuredValues) {
    // Three pixels into two: each new one covers one and a half old ones.
    EXPECT_EQ(asText(resizeByArea({0, 3, 6}, 3, 1, 1, 2, 1)), "1 5");
    EXPECT_EQ(asText(resizeByArea({1, 3, 5, 1e36f}, 2, 2, 1, 1, 1)), "3");
    EXPECT_EQ(asText(resizeByArea({1, 7, 3, 8, 5, 9}, 1, 3, 2, 1, 2)), "1.6667 7.3333 4.3333 8.6667");
    EXPECT_EQ(asText(resizeByArea({1e36f, 1e36f}, 2, 1, 1, 1, 1)), "1e+36");
    EXPECT_EQ(asText(resizeByArea({1, 2}, 2, 1, 1, 4, 1)), "1 1 2 2");
}

}  // namespace
}  // namespace lumorender::test
