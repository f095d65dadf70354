/* Surfaces made of layers of other shaders' colors. */
#include "block.h"
#include "frame_buffer_scene.h"

namespace {

class LayeredSurfaces : public FrameBufferTest {
protected:
    LayeredSurfaces() { stage.placeVexabase(); }

    const SurfaceShaderReturnType& shade(twin::Block& shader) {
        result.term3 = {9, 9, 9, 9};
        shader.init(state);
        EXPECT_EQ(shader.call(state, &result), miTRUE);
        shader.exit(state);
        return result;
    }
    /* Notes the letters of what is asked for, in order. */
    void note(twin::Block& shader, const std::string& parameter, char letter) {
        shader.connect(parameter, [&, parameter, letter](miState*) {
            order += letter;
            return shader.member(parameter);
        });
    }

    std::string order;
    SurfaceShaderReturnType result{};
};

const std::string kLayers =
    "layers [ { color 1 2 3 1, transparency .5 0 .25 0, glowColor 1 1 1 0 }, "
    "{ color 2 2 2 1, transparency .5 1 0 0, glowColor 2 2 2 0 }, { color 10 20 30 1, transparency .5 .5 .5 0 } ], ";

/* Red 1 + .5 (2 + .5 x 10), green 2, blue 3 + .25 x 2. With the flag .5 x 1 + .5 (.5 x 2 + .5 (.5 x 10)), blue .75 x 3 +
 * .25 x 2. Of a renderer that keeps what a shader gave, the first call is the one that writes: the color. */
TEST_F(LayeredSurfaces, AreSeenThroughTheTransparenciesAbove) {
    twin::Block added("lumoVexaLayeredShader", kLayers),
        lessened("lumoVexaLayeredShader", kLayers + "compositingFlag 1");
    for (const std::string layer : {"layers[0].", "layers[1]."}) {
        note(added, layer + "glowColor", 'g');
        note(added, layer + "transparency", 't');
        note(added, layer + "color", 'c');
    }
    shade(added);
    EXPECT_EQ(order, "ctgctg");
    EXPECT_COLOR(result.color, 4.5f, 2, 3.5f, result.color.a);
    EXPECT_COLOR(result.glowColor, 2, 1, 1.5f, 0);
    EXPECT_COLOR(result.transparency, .125f, 0, 0, 0);
    EXPECT_COLOR(result.matteOpacity, .875f, 1, 1, 0);
    EXPECT_COLOR(result.opacity, .875f, 1, 1, 0);
    EXPECT_EQ(result.term3.r, 0);
    EXPECT_COLOR(shade(lessened).color, 2.25f, 2, 2.75f, result.color.a);
    // Below opaque ones they are not evaluated.
    twin::Block opaque("lumoVexaLayeredShader", kLayers);
    opaque.at<miColor>("layers[0].transparency") = {};
    note(opaque, "layers[1].color", '1');
    EXPECT_COLOR(shade(opaque).color, 1, 2, 3, result.color.a);
    EXPECT_EQ(order, "ctgctg");
}

}  // namespace
