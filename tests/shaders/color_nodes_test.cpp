/* Color nodes and conversions of what is no color; their arithmetic is seen in pictures. */
#include <cmath>
#include <limits>

#include "block.h"
#include "frame_buffer_scene.h"

namespace {

constexpr miScalar kNaN = std::numeric_limits<miScalar>::quiet_NaN(),
                   kInfinity = std::numeric_limits<miScalar>::infinity();

TEST_F(FrameBufferTest, ColorNodesHandOnWhatIsNoNumber) {
    stage.placeVexabase();
    using Parts = std::pair<const char*, miScalar>;
    const auto expect = [&](const std::string& node, const Parts& part, const std::array<miScalar, 4>& wanted) {
        twin::Block shader("lumoVexa" + node);
        *static_cast<miScalar*>(shader.member(part.first)) = part.second;
        std::array<miScalar, 4> result = {9, 9, 9, 9};
        shader.init(state);
        EXPECT_EQ(shader.call(state, result.data()), miTRUE);
        shader.exit(state);
        for (int i = 0; i < 4; ++i)
            EXPECT_TRUE(std::isnan(wanted[i]) ? std::isnan(result[i]) : result[i] == wanted[i]) << node << result[i];
    };
    // Results are not larger than declared, so what is behind them stays 9.
    expect("Clamp", {"input", kNaN}, {kNaN, 0, 0, 0});
    expect("Clamp", {"input", kInfinity}, {1, 0, 0, 0});
    expect("Blend", {"blender", kNaN}, {kNaN, kNaN, kNaN, kNaN});
    expect("Luminance", {"value", 2}, {.6f, 9, 9, 9});
    expect("Gamma", {"value", -1}, {-1, 0, 0, 9});
    // Negative hues and what is no hue leave the target alone, unless there is no saturation.
    for (const miScalar hue : {-.1f, kNaN, kInfinity}) {
        const miColor hsv = {hue, .5f, 2, .25f}, gray = {hue, 0, 2, .25f};
        miColor rgb = {7, 8, 9, 1};
        library::hsv_to_rgb(&hsv, &rgb);
        EXPECT_COLOR(rgb, 7, 8, 9, .25f);
        library::hsv_to_rgb(&gray, &rgb);
        EXPECT_COLOR(rgb, 2, 2, 2, .25f);
    }
}

}  // namespace
