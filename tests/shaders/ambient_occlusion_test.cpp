/* The ambient occlusion pass: the settings that it hands to the renderer, and what it makes of the answer. */
#include <cmath>
#include <vector>

#include "pass_scene.h"

namespace {

using twin::Matrix;
using twin::renderer;

struct OcclusionPass {
    PassFields common;
    miInteger customSettings = 1;
    miInteger rays = 0;
    miColor bright = {1, 1, 1, 1}, dark = {0, 0, 0, 0};
    miScalar spread = 0, spreadExponent = 0, maximumDistance = 0;
    miInteger reflective = 0;
    miInteger cachePoints = 0;
    miInteger alpha = 0;
    miInteger output = 0;
};

class OcclusionPassTest : public PassTest {
protected:
    OcclusionPassTest() {
        state->normal = {0, 0.6f, 0.8f};
        renderer().lighting.occlusion = [this](miState*, miAmboccl_options* options, miVector* bent) {
            asked = *options;
            if (bent) *bent = bentNormal;
            return hidden;
        };
    }

    miColor result(const OcclusionPass& parameters) {
        setBuffer({9, 8, 7, 6});
        EXPECT_EQ(run("lumoPassAmbientOcclusion", parameters), miTRUE);
        return passBuffer();
    }

    bool writesOcclusion() {
        stage.rendering.buffers.beginSample();
        EXPECT_EQ(run("lumoPassAmbientOcclusion", OcclusionPass{}), miTRUE);
        return wasPut("pass");
    }

    void expectAsked(miInteger rays, const miVector& axis, miScalar spread, miScalar exponent, miScalar maximum,
                     miInteger points) {
        EXPECT_EQ(asked.size, 48u);
        EXPECT_EQ(asked.rays, rays);
        EXPECT_EQ(asked.axis.x, axis.x);
        EXPECT_EQ(asked.axis.y, axis.y);
        EXPECT_EQ(asked.axis.z, axis.z);
        EXPECT_EQ(asked.spread, spread);
        EXPECT_EQ(asked.spread_exp, exponent);
        EXPECT_EQ(asked.mindist, -1);
        EXPECT_EQ(asked.maxdist, maximum);
        EXPECT_EQ(asked.cache_points, points);
        EXPECT_EQ(asked.flags, -1);
        EXPECT_EQ(asked.falloff, -1);
    }

