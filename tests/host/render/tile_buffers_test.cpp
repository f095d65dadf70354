// How samples become pixels.
#include "render/frame_buffers.h"

#include <gtest/gtest.h>

#include <limits>

namespace lumorender {
namespace {

// A lamp that is ten times brighter than white covers half of the pixel: its mean is (5 2 .1), and a screen, which ends at
// white, is to show half white. A sample that is no color counts for neither.
TEST(TileBuffers, PicturesForScreensEndAtWhiteBeforeTheyAreFiltered) {
    const BufferLayout layout = makeBufferLayout(nullptr, nullptr, nullptr);
    std::vector<LayerImage> images = makeImages(layout, {0, 0, 1, 1, 1, 1});
    TileBuffers buffers(layout);
    buffers.start(1, 1);
    const miState state = {};
    buffers.add({10, 4, .2F, 1}, state, {}, true);
    buffers.add({0, 0, 0, 1}, state, {}, false);
    buffers.add({std::numeric_limits<float>::infinity(), 0, 0, 1}, state, {}, false);
    buffers.endPixel(0, 0);
    buffers.finish(0, 0, images);
    EXPECT_EQ(images[0].pixels, (std::vector<float>{5, 2, .1F, 1}));
    EXPECT_EQ(images[0].shown, (std::vector<float>{.5F, .5F, .1F, 1}));
    EXPECT_EQ(buffers.droppedSamples(), 1);
}

}  // namespace
}  // namespace lumorender
