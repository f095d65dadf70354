/* lumoVexaShadow and lumoVexaFastShadow: what they let through, for the picture and for the passes. */
#include "lighting_scene.h"

namespace {

using namespace lighting;
using twin::renderer;

struct ShadowParameters {
    miColor transparency = {0.8f, 0.6f, 0.4f, 0.5f};
    miScalar shadowAttenuation = 0;
    miScalar transparencyDepth = 0;
};

class ShadowShaders : public LightingTest {
protected:
    ShadowShaders() : record(stage.placeVexabase()) {
        stage.options.shadow = 1;
        state->type = miRAY_SHADOW;
        state->dir = {0, -1, 0};
        state->normal = {0, 1, 0};
        state->dot_nd = 9;  // simple shadow modes leave it undefined
        state->dist = 2;
        stage.run(shader);
        renderer().tracing.shadowSegment = [this](miColor* color, miState* called) {
            volumeOfSegment = called->refraction_volume;
            color->r *= 0.5f;  // an occluder nearer to the light
            return miTRUE;
        };
    }

    miBoolean call(void* argument = nullptr) { return callShader("lumoVexaShadow", argument); }
    miBoolean callShader(const std::string& name, void* argument = nullptr) {
        result = {1, 1, 1, 0.75f};
        return twin::ShaderEntry<ShadowParameters, miColor>(name).call(&result, state, shader.parameters(), argument);
    }

    /* Segmented shadows; the ray leaves the object after this way inside, or enters it. */
    void segment(double way, miScalar cosine = -1) {
        stage.options.shadow = 's';
        state->dist = way;
        state->dot_nd = cosine;
    }

    /* One pass with shadows. */
    void publishOne() {
        setEntries({kContributes | kShadowed});
        entries[0].shadowValue = {1, 1, 1, 1};
        publish();
    }