    miScalar hidden = 0;
    miVector bentNormal = {0, 0, 1};
    miAmboccl_options asked = {};
};

/* All parameters set to something, but `customSettings`. */
OcclusionPass ownSettings() {
    OcclusionPass pass;
    pass.rays = 77;
    pass.bright = {0.2f, 0.4f, 0.8f, 0.3f};
    pass.dark = {0.1f, 0, 0.6f, 0.7f};
    pass.spread = 0.5f;
    pass.spreadExponent = 3;
    pass.maximumDistance = 12;
    pass.cachePoints = 5;
    pass.alpha = 1;
    return pass;
}

TEST_F(OcclusionPassTest, LeavesTheChoiceToTheRendererUnlessAskedOtherwise) {
    OcclusionPass pass = ownSettings();
    pass.customSettings = 0;
    pass.reflective = 1;
    pass.output = 2;
    EXPECT_COLOR(result(pass), 1, 1, 1, 1);
    expectAsked(-1, state->normal, -2, 1, -1, -1);
    hidden = 1;
    EXPECT_COLOR(result(pass), 0, 0, 0, 0);
    hidden = 0.75f;
    EXPECT_COLOR(result(pass), 0.25f, 0.25f, 0.25f, 1);

    result(OcclusionPass{});
    expectAsked(-1, state->normal, -2, 1, -1, -1);
    pass = ownSettings();
    pass.spread = pass.spreadExponent = pass.maximumDistance = -0.5f;
    pass.cachePoints = -3;
    pass.rays = -4;
    result(pass);
    expectAsked(-4, state->normal, -2, 1, -1, -1);  // any number of rays but 0 is handed on
}

TEST_F(OcclusionPassTest, HandsItsOwnSettingsOver) {
    result(ownSettings());
    expectAsked(77, state->normal, 0.5f, 3, 12, 5);
    OcclusionPass pass = ownSettings();
    pass.reflective = 1;
    state->dir = {0, 0, -1};
    result(pass);
    // d - 2 (d n) n = (0, 0, -1) + 1.6 (0, 0.6, 0.8) = (0, 0.96, 0.28)
    EXPECT_FLOAT_EQ(asked.axis.y, 0.96f);
    EXPECT_FLOAT_EQ(asked.axis.z, 0.28f);
}

TEST_F(OcclusionPassTest, MixesItsColors) {
    OcclusionPass pass = ownSettings();
    for (miInteger output : {0, 5, -1}) {
        pass.output = output;
        pass.alpha = 0;
        hidden = 0.75f;
        // 0.75 dark + 0.25 bright = (0.075 + 0.05, 0.1, 0.45 + 0.2)
        EXPECT_COLOR(result(pass), 0.125f, 0.1f, 0.65f, 1);
        pass.alpha = 1;
        EXPECT_COLOR(result(pass), 0.125f, 0.1f, 0.65f, 0.25f);
        // The ends keep their own alpha, whatever the parameters' alphas and the switch say.
        for (miInteger alpha : {0, 1}) {
            pass.alpha = alpha;
            hidden = 1;
            EXPECT_COLOR(result(pass), 0.1f, 0, 0.6f, 0);
            hidden = 0;
            EXPECT_COLOR(result(pass), 0.2f, 0.4f, 0.8f, 1);
            hidden = -0.5f;
            EXPECT_COLOR(result(pass), 0.2f, 0.4f, 0.8f, 1);
        }
    }
}

TEST_F(OcclusionPassTest, TintsTheSurroundingsAlongTheBentNormal) {
    bentNormal = {0.6f, 0, 0.8f};
    miVector looked = {};
    renderer().tracing.environment = [&](miColor* color, miState*, const miVector* dir) {
        looked = *dir;
        *color = {2, 4, 0.5f, 9};
        return miTRUE;
    };
    OcclusionPass pass = ownSettings();
    pass.output = 1;
    hidden = 0.75f;
    // surroundings * bright * 0.25 + dark = (0.1 + 0.1, 0.4, 0.1 + 0.6)
    EXPECT_COLOR(result(pass), 0.2f, 0.4f, 0.7f, 0.25f);
    EXPECT_FLOAT_EQ(looked.x, 0.6f);
    EXPECT_FLOAT_EQ(looked.z, 0.8f);
    pass.alpha = 0;
    EXPECT_COLOR(result(pass), 0.2f, 0.4f, 0.7f, 1);
    hidden = 1;
    EXPECT_COLOR(result(pass), 0.1f, 0, 0.6f, 1);  // no end case here
    pass.alpha = 1;
    EXPECT_COLOR(result(pass), 0.1f, 0, 0.6f, 0);
    renderer().tracing.environment = [](miColor*, miState*, const miVector*) { return miFALSE; };
    hidden = 0;
    EXPECT_COLOR(result(pass), 0.1f, 0, 0.6f, 1);
}

TEST_F(OcclusionPassTest, ShowsTheBentNormalInASpace) {
    OcclusionPass pass = ownSettings();
    pass.output = 2;
    hidden = 0.75f;
    EXPECT_COLOR(result(pass), 0.5f, 0.5f, 1, 0.25f);
    pass.alpha = 0;
    hidden = 1;
    EXPECT_COLOR(result(pass), 0.5f, 0.5f, 1, 1);

    // The answer is in world space, from which normals go by the transpose of the matrix that leads there: z is halved
    // by what doubles the lengths along it, on the way back it is doubled.
    bentNormal = {0.6f, 0, 0.8f};
    renderer().spaces.world = Matrix::scale(1, 1, 2);
    renderer().spaces.camera = Matrix::scale(1, 1, 0.5f);
    renderer().spaces.object = Matrix::scale(1, 1, 4);
    EXPECT_COLOR(result(pass), 0.8f, 0.5f, 0.9f, 1);
    pass.output = 3;
    // Internal (0.6, 0, 1.6), camera (0.6, 0, 3.2) with length 3.255764.
    EXPECT_COLOR(result(pass), 0.5921443f, 0.5f, 0.9914361f, 1);
    pass.output = 4;
    // Object (0.6, 0, 0.4) with length 0.7211103: (0.8320503, 0, 0.5547002).
    EXPECT_COLOR(result(pass), 0.9160252f, 0.5f, 0.7773501f, 1);
    bentNormal = {0, 0, 0};
    EXPECT_COLOR(result(pass), 0.5f, 0.5f, 0.5f, 1);
}

TEST_F(OcclusionPassTest, AnswersEyeRaysOfTilesAndOfOcclusionAhead) {
    for (int type = 0; type < miRAY_COUNT; ++type) {
        state->type = static_cast<miRay_type>(type);
        EXPECT_EQ(writesOcclusion(), type == miRAY_EYE) << type;
    }
    state->type = miRAY_EYE;
    for (int bits : {0, 1, 2, 3, 4, 5, 64}) {
        renderer().queries.answer(miQ_STAGE, bits);
        EXPECT_EQ(writesOcclusion(), bits == 1 || bits == 4) << bits;
    }
}

/* While occlusion is computed ahead nothing has been gathered yet: there is no opacity to test. */
TEST_F(OcclusionPassTest, TestsOpacityInTilesOnly) {
    publishFrame({0, {2, 2, 2, 1}});
    EXPECT_FALSE(writesOcclusion());
    renderer().queries.answer(miQ_STAGE, miSTAGE_AMBOCCL);
    EXPECT_TRUE(writesOcclusion());
}

}  // namespace
