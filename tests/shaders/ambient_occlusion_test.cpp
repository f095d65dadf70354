/* The ambient occlusion pass: the settings that it hands to the renderer, and what it makes of the answer. */
#include <array>

#include "block.h"
#include "frame_buffer_scene.h"

namespace {

using twin::renderer;

class OcclusionPass : public FrameBufferTest {
protected:
    OcclusionPass() {
        addPass("pass");
        attach();
        stage.placeVexabase();
        state->normal = {0, .6f, .8f};
        renderer().lighting.occlusion = [this](miState*, miAmboccl_options* options, miVector* bent) {
            asked = *options;
            *bent = bentNormal;
            return hidden;
        };
    }
    miColor show(const std::string& parameters) {
        twin::Block shader("lumoPassAmbientOcclusion", parameters);
        stage.rendering.buffers.beginSample();
        shader.init(state);
        EXPECT_EQ(shader.call(state, nullptr), miTRUE);
        shader.exit(state);
        return buffer("pass");
    }

    miScalar hidden = .75f;
    miVector bentNormal = {.6f, 0, .8f};
    miAmboccl_options asked = {};
};

const std::string kOwn =
    "customSettings 1, rays 77, bright .2 .4 .8 .3, dark .1 0 .6 .7, spread .5, spreadExponent 3, "
    "maximumDistance 12, cachePoints 5, ";

TEST_F(OcclusionPass, HandsItsOwnSettingsOver) {
    const auto expectAsked = [&](miInteger rays, const miVector& axis, miScalar spread, miScalar exponent,
                                 miScalar maximum, miInteger points) {
        EXPECT_TRUE(asked.size == 48 && asked.rays == rays && asked.spread == spread && asked.spread_exp == exponent &&
                    asked.maxdist == maximum && asked.cache_points == points);
        EXPECT_TRUE(asked.mindist == -1 && asked.flags == -1 && asked.falloff == -1);
        EXPECT_NEAR(twin::apart(asked.axis, axis), 0, 1e-6);
    };
    EXPECT_COLOR(show(kOwn + "customSettings 0, output 2, reflective 1"), .25f, .25f, .25f, 1);
    expectAsked(-1, state->normal, -2, 1, -1, -1);
    show(kOwn);
    expectAsked(77, state->normal, .5f, 3, 12, 5);
    show(kOwn + "reflective 1");
    expectAsked(77, {0, .96f, .28f}, .5f, 3, 12, 5);  // d - 2 (d n) n = (0, 0, -1) + 1.6 (0, .6, .8)
    show("customSettings 1, rays -4, spread -.5, spreadExponent -.5, maximumDistance -.5, cachePoints -3");
    expectAsked(-4, state->normal, -2, 1, -1, -1);  // any number of rays but 0 is handed on
}

/* Outputs 0: .75 dark + .25 bright; 1: surroundings x bright x .25 + dark; 2 to 4: the bent normal. */
TEST_F(OcclusionPass, ShowsTheAnswer) {
    miVector looked = {};
    renderer().tracing.environment = [&](miColor* color, miState*, const miVector* dir) {
        looked = *dir;
        *color = {2, 4, .5f, 9};
        return miTRUE;
    };
    // Output and alpha switch, what is hidden, the color. The ends of output 0 keep their own alpha, whatever the
    // alphas of the parameters and the switch say.
    const std::array<miScalar, 7> rows[] = {{0, 0, .75f, .125f, .1f, .65f, 1}, {5, 1, .75f, .125f, .1f, .65f, .25f},
                                            {0, 1, 1, .1f, 0, .6f, 0},         {0, 0, 1, .1f, 0, .6f, 0},
                                            {0, 1, 0, .2f, .4f, .8f, 1},       {0, 1, -.5f, .2f, .4f, .8f, 1},
                                            {1, 1, .75f, .2f, .4f, .7f, .25f}, {1, 0, 1, .1f, 0, .6f, 1},
                                            {2, 1, .75f, .8f, .5f, .9f, .25f}};
    for (const auto& [output, alpha, value, r, g, b, a] : rows) {
        SCOPED_TRACE(output);
        hidden = value;
        EXPECT_COLOR(show(twin::text(kOwn, "output ", output, ", alpha ", alpha)), r, g, b, a);
    }
    EXPECT_NEAR(twin::apart(looked, bentNormal), 0, 1e-6);
    bentNormal = {0, 0, 0};
    EXPECT_COLOR(show(kOwn + "output 4"), .5f, .5f, .5f, 1);
}

/* In tiles, and ahead of them: there nothing has been gathered yet, and no opacity is tested. */
TEST_F(OcclusionPass, AnswersEyeRays) {
    const FrameBufferState covered{0, {2, 2, 2, 1}};
    for (const bool hasFrame : {false, true})
        for (const int stages : {0, 1, 2, 3, 4, 5, 64})
            for (const miRay_type type : {miRAY_EYE, miRAY_TRANSPARENT, miRAY_REFLECT}) {
                stage.rendering.entries.set("lumoFBState", &covered, hasFrame ? sizeof covered : 0, miSS_LIFETIME_RECT);
                state->type = type;
                renderer().queries.answer(miQ_STAGE, stages);
                show("");
                EXPECT_EQ(wasPut("pass"), type == miRAY_EYE && ((stages == 1 && !hasFrame) || stages == 4)) << stages;
            }
}

}  // namespace
