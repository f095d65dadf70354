/* vexabase.so: places the per-sample record for hosts that do not. */
#include <dlfcn.h>
#include <sstream>

#include "block.h"

namespace {

using twin::renderer;

class VexabaseModule : public twin::LibraryTest {
protected:
    twin::Block shader{"vexabase"};

    VexabaseModule() {
        state->shader = &shader.function();
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
    shader = twin::Block(
        "vexabase",
        "shadowDepthLimit 7, evaluatesFog on, lowerImportance .125, upperImportance .75, lightsBackSide on, "
        "footprintMode 0, constantFootprint .5, footprintScale .25, contributionWeight .1 .2 .3 .4");
    shader.connect("compositionMode", &mode);
    state->shader = &shader.function();
    ASSERT_TRUE(operate(miSTATE_SHADER_STATE_INIT));
    EXPECT_EQ(words(),
              "0=1 3=0.5f 4=3 5=7 6=1 7=0.125f 8=0.75f 9=1 10=0.25f 13=1 14=1 28=1f 29=1f 30=1f 31=1f "
              "140=0.1f 141=0.2f 142=0.3f 143=0.4f ");
}

TEST_F(VexabaseModule, TakesTheSizeOfAPixelFromTheCamera) {
    state->camera = nullptr;
    EXPECT_TRUE(operate(miSTATE_SHADER_SAMPLE_INIT) && stage.vexabaseScalar(10) == 0);  // places it, too
    state->camera = &stage.camera;
    using Row = std::tuple<miScalar, int, miBoolean, miScalar>;
    for (const auto& [focal, width, orthographic, size] :
         {Row(2, 640, miFALSE, 1.25f / 1280), Row(2, 640, miTRUE, 1.25f / 640), Row(0, 640, miFALSE, 1.25f / 640),
          Row(2, 1, miFALSE, .625f), Row(2, 0, miFALSE, 0), Row(2, -5, miFALSE, 0)}) {
        stage.camera.focal = focal;
        stage.camera.x_resolution = width;
        stage.camera.orthographic = orthographic;
        EXPECT_TRUE(operate(miSTATE_SHADER_STATE_INIT));
        EXPECT_EQ(stage.vexabaseScalar(10), size) << focal << " " << width;
    }
}

}  // namespace