    miUint* record;
    miColor result = {};
    miTag volumeOfSegment = 99;
    twin::ShaderInstance<ShadowParameters> shader;
};

TEST_F(ShadowShaders, TintTheLightAndThePasses) {
    publishOne();
    EXPECT_EQ(call(), miTRUE);
    EXPECT_COLOR(result, 0.8f, 0.6f, 0.4f, 0.75f);
    EXPECT_COLOR(published(0).shadowValue, 0.8f, 0.6f, 0.4f, 0.5f);
    EXPECT_EQ(state->dot_nd, -1);
    EXPECT_EQ(renderer().tracing.shadowSegment.calls(), 0);
}

TEST_F(ShadowShaders, LetLessThroughAtGrazingAngles) {
    const auto expect = [&](miScalar attenuation, const miVector& normal, miScalar f) {
        shader->shadowAttenuation = attenuation;
        state->normal = normal;
        call();
        EXPECT_COLOR(result, 0.8f * f, 0.6f * f, 0.4f * f, f > 0 ? 0.75f : 0);
    };
    // 1 - (1 - |cosine|) x attenuation
    expect(1, {0, 1, 0}, 1);
    expect(1, {0, -1, 0}, 1);
    expect(0.5f, {0.8f, 0.6f, 0}, 0.8f);
    expect(1, {0.8f, -0.6f, 0}, 0.6f);
    expect(1, {1, 0, 0}, 0);
    expect(5, {0.8f, 0.6f, 0}, 0);  // 1 - .4 x 5 is below 0
}

TEST_F(ShadowShaders, ThickenWithTheWayInside) {
    const auto expect = [&](double way, miScalar depth, miScalar r, miScalar g, miScalar b) {
        segment(way);
        shader->transparencyDepth = depth;
        EXPECT_EQ(call(this), miTRUE);
        EXPECT_COLOR(result, r, g, b, 0.75f);
    };
    expect(1, 2, 0.9f, 0.8f, 0.7f);      // half the depth: .5 t + .5
    expect(0.5, 2, 0.95f, 0.9f, 0.85f);  // a quarter: .25 t + .75
    expect(2, 2, 0.8f, 0.6f, 0.4f);
    expect(9, 2, 0.8f, 0.6f, 0.4f);
    expect(1, 0, 0.8f, 0.6f, 0.4f);  // no depth, no effect
    shader->transparency = {1.5f, 1.5f, 0.5f, 1};
    expect(9, 2, 1, 1, 0.5f);  // with a depth no more than all passes
    expect(1, 2, 1, 1, 0.75f);
    expect(1, 0, 1.5f, 1.5f, 0.5f);

    // Where the ray enters there is no way yet, and the depth is not read.
    auto& depth = shader.connect(&shader->transparencyDepth, &shader->shadowAttenuation);
    segment(1, 0.5f);
    call(this);
    EXPECT_EQ(depth.evaluations, 0);
    EXPECT_EQ(state->dot_nd, 0.5f) << "segments come with it";
}

TEST_F(ShadowShaders, TraceTheRestOfASegmentedRayFirst) {
    state->volume = 5;
    state->refraction_volume = 6;
    segment(1);
    EXPECT_EQ(call(), miTRUE);
    EXPECT_COLOR(result, 0.4f, 0.6f, 0.4f, 0.75f);
    EXPECT_EQ(volumeOfSegment, 5u);

    // Whoever hands over an argument does that.
    EXPECT_EQ(call(this), miTRUE);
    EXPECT_COLOR(result, 0.8f, 0.6f, 0.4f, 0.75f);
    EXPECT_EQ(renderer().tracing.shadowSegment.calls(), 1);

    // Behind something opaque nothing has to be known.
    shader->transparency = {0.9e-5f, 0, 0, 1};
    publishOne();
    EXPECT_EQ(call(), miFALSE);
    EXPECT_COLOR(result, 0, 0, 0, 0);
    EXPECT_EQ(renderer().tracing.shadowSegment.calls(), 1);
}

TEST_F(ShadowShaders, OfNoLengthOnlyReportWhetherThereIsLight) {
    publishOne();
    auto& transparency = shader.connect(&shader->transparency, &shader->transparency);
    state->dist = 0;
    EXPECT_EQ(call(), miTRUE);
    EXPECT_COLOR(result, 1, 1, 1, 0.75f);
    EXPECT_EQ(renderer().tracing.shadowSegment.calls(), 0);

    state->refraction_volume = 6;
    segment(0);
    EXPECT_EQ(call(), miTRUE);
    EXPECT_COLOR(result, 0.5f, 1, 1, 0.75f);
    EXPECT_EQ(volumeOfSegment, miNULLTAG);

    renderer().tracing.shadowSegment = [](miColor* color, miState*) {
        *color = {0.9e-5f, 0.9e-5f, 0.9e-5f, 1};
        return miTRUE;
    };
    EXPECT_EQ(call(), miFALSE);
    EXPECT_EQ(transparency.evaluations, 0);
    EXPECT_COLOR(published(0).shadowValue, 1, 1, 1, 1);
}

TEST_F(ShadowShaders, ShowNetworksATinyFootprint) {
    for (int word = 127; word <= 132; ++word) {
        const auto value = static_cast<miScalar>(word);
        std::memcpy(record + word, &value, sizeof value);
    }
    miScalar seen[6] = {};
    shader.connect(&shader->transparency, [&](miState*) {
        std::memcpy(seen, record + 127, sizeof seen);
        return static_cast<void*>(&shader->transparency);
    });
    call();
    const miScalar expected[6] = {1e-8f, 1e-8f, 0, 1e-8f, 1e-8f, 0};
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(seen[i], expected[i]) << i;
        EXPECT_EQ(stage.vexabaseScalar(127 + i), static_cast<miScalar>(127 + i));
    }
}

TEST_F(ShadowShaders, GoOnWhileSomePassIsLit) {
    setEntries({kContributes | kShadowed, kContributes | kShadowed});
    for (FrameBufferInfo& entry : entries) entry.shadowValue = {1, 1, 1, 1};
    shader->transparency = {0, 0, 0, 0};
    for (const char* name : {"lumoVexaShadow", "lumoVexaFastShadow"}) {
        // The object counts in pass 1 only; in all; then there are no passes at all.
        publish();
        state->instance = maskedInstance("2");
        EXPECT_EQ(callShader(name), miTRUE) << name;
        EXPECT_COLOR(result, 0, 0, 0, 0);
        EXPECT_COLOR(published(0).shadowValue, 1, 1, 1, 1);
        EXPECT_COLOR(published(1).shadowValue, 0, 0, 0, 0);
        state->instance = maskedInstance("3");
        EXPECT_EQ(callShader(name), miFALSE) << name;
        EXPECT_COLOR(published(0).shadowValue, 0, 0, 0, 0);
        stage.rendering.entries.set("lumoFBInfo", nullptr, 0, miSS_LIFETIME_RECT);
        EXPECT_EQ(callShader(name), miFALSE) << name;
        EXPECT_COLOR(result, 0, 0, 0, 0);
    }
}

TEST_F(ShadowShaders, NeedNothingOfTheLibrarysOwn) {
    stage.rendering.entries.set("vexabase", nullptr, 0, miSS_LIFETIME_RECT);
    EXPECT_EQ(call(), miTRUE);
    EXPECT_COLOR(result, 0.8f, 0.6f, 0.4f, 0.75f);
    EXPECT_TRUE(renderer().messages().empty());
}

}  // namespace
