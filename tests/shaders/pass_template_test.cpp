/* What all pass shaders share: which rays they answer, the opacity test, objects that do not contribute. */
#include "pass_scene.h"

namespace {

using twin::renderer;

class PassShaderRules : public PassTest {
protected:
    /* Makes the hit an instance with this mask, in its parameters. */
    void setMask(const std::string& mask) {
        twin::Database& database = renderer().database;
        state->instance = database.addInstance(miNULLTAG, {database.addString(mask)});
    }

    static PassFields contribution(miInteger number, miInteger holdOut = 0) {
        PassFields fields;
        fields.contribution = number;
        fields.holdOut = holdOut;
        return fields;
    }
};

TEST_F(PassShaderRules, AnswerEyeRaysAndWhatTheySeeStraightThrough) {
    for (int type = 0; type < miRAY_COUNT; ++type) {
        state->type = static_cast<miRay_type>(type);
        EXPECT_EQ(writes(), type == miRAY_EYE || type == miRAY_TRANSPARENT) << type;
    }
    const int levels[][2] = {{1, 0}, {0, 1}, {1, -1}, {-1, 1}};
    for (const auto& [reflection, refraction] : levels) {
        state->reflection_level = reflection;
        state->refraction_level = refraction;
        state->type = miRAY_TRANSPARENT;
        EXPECT_FALSE(writes()) << reflection << ' ' << refraction;
        state->type = miRAY_EYE;
        EXPECT_TRUE(writes()) << reflection << ' ' << refraction;
    }
}

TEST_F(PassShaderRules, AnswerOnlyWhileTilesAreRendered) {
    for (int bits : {0, 2, 3, 4, 64}) {
        renderer().queries.answer(miQ_STAGE, bits);
        EXPECT_FALSE(writes()) << bits;
    }
    renderer().queries.refuse(miQ_STAGE);
    EXPECT_FALSE(writes());
}

TEST_F(PassShaderRules, SkipABufferThatDoesNotExistWithOneMessage) {
    stage.rendering.buffers.sizes[0] = sizeof(miColor);
    PlainPass parameters;
    parameters.common.buffer = 5;
    EXPECT_EQ(run("lumoPassCoverage", parameters), miTRUE);
    EXPECT_EQ(renderer().messages().size(), 1u);
    EXPECT_FALSE(stage.rendering.buffers.wasPut(0)) << "the primary buffer is not a substitute";
}

TEST_F(PassShaderRules, StopBehindSurfacesThatHideThem) {
    PassFields fields;
    FrameBufferState& frame = publishFrame();
    // Writing goes on while 1 - threshold + 0.00001 >= 0.3 r + 0.59 g + 0.11 b.
    const struct {
        miScalar threshold;
        miColor color;
        bool goesOn;
    } cases[] = {{0, {1, 1, 1, 0}, true},
                 {0, {1.0001f, 1.0001f, 1.0001f, 0}, false},
                 {0.5f, {0.5f, 0.5f, 0.5f, 0}, true},
                 {0.5f, {0.501f, 0.501f, 0.501f, 0}, false},
                 {0.69f, {1, 0, 0, 5}, true},
                 {0.71f, {1, 0, 0, 5}, false},
                 {0.40f, {0, 1, 0, 5}, true},
                 {0.42f, {0, 1, 0, 5}, false},
                 {0.88f, {0, 0, 1, 5}, true},
                 {0.90f, {0, 0, 1, 5}, false}};
    for (const auto& each : cases) {
        frame.transparency = each.color;
        fields.opacityThreshold = each.threshold;
        EXPECT_EQ(writes(fields), each.goesOn) << each.threshold << ' ' << each.color.r << each.color.g;
    }
}

TEST_F(PassShaderRules, MayLeaveTheOpacityTestToTheEngine) {
    PassFields fields;
    fields.opacityMode = 1;
    fields.opacityThreshold = 1;
    FrameBufferState& frame = publishFrame({0, {1, 1, 1, 1}});
    EXPECT_TRUE(writes(fields));
    frame.flags = ~2u;
    EXPECT_TRUE(writes(fields));
    frame.flags = 2;
    EXPECT_FALSE(writes(fields));
    fields.opacityMode = -1;
    EXPECT_FALSE(writes(fields)) << "every mode but 0";
}

TEST_F(PassShaderRules, ReadTheirOpacityTestOnEveryCall) {
    publishFrame({0, {1, 1, 1, 1}});
    twin::ShaderInstance<PlainPass> shader(PlainPass{});
    miScalar threshold = 0;
    const auto& connection = shader.connect(&shader->common.opacityThreshold, &threshold);
    EXPECT_EQ(run("lumoPassCoverage", shader), miTRUE);
    EXPECT_TRUE(wasPut("pass"));
    EXPECT_EQ(connection.evaluations, 1);
    threshold = 0.5f;
    stage.rendering.buffers.beginSample();
    EXPECT_EQ(run("lumoPassCoverage", shader), miTRUE);
    EXPECT_FALSE(wasPut("pass"));
    EXPECT_EQ(connection.evaluations, 2);
}

TEST_F(PassShaderRules, AskTheMaskOfTheInstance) {
    setMask("2");
    EXPECT_TRUE(writes(contribution(1)));
    EXPECT_FALSE(writes(contribution(0)));
    EXPECT_FALSE(writes(contribution(5))) << "the mask ends before";

    // An assembly speaks for what it holds.
    const miTag assembly = state->instance;
    setMask("f");
    renderer().queries.answer(miQ_PRI_ASSEMBLY_INST_TAG, assembly);
    EXPECT_FALSE(writes(contribution(0)));
}

TEST_F(PassShaderRules, HoldOutWithZeros) {
    setMask("0");
    publishFrame();
    setBuffer({9, 9, 9, 9});
    EXPECT_EQ(run("lumoPassCoverage", PlainPass{contribution(0, 1)}), miTRUE);
    EXPECT_EQ(passBuffer().r, 0);
    setBuffer({9, 9, 9, 9});
    EXPECT_EQ(run("lumoPassWorldPosition", PlainPass{contribution(0, 1)}), miTRUE);
    EXPECT_EQ(passBuffer().r, 0);
    EXPECT_EQ(passBuffer().g, 0);
    EXPECT_EQ(passBuffer().b, 0);
    EXPECT_EQ(renderer().tracing.continued.calls(), 0);
}

/* A camera with a material buffer as well, in front a surface that the pass leaves out. */
class PassContinuation : public PassShaderRules {
protected:
    PassContinuation() {
        addRecord("beauty", 0);
        attach();
        initState();
        beginSample();
        setMask("0");
    }
    FrameBufferState& frame() { return *library::getFrameBufferState(state); }
    miBoolean pass() { return run("lumoPassWorldPosition", PlainPass{contribution(0)}); }
};

TEST_F(PassContinuation, LooksBehindOncePerSample) {
    frame().flags = 1;
    renderer().tracing.continued = [&](miColor*, miState*) {
        EXPECT_EQ(frame().flags, 1u | 8u);
        EXPECT_EQ(entries().size(), 0u) << "materials behind must not deposit anything";
        return miTRUE;
    };
    EXPECT_EQ(pass(), miTRUE);
    EXPECT_EQ(frame().flags, 1u | 4u);
    EXPECT_EQ(entries().size(), 1u);
    EXPECT_EQ(pass(), miTRUE);
    EXPECT_EQ(renderer().tracing.continued.calls(), 1);
    EXPECT_FALSE(wasPut("pass"));

    beginSample();
    EXPECT_EQ(pass(), miTRUE);
    EXPECT_EQ(renderer().tracing.continued.calls(), 2);
}

TEST_F(PassContinuation, LetsWhatLiesBehindWrite) {
    renderer().tracing.continued = [&](miColor*, miState* front) {
        const miState saved = *front;
        setMask("f");
        state->point = {1, 2, 3};
        EXPECT_EQ(pass(), miTRUE);
        *front = saved;
        // The renderer copies these back from the hit behind.
        front->label = 99;
        front->point = front->normal = front->motion = {1, 2, 3};
        front->dist = 77;
        return miTRUE;
    };
    EXPECT_EQ(pass(), miTRUE);
    EXPECT_COLOR(passBuffer(), 1, 2, 3, 0);

    // Whoever comes next in the list of shaders is still at the front surface.
    EXPECT_VECTOR(state->point, 0, 0, -5);
    EXPECT_VECTOR(state->normal, 0, 0, 1);
    EXPECT_EQ(state->dist, 5);
    EXPECT_EQ(state->label, 0u);
}

TEST_F(PassContinuation, NeedsTheFrameBufferState) {
    stage.rendering.entries.set("lumoFBState", nullptr, 0, 0);
    EXPECT_EQ(pass(), miTRUE);
    EXPECT_EQ(renderer().tracing.continued.calls(), 0);
    EXPECT_FALSE(wasPut("pass"));
}

}  // namespace
