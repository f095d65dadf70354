/* Surfaces made of layers of other shaders' colors; those of materials are seen in pictures. */
#include "surface_scene.h"

namespace {

/* Red 1 + .5 (2 + .5 x 10), green 2, blue 3 + .25 x 2. With the flag .5 x 1 + .5 (.5 x 2 + .5 (.5 x 10)), blue .75 x 3 +
 * .25 x 2. */
TEST_F(SurfaceTest, LayersAreSeenThroughTheTransparenciesAbove) {
    const std::string layers =
        "layers [ { color 1 2 3 1, transparency .5 0 .25 0, glowColor 1 1 1 0 }, "
        "{ color 2 2 2 1, transparency .5 1 0 0, glowColor 2 2 2 0 }, { color 10 20 30 1, transparency .5 .5 .5 0 } ]";
    shade("LayeredShader", layers);
    EXPECT_COLOR(result.color, 4.5f, 2, 3.5f, result.color.a);
    EXPECT_COLOR(result.glowColor, 2, 1, 1.5f, 0);
    EXPECT_COLOR(result.transparency, .125f, 0, 0, 0);
    EXPECT_COLOR(result.matteOpacity, .875f, 1, 1, 0);
    EXPECT_COLOR(result.opacity, .875f, 1, 1, 0);
    EXPECT_EQ(result.term3.r, 0);
    EXPECT_COLOR(shade("LayeredShader", layers + ", compositingFlag 1").color, 2.25f, 2, 2.75f, result.color.a);
    // Below opaque ones they are not evaluated.
    twin::Block opaque("lumoVexaLayeredShader", layers);
    opaque.at<miColor>("layers[0].transparency") = {};
    const auto& below = opaque.connect("layers[1].color", opaque.member("layers[1].color"));
    EXPECT_COLOR(shade(opaque).color, 1, 2, 3, result.color.a);
    EXPECT_EQ(below.evaluations + below.calls, 0);
}

}  // namespace
