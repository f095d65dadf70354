/* What lumoVexaLambert gives and writes into the passes, against numbers worked out by hand. */
#include <algorithm>

#include "surface_scene.h"

namespace {

using twin::renderer;

class SurfacePasses : public SurfaceTest {
protected:
    /* Color (.8 .4 .2), half of the light scattered back, a quarter clear, alpha by opacity. */
    static LambertWords sheet() {
        return LambertWords().color(3, 0.8f, 0.4f, 0.2f).scalar(17, 0.5f).color(7, 0.25f, 0.25f, 0.25f);
    }
    std::vector<int> allTypes() {
        std::vector<int> types(35);
        for (int type = 0; type < 35; ++type) types[static_cast<std::size_t>(type)] = type;
        return types;
    }
    void expectNothingWritten() {
        for (int type = 0; type < 35; ++type) EXPECT_COLOR(pass(type), 0, 0, 0, 0);
    }
};

#define EXPECT_RGB(actual, R, G, B)   \
    do {                              \
        const miColor rgb = (actual); \
        EXPECT_FLOAT_EQ(rgb.r, (R));  \
        EXPECT_FLOAT_EQ(rgb.g, (G));  \
        EXPECT_FLOAT_EQ(rgb.b, (B));  \
    } while (false)

/* Light 1: white, cosine .5. Light 2: grey .5, cosine 1, half of it shadowed to black. The diffuse terms without light
 * are D1 = .5 x .5 x color = (.2 .1 .05) and D2 = .5 x color = (.4 .2 .1); light arrives by 1 and .25. */
TEST_F(SurfacePasses, OfASheetUnderTwoLights) {
    usePasses(allTypes());
    addLight().direction = {std::sqrt(0.75f), 0, 0.5f};
    ScriptedLight& second = addLight();
    second.color = {0.5f, 0.5f, 0.5f, 1};
    second.transmission = 0.5f;
    shade(sheet());

    EXPECT_RGB(pass(5), 0.3f, 0.15f, 0.075f);         // D1 + .25 D2
    EXPECT_RGB(pass(0), 0.225f, 0.1125f, 0.05625f);   // .75 of it
    EXPECT_RGB(pass(6), 0.4f, 0.2f, 0.1f);            // D1 + .5 D2
    EXPECT_RGB(pass(34), 0.3f, 0.15f, 0.075f);        // .75 of it
    EXPECT_RGB(pass(12), 0.075f, 0.0375f, 0.01875f);  // blocked: .75 D2 (.5 - .25)
    EXPECT_RGB(pass(10), 0.75f, 0.75f, 0.75f);        // cosines times light: .5 + .25
    EXPECT_RGB(pass(11), 1, 1, 1);                    // .5 + .5
    EXPECT_RGB(pass(14), 0.25f, 0.25f, 0.25f);        // 1 x .25 blocked
    // Scalars: luminance of what 12 and 14 get, in the first word alone.
    EXPECT_COLOR(pass(13), 0.3f * 0.075f + 0.59f * 0.0375f + 0.11f * 0.01875f, 0, 0, 0);
    EXPECT_COLOR(pass(15), 0.25f, 0, 0, 0);
    EXPECT_COLOR(pass(27), 0.75f + 1, 0, 0, 0);  // (cosine + 1) / 2 of each light
    EXPECT_COLOR(pass(33), 0, 0, 0, 0);          // seen face on
    EXPECT_COLOR(pass(4), 0.4f, 0.2f, 0.1f, 1);
    EXPECT_COLOR(pass(28), 0.25f, 0.25f, 0.25f, 1);
    EXPECT_COLOR(pass(26), 0, 0, 0, 1);
    EXPECT_RGB(pass(7), 0, 0, 0);

    // The picture is the front's share of the same sum; alpha comes from the matte.
    EXPECT_EQ(returned, miTRUE);
    EXPECT_RGB(result.color, 0.225f, 0.1125f, 0.05625f);
    EXPECT_RGB(result.term3, 0.3f, 0.15f, 0.075f);
    EXPECT_RGB(result.matteOpacity, 0.75f, 0.75f, 0.75f);
    EXPECT_RGB(result.transparency, 0.25f, 0.25f, 0.25f);
    EXPECT_RGB(result.opacity, 0.75f, 0.75f, 0.75f);
}

TEST_F(SurfacePasses, HiddenSourceKeepsItsGlowAndLeavesBeauty) {
    usePasses(allTypes());
    addLight();
    shade(sheet().integer(30, 1).scalar(13, 2));
    EXPECT_RGB(result.color, 0, 0, 0);
    EXPECT_RGB(result.glowColor, 0.6f, 0.3f, 0.15f);  // 2 x .75 x D2
    EXPECT_RGB(pass(29), 0.6f, 0.3f, 0.15f);
    EXPECT_RGB(pass(5), 0.4f, 0.2f, 0.1f);
    EXPECT_COLOR(pass(0), 0, 0, 0, 0);
    EXPECT_COLOR(pass(34), 0, 0, 0, 0);
}

TEST_F(SurfacePasses, BlackHolesAndClosedMaterialsWriteNothing) {
    usePasses(allTypes());
    addLight();
    addLight().isAmbient = true;
    const LambertWords full = sheet().color(22, 1, 1, 1).scalar(26, 1);
    shade(LambertWords(full).integer(11, 0));
    EXPECT_COLOR(result.matteOpacity, -1000000, -1000000, -1000000, 0);
    EXPECT_COLOR(result.color, 0, 0, 0, 0);
    EXPECT_COLOR(result.glowColor, 0, 0, 0, 0);
    expectNothingWritten();

    shade(LambertWords(full).integer(0, 0));
    EXPECT_GT(result.color.r, 1);
    expectNothingWritten();
}

TEST_F(SurfacePasses, WeightAndModeGoWithEveryWrite) {
    usePasses({4, 5, 33});
    addLight();
    state->normal = {0.6f, 0, 0.8f};  // cosine to eye and light .8
    state->dot_nd = -0.8f;
    const LambertWords half = LambertWords().integer(1, 1).scalar(2, 0.5f);
    shade(half);
    EXPECT_COLOR(pass(4), 0.5f, 0.5f, 0.5f, 0.5f);
    EXPECT_RGB(pass(5), 0.4f, 0.4f, 0.4f);
    EXPECT_FLOAT_EQ(pass(33).r, 0.1f);

    // Without lights, which write every pass once they are sampled.
    lights.clear();
    entry(2).slots[0].contribution = {3, 4, 5, 6};
    shade(LambertWords(half).integer(0, 3));
    EXPECT_COLOR(pass(4), 0.5f, 0.5f, 0.5f, 0.5f);
    EXPECT_NEAR(pass(33).r, 0.1f, 1e-6f);
    EXPECT_EQ(pass(33).g, 4) << "a scalar is one word";
    EXPECT_EQ(pass(33).a, 6);

    // Turned away from the eye.
    state->dot_nd = 0.8f;
    shade(LambertWords().integer(0, 3));
    EXPECT_EQ(pass(33).r, 1);
}

/* The weight of rays that start here is the surface's share of the light, raised by glow, while its terms are shaded. */
TEST_F(SurfacePasses, WeightOfSecondaryRaysIsTheSurfacesShare) {
    std::vector<miColor> seen;
    renderer().lighting.sample = [&](miColor*, miVector*, miScalar*, miState*, miTag, int*) {
        seen.push_back(contributionWeight());
        return miFALSE;
    };
    addLight();
    setWord(140, 0.5f);
    for (miScalar glow : {0.5f, 4.0f}) shade(sheet().scalar(13, glow));
    record[4] = 2;
    shade(sheet());
    ASSERT_EQ(seen.size(), 6u);                   // a second time for each, since ambient light may be behind
    EXPECT_COLOR(seen[0], 0.3f, 0.3f, 0.15f, 1);  // (.5 1 1) x .75 x (.8 .4 .2)
    EXPECT_COLOR(seen[2], 1.2f, 1.2f, 0.6f, 1);
    EXPECT_COLOR(seen[4], 0.5f, 1, 1, 1);  // the shadow mode leaves it alone
    EXPECT_COLOR(contributionWeight(), 0.5f, 1, 1, 1);
}

/* Slot 16 is left for other shaders in word 11. */
TEST_F(SurfacePasses, StateIsAsBeforeAfterwards) {
    const miVector normal = state->normal = {0.6f, 0, 0.8f};
    state->dot_nd = -0.8f;
    addLight();
    twin::ShaderInstance<LambertWords> shader(sheet().scalar(26, 1).scalar(16, 2.5f));
    miVector bump = {0, 0, 3};
    shader.connect(&shader->word(36), &bump);
    usePasses({5});
    shade(shader);
    EXPECT_NEAR(pass(5).r, 0.8f + 0.4f, 1e-6f) << "lit at the bumped normal, which is made a unit vector";
    EXPECT_EQ(state->normal.x, normal.x);
    EXPECT_EQ(state->normal.z, normal.z);
    EXPECT_EQ(state->normal_geom.z, 1);
    EXPECT_EQ(state->dot_nd, -0.8f);
    EXPECT_EQ(stage.vexabaseScalar(11), 2.5f);
    EXPECT_EQ(entry(0).flags & 0x400u, 0u);
}

/* Mode 2 renders the share of the light that is blocked. */
TEST_F(SurfacePasses, ShadowModeGivesTheBlockedShare) {
    record[4] = 2;
    addLight().transmission = 0.25f;
    ScriptedLight& second = addLight();
    second.color = {0, 3, 0, 1};
    shade(sheet());
    // (.75 x 1 + 0) / (1 + 3 x .59)
    EXPECT_NEAR(result.matteOpacity.r, 0.75f / 2.77f, 1e-6f);
    EXPECT_COLOR(result.color, 0, 0, 0, 0);
    lights.clear();
    shade(sheet());
    EXPECT_EQ(result.matteOpacity.r, 0);
}

}  // namespace
