/* vexabase.so: places the per-sample record for hosts that do not. */
#include <dlfcn.h>
#include <sstream>

#include "scene.h"

namespace {

using twin::renderer;

/* As the module's declaration lists them. */
struct RecordDefaults {
    miInteger compositionMode = 0, shadowDepthLimit = 1000;
    miBoolean evaluatesFog = miFALSE;
    miScalar lowerImportance = -1, upperImportance = 0;
    miBoolean lightsBackSide = miFALSE;
    miInteger footprintMode = 1;
    miScalar constantFootprint = 0, footprintScale = 0;
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

    bool operate(int operation) {
        struct {
            int operation;
            miBoolean shaderReturn;
        } argument{operation, miTRUE};
        miColor result = {};
        return function<miBoolean(void*, miState*, void*, void*)>("vexabase")(&result, state, shader.parameters(),
                                                                              &argument) == miTRUE;
    }

    miUint* record() { return static_cast<miUint*>(stage.rendering.entries.get("vexabase", nullptr)); }

    /* Number and value of the words that are not 0: small ones are integers. */
    std::string words() {
        std::ostringstream text;
        for (int i = 0; i < 144; ++i) {
            if (record()[i] > 0 && record()[i] < 10000) text << i << '=' << record()[i] << ' ';
            if (record()[i] >= 10000) text << i << '=' << stage.vexabaseScalar(i) << "f ";
        }
        return text.str();
    }
};

TEST_F(VexabaseModule, PlacesTheRecordInEveryStage) {
    EXPECT_EQ(function<int()>("vexabase_version")(), 2);
    EXPECT_EQ(function<void()>("miSetModuleHandle"), nullptr) << "the loader resolves its renderer functions";
    for (int bits : {1, 2, 4}) {
        renderer().queries.answer(miQ_STAGE, bits);
        EXPECT_TRUE(operate(miSTATE_SHADER_STATE_INIT));
        int size = 0;
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(stage.rendering.entries.get("vexabase", &size)) % 8, 0u);
        EXPECT_EQ(size, 144 * 4);
        EXPECT_EQ(stage.rendering.entries.lifetime("vexabase"), miSS_LIFETIME_RECT);
        stage.rendering.endSample();
        EXPECT_NE(record(), nullptr);
        stage.rendering.entries.set("vexabase", nullptr, 0, 0);
    }
}

TEST_F(VexabaseModule, StartsEverySampleWithItsParameters) {
    // A pixel is 1.25 / (2 640) wide; of light data there are diffuse and specular, which are white.
    const std::string defaults =
        "0=1 2=1 5=1000 7=-1f 10=0.000976562f 13=1 14=1 28=1f 29=1f 30=1f 31=1f "
        "140=1f 141=1f 142=1f 143=1f ";
    ASSERT_TRUE(operate(miSTATE_SHADER_STATE_INIT) && operate(miSTATE_SHADER_SAMPLE_INIT));
    EXPECT_EQ(words(), defaults);
    miUint* const place = record();
    std::memset(place, 0x5A, 144 * 4);
    EXPECT_TRUE(operate(miSTATE_SHADER_SAMPLE_EXIT));
    EXPECT_EQ(record()[50], 0x5A5A5A5Au) << "whoever still looks at the finished sample finds its values";
    EXPECT_TRUE(operate(miSTATE_SHADER_SAMPLE_INIT) && record() == place);
    EXPECT_EQ(words(), defaults);
    EXPECT_TRUE(operate(miSTATE_SHADER_STATE_EXIT) && !operate(9));

    miInteger mode = 3;
    *shader.parameters() = {0, 7, miTRUE, .125f, .75f, miTRUE, 0, .5f, .25f, {.1f, .2f, .3f, .4f}};
    shader.connect(&shader->compositionMode, &mode);
    ASSERT_TRUE(operate(miSTATE_SHADER_STATE_INIT));
    EXPECT_EQ(words(),
              "0=1 3=0.5f 4=3 5=7 6=1 7=0.125f 8=0.75f 9=1 10=0.25f 13=1 14=1 28=1f 29=1f 30=1f 31=1f "
              "140=0.1f 141=0.2f 142=0.3f 143=0.4f ");
}

TEST_F(VexabaseModule, SurvivesCamerasWithoutSense) {
    for (int width : {0, -5}) {
        stage.camera.x_resolution = width;
        EXPECT_TRUE(operate(miSTATE_SHADER_SAMPLE_INIT));
        EXPECT_GE(stage.vexabaseScalar(10), 0) << width;
    }
    stage.camera = miCamera{};
    EXPECT_TRUE(operate(miSTATE_SHADER_SAMPLE_INIT) && stage.vexabaseScalar(10) == 0);
    state->camera = nullptr;
    EXPECT_TRUE(operate(miSTATE_SHADER_SAMPLE_INIT) && stage.vexabaseScalar(10) == 0);
}

}  // namespace
