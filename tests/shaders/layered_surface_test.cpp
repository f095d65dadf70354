/* Surfaces made of other shaders' colors: layers, and the plain one. */
#include "frame_buffer_scene.h"

namespace {

struct Layer {
    miColor color, transparency, glowColor = {0, 0, 0, 0};
};

struct LayeredBlock {
    miInteger passWriteMode = 1, passWriteFlags = 0;
    miScalar passWriteWeight = 1;
    miInteger passMode = 1, compositingFlag = 0;
    miInteger start = 1, count = 3;
    Layer layers[4] = {{},
                       {{1, 2, 3, 1}, {0.5f, 0, 0.25f, 0}, {1, 1, 1, 0}},
                       {{2, 2, 2, 1}, {0.5f, 1, 0, 0}, {2, 2, 2, 0}},
                       {{10, 20, 30, 1}, {0.5f, 0.5f, 0.5f, 0}}};
};

struct SurfaceBlock {
    miInteger passWriteMode = 1, passWriteFlags = 0;
    miScalar passWriteWeight = 1;
    miInteger passMode = 3;
    miColor color = {1, 2, 3, 1}, transparency = {0.25f, 0.5f, 1, 0}, glowColor = {4, 5, 6, 7};
    miColor matteOpacity = {1, 0.5f, 1, 0};
};

SurfaceShaderReturnType untouched() {
    SurfaceShaderReturnType result{};
    result.term3 = {9, 9, 9, 9};
    return result;
}

class LayeredSurfaces : public FrameBufferTest {
protected:
    LayeredSurfaces() { stage.placeVexabase(); }

    template <class Result, class Block>
    Result call(const char* name, twin::ShaderInstance<Block>& shader, Result result) {
        const twin::ShaderEntry<Block, Result> entry(name);
        stage.run(shader);
        miBoolean ignored;
        entry.init(state, shader.parameters(), &ignored);
        EXPECT_EQ(entry.call(&result, state, shader.parameters(), nullptr), miTRUE);
        entry.exit(state, shader.parameters());
        return result;
    }
    SurfaceShaderReturnType layered(twin::ShaderInstance<LayeredBlock>& shader) {
        return call("lumoVexaLayeredShader", shader, untouched());
    }
};

TEST_F(LayeredSurfaces, AreSeenThroughTheTransparenciesAbove) {
    twin::ShaderInstance<LayeredBlock> shader;
    const auto added = layered(shader);
    // red 1 + .5 (2 + .5 x 10), green 2, blue 3 + .25 x 2
    EXPECT_COLOR(added.color, 4.5f, 2, 3.5f, added.color.a);
    EXPECT_COLOR(added.glowColor, 2, 1, 1.5f, 0);
    EXPECT_COLOR(added.transparency, 0.125f, 0, 0, 0);
    EXPECT_COLOR(added.matteOpacity, 0.875f, 1, 1, 0);
    EXPECT_COLOR(added.opacity, 0.875f, 1, 1, 0);
    EXPECT_EQ(added.term3.r, 0);

    shader->compositingFlag = 1;
    // red .5 x 1 + .5 (.5 x 2 + .5 (.5 x 10)), green 2, blue .75 x 3 + .25 x 2
    const auto lessened = layered(shader);
    EXPECT_COLOR(lessened.color, 2.25f, 2, 2.75f, lessened.color.a);
}

TEST_F(LayeredSurfaces, AreNotEvaluatedBelowOpaqueOnes) {
    for (const miInteger count : {3, 0, -5}) {
        twin::ShaderInstance<LayeredBlock> shader;
        shader->count = count;
        shader->layers[2].transparency = {0, 1, 0, 0};
        shader->layers[1].transparency = {1, 0, 0, 0};
        miColor hidden = {100, 100, 100, 1};
        const auto& connection = shader.connect(&shader->layers[3].color, &hidden);
        const auto result = layered(shader);
        EXPECT_EQ(connection.evaluations, 0);
        if (count == 3)
            EXPECT_COLOR(result.color, 3, 2, 3, result.color.a);
        else
            EXPECT_COLOR(result.transparency, 1, 1, 1, 0);
    }
}

/* Of a renderer that keeps what a shader gave, the first call is the one that writes. */
TEST_F(LayeredSurfaces, AreAskedForTheirColorFirst) {
    twin::ShaderInstance<LayeredBlock> shader;
    shader->count = 2;
    std::string order;
    const auto note = [&](miColor& output, char name) {
        shader.connect(&output, [&, name](miState*) {
            order += name;
            return static_cast<void*>(&output);
        });
    };
    for (const int i : {1, 2}) {
        note(shader->layers[i].glowColor, 'g');
        note(shader->layers[i].transparency, 't');
        note(shader->layers[i].color, 'c');
    }
    layered(shader);
    EXPECT_EQ(order, "ctgctg");
}

TEST_F(LayeredSurfaces, LetLightThroughByTheirTransparency) {
    state->type = miRAY_SHADOW;
    state->dist = 1;
    twin::ShaderInstance<LayeredBlock> layers;
    layers->layers[1].transparency = {0.5f, 1, 0.25f, 0};
    EXPECT_COLOR(call("lumoVexaLayeredShader", layers, miColor{1, 1, 0, 1}), 0.125f, 0.5f, 0, 1);
    twin::ShaderInstance<SurfaceBlock> plain;
    EXPECT_COLOR(call("lumoVexaSurfaceShader", plain, miColor{1, 1, 0.5f, 1}), 0.25f, 0.5f, 0.5f, 1);
}

TEST_F(LayeredSurfaces, OfAPlainColor) {
    twin::ShaderInstance<SurfaceBlock> shader;
    const auto result = call("lumoVexaSurfaceShader", shader, untouched());
    EXPECT_COLOR(result.color, 1, 2, 3, 1);
    EXPECT_COLOR(result.glowColor, 4, 5, 6, 0);
    EXPECT_COLOR(result.transparency, 0.25f, 0.5f, 1, 0);
    EXPECT_COLOR(result.opacity, 0.75f, 0.5f, 0, 0);
    EXPECT_COLOR(result.matteOpacity, 0.75f, 0.25f, 0, 0);
    EXPECT_EQ(result.term3.r, 0);
}

}  // namespace
