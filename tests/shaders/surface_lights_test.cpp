/* The light loop of surfaces: how many samples, from which side, lights of other libraries, area lights, odd input. */
#include <cmath>

#include "surface_scene.h"

namespace {

using twin::renderer;

class SurfaceLights : public SurfaceTest {
protected:
    static constexpr miVector kBehind = {0, 0, -1};
};

TEST_F(SurfaceLights, NoneAndTenThousand) {
    usePasses({0, 5});
    shade(LambertWords());
    EXPECT_EQ(returned, miTRUE);
    EXPECT_EQ(result.color.r, 0);

    for (int i = 0; i < 10000; ++i) addLight().color = {0.0001f, 0, 0, 1};
    shade(LambertWords());
    EXPECT_NEAR(result.color.r, 1, 1e-3);
    EXPECT_NEAR(pass(0).r, 1, 1e-3);
    EXPECT_NEAR(pass(5).r, 1, 1e-3);
}

TEST_F(SurfaceLights, ModesWithoutLightAskNobody) {
    addLight();
    record[4] = 3;
    shade(LambertWords().color(18, 0.5f, 0.5f, 0.5f));
    EXPECT_EQ(renderer().lighting.instanceLights.calls(), 0);
    EXPECT_EQ(result.color.r, 0.5f);

    // Mode 1 wants the light before its shadow, and tells the light to trace none.
    record[4] = 1;
    lights[0].transmission = 0.5f;
    shade(LambertWords());
    EXPECT_EQ(lights[0].lastWord11, 1);
    EXPECT_EQ(result.color.r, 1);
    record[4] = 0;
    shade(LambertWords());
    EXPECT_EQ(lights[0].lastWord11, 0);
    EXPECT_EQ(result.color.r, 0.5f);
}

/* Behind the surface: no diffuse light, but what shines through a translucent one; each side is a run of its own. */
TEST_F(SurfaceLights, BehindTheSurface) {
    usePasses({5, 10, 25});
    addLight().direction = kBehind;
    shade(LambertWords());
    EXPECT_EQ(result.color.r, 0);
    EXPECT_EQ(pass(10).r, 0);

    // Depth 1 lets light through from the cosine -11.5 on; focus 0: .5 as it is.
    lights[0].calls = 0;
    const LambertWords thin = LambertWords().scalar(26, 0.5f).scalar(28, 1);
    shade(thin);
    EXPECT_EQ(lights[0].calls, 1);
    EXPECT_EQ(lights[0].lastWord11, 0) << "its shadow counts";
    EXPECT_FLOAT_EQ(result.color.r, 0.5f);
    EXPECT_FLOAT_EQ(pass(25).r, 0.5f);
    EXPECT_FLOAT_EQ(pass(5).r, 0.5f);
    EXPECT_EQ(pass(10).r, 0);

    // Without depth nothing comes from behind.
    shade(LambertWords().scalar(26, 0.5f));
    EXPECT_EQ(result.color.r, 0);

    // The record may ask for the second side of every light.
    lights[0].calls = 0;
    record[9] = 1;
    shade(LambertWords());
    EXPECT_EQ(lights[0].calls, 1);
    EXPECT_EQ(lights[0].lastWord11, 0);
    EXPECT_EQ(result.color.r, 0);
}

TEST_F(SurfaceLights, AmbientLightKnowsNoSides) {
    usePasses({0, 2});
    addLight().isAmbient = true;
    shade(LambertWords());
    EXPECT_EQ(lights[0].calls, 1);
    EXPECT_EQ(result.color.r, 1);
    lights[0].direction = kBehind;
    shade(LambertWords());
    EXPECT_EQ(lights[0].calls, 2);
    EXPECT_EQ(lights[0].lastWord11, 1);
    EXPECT_EQ(result.color.r, 1);
    EXPECT_FLOAT_EQ(pass(0).r, 2) << "both calls";
}

/* A square of 2 x 2 at distance 1 above the point. Its edges, seen from there, each span the angle acos(1/3) (corners
 * (1 1 1) and (1 -1 1): 1 / 3), and the normals of those faces have the cosine 1 / sqrt 2 with the light's axis: in all
 * 4 x 5 x acos(1/3) / sqrt 2. The sign follows the order of the corners. */
TEST_F(SurfaceLights, AreaLightsGiveACosineOfTheirOwn) {
    usePasses({5, 10});
    const miVector corners[4] = {{1, 1, -4}, {-1, 1, -4}, {-1, -1, -4}, {1, -1, -4}};
    const miVector reversed[4] = {corners[3], corners[2], corners[1], corners[0]};
    addLight().corners = corners;
    shade(LambertWords());
    const miScalar expected = 20 * std::acos(1.0f / 3) / std::sqrt(2.0f);
    EXPECT_NEAR(result.color.r, expected, 1e-4);
    EXPECT_NEAR(pass(10).r, expected, 1e-4);
    lights[0].corners = reversed;
    shade(LambertWords());
    EXPECT_EQ(result.color.r, 0) << "the light faces away";
}

/* Translucence adds what shines through. Everything else is as without it: ambient light from behind, in whose way the
 * surface itself is, and an area light that is partly behind, of which both sides see samples. */
TEST_F(SurfaceLights, AreTheSameWithATraceOfTranslucence) {
    const miVector corners[4] = {{1, 1, -4}, {-1, 1, -4}, {-1, -1, -4}, {1, -1, -4}};
    usePasses({2, 5, 10});
    addLight({.direction = kBehind, .transmission = 0, .isAmbient = true});
    addLight({.direction = {0, 0, 1}, .corners = corners});
    const auto expectLit = [&](const LambertWords& words, miScalar ambient, miScalar area) {
        for (FrameBufferInfo& each : entries()) each.slots[0].contribution = {};
        shade(words);
        EXPECT_NEAR(result.color.r, ambient + area, 1e-3);
        EXPECT_NEAR(pass(2).r, ambient, 1e-3);
        EXPECT_NEAR(pass(5).r, area, 1e-3);
        EXPECT_NEAR(pass(10).r, area, 1e-3);
    };
    const LambertWords trace = LambertWords().scalar(26, 1e-6f).scalar(28, 1);
    const miScalar area = 20 * std::acos(1.0f / 3) / std::sqrt(2.0f);  // as above
    expectLit(LambertWords(), 1, area);
    expectLit(trace, 1, area);
    record[9] = 1;
    expectLit(LambertWords(), 1, area);
    record[9] = 0;
    facingTest = false;
    lights[0].transmission = 1;
    expectLit(LambertWords(), 1, area);
    expectLit(trace, 1, area);
}

/* A shadow ray's result is one color, from which the surface takes its share; what lies behind it stays untouched. */
TEST_F(SurfaceLights, ShadowRaysGetOneColor) {
    struct Block {
        miColor color, guard;
    };
    const auto shadow = [&](const LambertWords& words) {
        twin::ShaderInstance<LambertWords> shader(words);
        static const twin::ShaderEntry<LambertWords> entry("lumoVexaLambert");
        stage.run(shader);
        miBoolean wantsInstances = miFALSE;
        entry.init(state, shader.parameters(), &wantsInstances);
        Block block = {{1, 0.5f, 0.25f, 0.125f}, {9, 9, 9, 9}};
        EXPECT_EQ(entry.call(&block, state, shader.parameters(), nullptr), miTRUE);
        entry.exit(state, shader.parameters());
        EXPECT_COLOR(block.guard, 9, 9, 9, 9);
        return block.color;
    };
    state->type = miRAY_SHADOW;
    stage.options.shadow = 1;
    const LambertWords glass = LambertWords().color(7, 0.5f, 0.5f, 1).scalar(33, 0.5f);
    state->normal = {0.8f, 0, 0.6f};  // 1 - (1 - .6) x .5 = .8 of the transparency
    EXPECT_COLOR(shadow(glass), 0.4f, 0.2f, 0.2f, 0.125f);
    EXPECT_COLOR(shadow(LambertWords()), 0, 0, 0, 0);
    EXPECT_COLOR(shadow(LambertWords().integer(30, 1)), 1, 0.5f, 0.25f, 0.125f);

    // Segments: the way inside was half of the depth of full tint, so half of what is taken is given back.
    stage.options.shadow = 's';
    state->dot_nd = -1;
    state->dist = 2;
    EXPECT_COLOR(shadow(LambertWords(glass).scalar(34, 4)), 0.75f, 0.375f, 0.25f, 0.125f);
    EXPECT_EQ(renderer().tracing.shadowSegment.calls(), 1);
    shadow(LambertWords().integer(30, 1));
    EXPECT_EQ(renderer().tracing.shadowSegment.calls(), 2) << "a hidden occluder lets the ray go on";
}

}  // namespace
