/* vexabase.so: places the per-sample record for hosts that do not. */
#include <dlfcn.h>

#include "scene.h"

namespace {

using twin::renderer;

/* As the module's declaration lists them. */
struct RecordDefaults {
    miInteger compositionMode = 0;
    miInteger shadowDepthLimit = 1000;
    miBoolean evaluatesFog = miFALSE;
    miScalar lowerImportance = -1;
    miScalar upperImportance = 0;
    miBoolean lightsBackSide = miFALSE;
    miInteger footprintMode = 1;
    miScalar constantFootprint = 0;
    miScalar footprintScale = 0;
    miColor contributionWeight = {1, 1, 1, 1};
};

class VexabaseModule : public twin::LibraryTest {
protected:
    twin::ShaderInstance<RecordDefaults> shader{RecordDefaults{}};

    VexabaseModule() {
        stage.run(shader);
        stage.camera.focal = 2;
        stage.camera.aperture = 1.25f;
    }

    template <class Signature>
    static Signature* function(const char* name) {
        static void* const module = twin::loadModule(LUMO_INTEGRATION);
        return reinterpret_cast<Signature*>(dlsym(module, name));
    }

    miBoolean operate(int operation) {
        struct {
            int operation;
            miBoolean shaderReturn;
        } argument{operation, miTRUE};
        miColor result = {};
        return function<miBoolean(void*, miState*, void*, void*)>("vexabase")(&result, state, shader.parameters(),
                                                                              &argument);
    }

    const miUint* record() { return static_cast<miUint*>(stage.rendering.entries.get("vexabase", nullptr)); }
    miScalar scalar(int word) { return stage.vexabaseScalar(word); }
    miColor color(int word) {
        miColor value;
        std::memcpy(&value, record() + word, sizeof value);
        return value;
    }
};

TEST_F(VexabaseModule, ExportsOneShader) {
    EXPECT_EQ(function<int()>("vexabase_version")(), 2);
    EXPECT_EQ(function<void()>("miSetModuleHandle"), nullptr) << "the loader resolves its renderer functions";
}

TEST_F(VexabaseModule, PlacesTheRecordInEveryStage) {
    for (int bits : {1, 2, 4}) {
        renderer().queries.answer(miQ_STAGE, bits);
        EXPECT_EQ(operate(miSTATE_SHADER_STATE_INIT), miTRUE);
        int size = 0;
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(stage.rendering.entries.get("vexabase", &size)) % 8, 0u);
        EXPECT_EQ(size, 144 * 4);
        EXPECT_EQ(stage.rendering.entries.lifetime("vexabase"), miSS_LIFETIME_RECT);
        stage.rendering.endSample();
        EXPECT_NE(record(), nullptr);
        stage.rendering.entries.set("vexabase", nullptr, 0, 0);
    }
}

TEST_F(VexabaseModule, StartsWithTheseDefaults) {
    ASSERT_EQ(operate(miSTATE_SHADER_STATE_INIT), miTRUE);
    ASSERT_EQ(operate(miSTATE_SHADER_SAMPLE_INIT), miTRUE);
    const auto integer = [&](int word) { return static_cast<miInteger>(record()[word]); };
    EXPECT_NE(integer(2), 0) << "footprints are computed";
    EXPECT_EQ(integer(4), 0);
    EXPECT_EQ(integer(5), 1000);
    EXPECT_EQ(integer(6), 0);
    EXPECT_EQ(scalar(7), -1);
    EXPECT_EQ(scalar(8), 0);
    EXPECT_EQ(integer(9), 0);
    EXPECT_FLOAT_EQ(scalar(10), 1.25f / (2 * 640));
    EXPECT_EQ(scalar(11), 0);
    // Light data: diffuse and specular, nothing else.
    for (int word = 12; word < 24; ++word) EXPECT_EQ(integer(word), word == 13 || word == 14) << word;
    const miScalar white[3] = {0, 1, 0};
    for (int k = 0; k < 3; ++k)
        for (int c = 0; c < 3; ++c) EXPECT_EQ(scalar(24 + 4 * k + c), white[k]) << k;
    for (int word = 36; word < 48; ++word) EXPECT_EQ(scalar(word), 0);
    for (int word = 114; word < 133; ++word) EXPECT_EQ(scalar(word), 0) << word;
    for (int word = 140; word < 144; ++word) EXPECT_EQ(scalar(word), 1);
}

TEST_F(VexabaseModule, TakesItsParametersOver) {
    miInteger mode = 3;
    shader.connect(&shader->compositionMode, &mode);
    shader->shadowDepthLimit = 7;
    shader->evaluatesFog = miTRUE;
    shader->lowerImportance = 0.125f;
    shader->upperImportance = 0.75f;
    shader->lightsBackSide = miTRUE;
    shader->footprintMode = 0;
    shader->constantFootprint = 0.5f;
    shader->footprintScale = 0.25f;
    shader->contributionWeight = {0.1f, 0.2f, 0.3f, 0.4f};
    ASSERT_EQ(operate(miSTATE_SHADER_STATE_INIT), miTRUE);
    const miUint words[] = {3, 7, 1};
    for (int i = 0; i < 3; ++i) EXPECT_EQ(record()[4 + i], words[i]);
    EXPECT_EQ(scalar(7), 0.125f);
    EXPECT_EQ(scalar(8), 0.75f);
    EXPECT_EQ(record()[9], 1u);
    EXPECT_EQ(record()[2], 0u);
    EXPECT_EQ(scalar(3), 0.5f);
    EXPECT_EQ(scalar(10), 0.25f);
    EXPECT_EQ(color(140).r, 0.1f);
    EXPECT_EQ(color(140).a, 0.4f);
}

TEST_F(VexabaseModule, ResetsEverySampleInPlace) {
    operate(miSTATE_SHADER_STATE_INIT);
    const miUint* const place = record();
    const std::vector<miUint> fresh(place, place + 144);
    std::memset(const_cast<miUint*>(place), 0x5A, 144 * 4);
    EXPECT_EQ(operate(miSTATE_SHADER_SAMPLE_EXIT), miTRUE);
    EXPECT_EQ(record()[50], 0x5A5A5A5Au) << "whoever still looks at the finished sample finds its values";
    EXPECT_EQ(operate(miSTATE_SHADER_SAMPLE_INIT), miTRUE);
    EXPECT_EQ(record(), place);
    EXPECT_EQ(std::vector<miUint>(place, place + 144), fresh);

    EXPECT_EQ(operate(miSTATE_SHADER_STATE_EXIT), miTRUE);
    EXPECT_EQ(operate(9), miFALSE);
}

TEST_F(VexabaseModule, SurvivesCamerasWithoutSense) {
    for (int width : {0, -5}) {
        stage.camera.x_resolution = width;
        EXPECT_EQ(operate(miSTATE_SHADER_SAMPLE_INIT), miTRUE);
        EXPECT_GE(scalar(10), 0) << width;
    }
    stage.camera = miCamera{};
    EXPECT_EQ(operate(miSTATE_SHADER_SAMPLE_INIT), miTRUE);
    EXPECT_EQ(scalar(10), 0);
    state->camera = nullptr;
    EXPECT_EQ(operate(miSTATE_SHADER_SAMPLE_INIT), miTRUE);
    EXPECT_EQ(scalar(10), 0);
}

}  // namespace
