#include "image_fixture.h"

#include "support/messages.h"

#include <OpenEXR/ImfChannelList.h>
#include <OpenEXR/ImfFrameBuffer.h>
#include <OpenEXR/ImfHeader.h>
#include <OpenEXR/ImfInputFile.h>
#include <OpenEXR/ImfMatrixAttribute.h>
#include <OpenEXR/ImfStringAttribute.h>

#include <limits>
#include <set>

namespace lumorender::test {
namespace {

using ExrTest = ImageTest;

std::set<std::string> channelsOf(const Imf::Header& header) {
    std::set<std::string> names;
    for (auto i = header.channels().begin(); i != header.channels().end(); ++i) names.insert(i.name());
    return names;
}

TEST_F(ExrTest, KeepsLayersUnderTheirChannelNamesAndTypes) {
    const auto value = [](int x, int y, int c) { return x + 10 * y + 0.25 * c; };
    const LayerImage beauty = makeLayer("", miIMG_TYPE_RGBA_H, 5, 3, value);
    const LayerImage diffuse =
        makeLayer("diffuse", miIMG_TYPE_RGB_FP, 5, 3, [&](int x, int y, int c) { return value(x, y, c) + 1e-4; });
    const LayerImage depth = makeLayer("depth", miIMG_TYPE_Z, 5, 3, value);
    const LayerImage normal = makeLayer("", miIMG_TYPE_N, 5, 3, value);
    ASSERT_EQ(write("a.exr", {&beauty, &diffuse, &depth, &normal}, whole(5, 3)), "");

    const Imf::InputFile file((folder / "a.exr").c_str());
    EXPECT_EQ(channelsOf(file.header()), (std::set<std::string>{"R", "G", "B", "A", "diffuse.R", "diffuse.G",
                                                                "diffuse.B", "depth.Z", "N.X", "N.Y", "N.Z"}));
    EXPECT_EQ(file.header().channels()["R"].type, Imf::HALF);
    EXPECT_EQ(file.header().channels()["diffuse.R"].type, Imf::FLOAT);

    // The lower left pixel stands in the last row of the file, the upper right one in the first.
    const ReadImage read(folder / "a.exr");
    EXPECT_EQ(read.at(0, 2, "R"), 0.0f);
    EXPECT_EQ(read.at(4, 0, "A"), 24.75f);
    EXPECT_EQ(read.at(3, 1, "diffuse.G"), static_cast<float>(13.25 + 1e-4));
    EXPECT_EQ(read.at(1, 0, "depth.Z"), 21.0f);
    EXPECT_EQ(read.at(2, 2, "N.Y"), 2.25f);
}

TEST_F(ExrTest, KeepsEveryBitOfLabels) {
    const auto label = [](int x, int y, int) { return 0xfffffff0u + static_cast<unsigned>(x + 4 * y); };
    const LayerImage ids = makeLayer("object", miIMG_TYPE_TAG, 4, 2, label);
    ASSERT_EQ(write("ids.exr", {&ids}, whole(4, 2)), "");

    Imf::InputFile file((folder / "ids.exr").c_str());
    std::uint32_t pixels[8] = {};
    Imf::FrameBuffer buffer;
    buffer.insert("object.id", Imf::Slice::Make(Imf::UINT, pixels, {0, 0}, 4, 2));
    file.setFrameBuffer(buffer);
    file.readPixels(0, 1);
    for (int row = 0; row < 2; ++row)
        for (int x = 0; x < 4; ++x) EXPECT_EQ(pixels[row * 4 + x], label(x, 1 - row, 0));
}

TEST_F(ExrTest, PlacesTheDataWindowFromTheTop) {
    const LayerImage layer = makeLayer("", miIMG_TYPE_S_FP, 3, 2, [](int x, int y, int) { return x + 10 * y; });
    ASSERT_EQ(write("crop.exr", {&layer}, {4, 1, 3, 2, 10, 8}), "");

    // Rows 1 and 2 from the bottom of 8 are rows 6 and 5 from the top.
    const ReadImage read(folder / "crop.exr");
    EXPECT_EQ(read.spec.x, 4);
    EXPECT_EQ(read.spec.y, 5);
    EXPECT_EQ(read.spec.width, 3);
    EXPECT_EQ(read.spec.height, 2);
    EXPECT_EQ(read.spec.full_width, 10);
    EXPECT_EQ(read.spec.full_height, 8);
    EXPECT_EQ(read.at(2, 0, 0), 12.0f);
    EXPECT_EQ(read.at(0, 1, 0), 0.0f);
}

TEST_F(ExrTest, WritesPicturesOfManyBandsInEveryCompression) {
    const auto value = [](int x, int y, int) { return static_cast<double>(x + y); };
    const LayerImage layer = makeLayer("", miIMG_TYPE_RGB_FP, 7, 600, value);
    for (const char* compression : {"", "none", "rle", "zips", "zip", "piz", "pxr24", "b44a", "dwaa", "nonsense"}) {
        ImageFile file;
        file.path = folder / "long.exr";
        file.compression = compression;
        file.layers = {&layer};
        ASSERT_EQ(writeImageFile(file, whole(7, 600), {}), "") << compression;
        const ReadImage read(file.path);
        const float tolerance = std::string(compression) == "dwaa" ? 8.0f : 0.0f;
        for (const int row : {0, 255, 256, 599})
            EXPECT_NEAR(read.at(6, row, 1), value(6, 599 - row, 0), tolerance) << compression << row;
    }
}

TEST_F(ExrTest, KeepsMetadataAndSurvivesKeysOfTheFormat) {
    const LayerImage layer = makeLayer("", miIMG_TYPE_RGBA_H, 2, 2, [](int, int, int) { return 1; });
    ImageFile file;
    file.path = folder / "m.exr";
    file.layers = {&layer};
    std::vector<float> matrix(16);
    for (std::size_t i = 0; i < 16; ++i) matrix[i] = static_cast<float>(i);
    const Metadata metadata{{"scene", "a.mi"},
                            {"samples", 16},
                            {"pixelAspectRatio", 1.5f},
                            {"worldToCamera", matrix},
                            {"dataWindow", "not a window"}};
    ASSERT_EQ(writeImageFile(file, whole(2, 2), metadata), "");

    const Imf::InputFile read(file.path.c_str());
    EXPECT_EQ(read.header().typedAttribute<Imf::StringAttribute>("scene").value(), "a.mi");
    EXPECT_EQ(read.header().pixelAspectRatio(), 1.5f);
    EXPECT_EQ(read.header().typedAttribute<Imf::M44fAttribute>("worldToCamera").value()[1][2], 6.0f);
    EXPECT_EQ(read.header().dataWindow().max.x, 1);
}

TEST_F(ExrTest, ClampsHalvesButKeepsWhatIsNotFinite) {
    const float values[] = {1e6f, -1e6f, std::numeric_limits<float>::infinity(),
                            std::numeric_limits<float>::quiet_NaN()};
    const LayerImage layer = makeLayer("", miIMG_TYPE_S_H, 4, 1, [&](int x, int, int) { return values[x]; });
    ASSERT_EQ(write("h.exr", {&layer}, whole(4, 1)), "");
    const ReadImage read(folder / "h.exr");
    EXPECT_EQ(read.at(0, 0, 0), 65504.0f);
    EXPECT_EQ(read.at(1, 0, 0), -65504.0f);
    EXPECT_TRUE(std::isinf(read.at(2, 0, 0)));
    EXPECT_TRUE(std::isnan(read.at(3, 0, 0)));
}

TEST_F(ExrTest, RenamesALayerWhoseChannelsAreTaken) {
    const LayerImage first = makeLayer("a", miIMG_TYPE_RGB_H, 1, 1, [](int, int, int) { return 1; });
    const LayerImage second = makeLayer("a", miIMG_TYPE_RGBA_H, 1, 1, [](int, int, int) { return 2; });
    const long warnings = messageCount(MessageClass::Warning);
    ASSERT_EQ(write("twice.exr", {&first, &second, &second}, whole(1, 1)), "");
    EXPECT_EQ(messageCount(MessageClass::Warning), warnings + 2);
    const ReadImage read(folder / "twice.exr");
    EXPECT_EQ(read.at(0, 0, "a.G"), 1.0f);
    EXPECT_EQ(read.at(0, 0, "a_2.A"), 2.0f);
    EXPECT_EQ(read.at(0, 0, "a_3.A"), 2.0f);
}

}  // namespace
}  // namespace lumorender::test
