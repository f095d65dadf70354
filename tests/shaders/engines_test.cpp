/* The pass-through engines and what they prepare before they call a surface. */
#include "frame_buffer_scene.h"

namespace {

using twin::renderer;

struct EngineParameters {
    miColor color;
    miScalar alpha;
};

class Engines : public twin::LibraryTest {
protected:
    twin::ShaderInstance<EngineParameters> engine{EngineParameters{{0.1f, 0.2f, 0.3f, 0.4f}, 0.5f}};
    miColor result = {9, 9, 9, 9};

    Engines() { stage.run(engine); }

    miBoolean call(const std::string& which) {
        const twin::ShaderEntry<EngineParameters, miColor> entry("lumoVexa" + which + "ShadingEngine");
        return entry.call(&result, state, engine.parameters(), nullptr);
    }
    miBoolean call() { return call("Simple"); }

    void setWord(int word, miScalar value) {
        auto* record = static_cast<miUint*>(stage.rendering.entries.get("vexabase", nullptr));
        std::memcpy(record + word, &value, sizeof value);
    }
};

TEST_F(Engines, AnswerEyeRaysOnly) {
    miUint* record = stage.placeVexabase();
    for (const char* which : {"Simple", "RenderTarget"})
        for (int type = 1; type < miRAY_COUNT; ++type) {
            record[114] = 5;
            state->type = static_cast<miRay_type>(type);
            EXPECT_EQ(call(which), miFALSE) << type;
            EXPECT_COLOR(result, 9, 9, 9, 9);
            EXPECT_EQ(record[114], 5u);
        }
}

TEST_F(Engines, CallTheConnectedSurfaceEveryTime) {
    miUint* record = stage.placeVexabase();
    record[114] = 5;
    // A surface's result is larger than a color; only its first four words matter here.
    miScalar surface[64] = {0.6f, 0.7f, 0.8f, 0.9f};
    const auto& connection = engine.connect(&engine->color, [&](miState* called) {
        EXPECT_EQ(record[114], 0u) << "the mark is cleared before the surface runs";
        EXPECT_NE(called->tex_list, nullptr);
        return static_cast<void*>(surface);
    });
    EXPECT_EQ(call(), miTRUE);
    EXPECT_COLOR(result, 0.6f, 0.7f, 0.8f, 0.5f);
    EXPECT_EQ(call(), miTRUE);
    EXPECT_EQ(connection.calls, 2);
    EXPECT_EQ(connection.evaluations, 0) << "evaluation would answer from the cache";
}

TEST_F(Engines, ProvideATextureCoordinateWhereThereIsNone) {
    stage.placeVexabase();
    EXPECT_EQ(call(), miTRUE);
    int size = 0;
    EXPECT_EQ(state->tex_list, stage.rendering.entries.get("lumoTexList", &size));
    EXPECT_EQ(size, 12);
    EXPECT_EQ(stage.rendering.entries.lifetime("lumoTexList"), miSS_LIFETIME_EYERAY);
    EXPECT_EQ(state->tex_list[0].x, 0);

    // The next hit of the same eye ray starts from zero again.
    state->tex_list[0] = {1, 2, 3};
    EXPECT_EQ(call(), miTRUE);
    EXPECT_EQ(state->tex_list[0].y, 0);

    renderer().queries.answer(miQ_NUM_TEXTURES, 0);
    state->tex_list = nullptr;
    EXPECT_EQ(call(), miTRUE);
    EXPECT_NE(state->tex_list, nullptr);
}

TEST_F(Engines, KeepTheTextureCoordinatesOfTheObject) {
    stage.placeVexabase();
    miVector own[1] = {{1, 2, 3}};
    state->tex_list = own;
    renderer().queries.answer(miQ_NUM_TEXTURES, 1);
    EXPECT_EQ(call(), miTRUE);
    EXPECT_EQ(state->tex_list, own);
    EXPECT_EQ(own[0].x, 1);
    EXPECT_EQ(stage.rendering.entries.lifetime("lumoTexList"), -1);
}

TEST_F(Engines, OfRenderTargetsGiveThePositionInTheImage) {
    stage.placeVexabase();
    state->raster_x = 159.5f;
    state->raster_y = 119.5f;
    miVector seen = {};
    miColor surface = {1, 1, 1, 1};
    engine.connect(&engine->color, [&](miState* called) {
        seen = called->tex_list[0];
        return static_cast<void*>(&surface);
    });
    EXPECT_EQ(call("RenderTarget"), miTRUE);
    // (159.5 + 0.5) / 640 and (119.5 + 0.5) / 480
    EXPECT_FLOAT_EQ(seen.x, 0.25f);
    EXPECT_FLOAT_EQ(seen.y, 0.25f);
    EXPECT_EQ(seen.z, 0);
    EXPECT_EQ(result.a, 0.5f);
}

TEST_F(Engines, ConstantFootprintFillsSixWords) {
    miUint* record = stage.placeVexabase();
    record[2] = 0;
    setWord(3, 0.25f);
    EXPECT_EQ(call(), miTRUE);
    for (int word = 127; word <= 132; ++word) EXPECT_EQ(stage.vexabaseScalar(word), 0.25f) << word;
    EXPECT_EQ(record[126], 0u);
    EXPECT_EQ(record[133], 0u);
}

class RoughFootprint : public Engines {
protected:
    RoughFootprint() {
        stage.placeVexabase();
        setWord(7, 2);  // above the largest weight, 1
        setWord(10, 0.01f);
    }

    void expectSize(miScalar size) {
        EXPECT_EQ(call(), miTRUE);
        EXPECT_FLOAT_EQ(stage.vexabaseScalar(127), size * 1.5e-5f);
        EXPECT_FLOAT_EQ(stage.vexabaseScalar(128), size * 1.5e-5f);
        EXPECT_EQ(stage.vexabaseScalar(129), 0);
        EXPECT_FLOAT_EQ(stage.vexabaseScalar(130), size);
        EXPECT_FLOAT_EQ(stage.vexabaseScalar(131), size);
        EXPECT_EQ(stage.vexabaseScalar(132), 0);
    }
};

TEST_F(RoughFootprint, GrowsWithDistanceAndTilt) {
    // 0.01 * 0.45 * 5 / 1
    expectSize(0.0225f);
    state->dot_nd = -0.5f;
    expectSize(0.045f);
    // The camera moves to (3, 4, -5): the distance is 5 still, then 12 in depth makes it 13.
    miScalar* row = renderer().database.record<miInstance>(state->camera_inst).tf.local_to_global + 12;
    row[0] = 3, row[1] = 4, row[2] = -5;
    expectSize(0.045f);
    row[2] = 7;
    expectSize(0.117f);
    // Edge on: 0.01 * 0.45 * 13 / 1e-5.
    state->dot_nd = 0;
    expectSize(5850);
}

TEST_F(RoughFootprint, IsForSamplesBelowTheThreshold) {
    // The largest of the three weights decides, and only a threshold above it.
    setWord(140, 3);
    setWord(141, 0);
    setWord(142, 0);
    state->dot_nd = -0.5f;
    EXPECT_EQ(call(), miTRUE);
    EXPECT_GT(stage.vexabaseScalar(130), 1.5f * stage.vexabaseScalar(131)) << "the tilt shows in one axis only";
    for (int word : {140, 141, 142}) {
        for (int each : {140, 141, 142}) setWord(each, each == word ? 1.99f : -1);
        expectSize(0.045f);
    }
}

}  // namespace
