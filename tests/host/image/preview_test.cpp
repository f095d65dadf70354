#include "image_fixture.h"

#include "image/shrink.h"

#include <limits>

namespace lumorender::test {
namespace {

using PreviewTest = ImageTest;

int byteAt(const ReadImage& image, int x, int row, int channel) {
    return static_cast<int>(std::lround(image.at(x, row, channel) * 255));
}

TEST_F(PreviewTest, ShowsEachTypeInItsWay) {
    const float infinity = std::numeric_limits<float>::infinity();
    const auto preview = [&](miImg_type type, std::vector<float> pixels, int width) {
        LayerImage layer{"x", type, width, 1, std::move(pixels), {}};
        EXPECT_EQ(writePreview(folder / "p.png", layer, whole(width, 1)), "");
        return ReadImage(folder / "p.png");
    };
    // Linear 0.2159 is byte 128 of the display curve; 0.002 lies on the curve's straight part.
    const ReadImage color = preview(miIMG_TYPE_RGB_FP, {0.2159f, 0.002f, 7, -1, infinity, 1}, 2);
    EXPECT_EQ(byteAt(color, 0, 0, 0), 128);
    EXPECT_EQ(byteAt(color, 0, 0, 1), 7);
    EXPECT_EQ(byteAt(color, 0, 0, 2), 255);
    EXPECT_EQ(byteAt(color, 1, 0, 0), 0);
    EXPECT_EQ(byteAt(color, 1, 0, 1), 255);

    const ReadImage depth = preview(miIMG_TYPE_Z, {10, 20, 15, 1e36f}, 4);
    for (const auto& [x, expected] : {std::pair{0, 0}, {1, 255}, {2, 128}, {3, 255}})
        EXPECT_EQ(byteAt(depth, x, 0, 1), expected);

    const ReadImage normal = preview(miIMG_TYPE_N, {-1, 0, 1}, 1);
    for (const auto& [c, expected] : {std::pair{0, 0}, {1, 128}, {2, 255}})
        EXPECT_EQ(byteAt(normal, 0, 0, c), expected);

    const ReadImage motion = preview(miIMG_TYPE_M, {-8, 0, 4}, 1);
    for (const auto& [c, expected] : {std::pair{0, 0}, {1, 128}, {2, 191}})
        EXPECT_EQ(byteAt(motion, 0, 0, c), expected);

    EXPECT_EQ(byteAt(preview(miIMG_TYPE_A_FP, {0.5f}, 1), 0, 0, 0), 128);
}

TEST_F(PreviewTest, KeepsOrientationAndWindow) {
    const LayerImage labels = makeLayer("id", miIMG_TYPE_TAG, 1, 2, [](int, int y, int) { return y == 0 ? 7 : 0; });
    ASSERT_EQ(writePreview(folder / "l.png", labels, {1, 0, 1, 2, 2, 3}), "");
    const ReadImage read(folder / "l.png");
    ASSERT_EQ(read.spec.height, 3);
    EXPECT_GT(byteAt(read, 1, 2, 0), 60);
    EXPECT_EQ(byteAt(read, 1, 1, 0), 0);
    EXPECT_EQ(byteAt(read, 0, 2, 0), 0);
    EXPECT_NE(writePreview(folder / "no/l.png", labels, whole(1, 2)), "");
}

TEST_F(PreviewTest, ContactSheetFitsItsWidthAtAnyLayerCountAndShape) {
    for (const auto& [width, height, count] :
         {std::tuple{640, 360, 36}, {100, 900, 3}, {1, 1, 1}, {16, 16, 100}, {5000, 2, 5}}) {
        std::vector<LayerImage> layers;
        const int middle = width / 2;
        for (int i = 0; i < count; ++i)
            layers.push_back(makeLayer("layer" + std::to_string(i), i % 3 == 2 ? miIMG_TYPE_TAG : miIMG_TYPE_RGB_H,
                                       width, height, [=](int x, int, int) { return x < middle ? 0 : 1; }));
        std::vector<const LayerImage*> pointers;
        for (const LayerImage& layer : layers) pointers.push_back(&layer);
        ASSERT_EQ(writeContactSheet(folder / "sheet.png", pointers, whole(width, height)), "");
        const ReadImage sheet(folder / "sheet.png");
        EXPECT_LE(sheet.spec.width, 2000);
        EXPECT_GT(sheet.spec.width, 200);
    }
    const LayerImage crop = makeLayer("crop", miIMG_TYPE_Z, 1, 1, [](int, int, int) { return 3; });
    EXPECT_EQ(writeContactSheet(folder / "crop.png", {&crop}, {1999, 999, 1, 1, 2000, 1000}), "");
    EXPECT_NE(writeContactSheet(folder / "empty.png", {}, whole(1, 1)), "");
}

TEST(ResizeByArea, TakesExactMeansOfMeasuredValues) {
    // Three pixels into two: each new one covers one and a half old ones.
    EXPECT_EQ(resizeByArea({0, 3, 6}, 3, 1, 1, 2, 1), (std::vector<float>{1, 5}));
    EXPECT_EQ(resizeByArea({1, 3, 5, 1e36f}, 2, 2, 1, 1, 1), (std::vector<float>{3}));
    EXPECT_EQ(resizeByArea({1e36f, 1e36f}, 2, 1, 1, 1, 1), (std::vector<float>{1e36f}));
    EXPECT_EQ(resizeByArea({1, 2}, 2, 1, 1, 4, 1), (std::vector<float>{1, 1, 2, 2}));
}

}  // namespace
}  // namespace lumorender::test
