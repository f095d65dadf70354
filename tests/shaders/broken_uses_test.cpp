/* Shaders used wrongly: states that lack something, numbers out of all ranges, calls in the wrong order. Each says what
 * is documented, or nothing; none crashes, hangs, or leaves memory or pinned elements behind.
 */
#include <algorithm>
#include <limits>
#include <random>

#include "export_list.h"
#include "surface_scene.h"

namespace {

using twin::renderer;

constexpr miScalar kInfinity = std::numeric_limits<miScalar>::infinity();
constexpr miScalar kNaN = std::numeric_limits<miScalar>::quiet_NaN();

/* A parameter block of any shader: all words 1.0, but for those that keep a call short or its buffer known. */
using Words = std::array<miUint, 64>;

struct Subject {
    const char* name;
    miRay_type ray;
    const char* withoutRecord; /* what is said then; null: it needs none */
    std::vector<std::pair<std::size_t, miUint>> words;
};

const char* const kSdk = "LumoShaderSDK(): Internal state error.";
const char* const kEngine = "vexa_shadingengine(): Internal state error.";

const Subject kSubjects[] = {
    {"lumoPassCameraDepth", miRAY_EYE, kSdk, {{0, 0}}},
    {"lumoPassMotionVector2DNormalized", miRAY_EYE, kSdk, {{0, 0}}},
    {"lumoPassNormal", miRAY_EYE, kSdk, {{0, 0}}},
    {"lumoPassUV", miRAY_EYE, kSdk, {{0, 0}}},
    {"lumoPassWorldPosition", miRAY_EYE, kSdk, {{0, 0}, {1, 0}, {2, 0}}},
    {"lumoVexaWriteToColorBuffer", miRAY_EYE, kSdk, {{0, 0}}},
    {"lumoVexaWriteToVectorBuffer", miRAY_EYE, kSdk, {{0, 0}}},
    {"lumoVexaWriteToDepthBuffer", miRAY_EYE, kSdk, {{0, 0}}},
    {"lumoVexaWriteToLabelBuffer", miRAY_EYE, kSdk, {{0, 0}}},
    {"lumoVexaLambert", miRAY_EYE, kSdk, {{0, 1}, {11, 2}, {30, 0}, {48, 3}, {49, 3}}},
    {"lumoVexaLambert", miRAY_SHADOW, kSdk, {{0, 1}, {30, 0}}},
    {"lumoVexaSimpleShadingEngine", miRAY_EYE, kEngine, {}},
    {"lumoVexaRenderTargetShadingEngine", miRAY_EYE, kEngine, {}},
    {"lumoVexaShadingEngine", miRAY_EYE, kEngine, {{6, 0}, {7, 0}}},
    {"lumoVexaPointLight", miRAY_LIGHT, "vexa_pointlight(): Internal state error.", {{15, 2}}},
    {"lumoVexaDirectionalLight", miRAY_LIGHT, "vexa_directionallight(): Internal state error.", {{0, 0}, {15, 2}}},
    {"lumoVexaDefaultLight", miRAY_LIGHT, "vexa_defaultlight(): Internal state error.", {{0, 0}, {15, 2}}},
    {"lumoVexaAmbientLight", miRAY_LIGHT, "vexa_ambientlight(): Internal state error.", {{12, 2}}},
    {"lumoVexaSpotLight", miRAY_LIGHT, "vexa_spotlight(): Internal state error.", {{18, 2}}},
    {"lumoVexaVolumeLight", miRAY_LIGHT, "vexa_volumelight(): Internal state error.", {{19, 2}}},
    {"lumoVexaShapeLight", miRAY_LIGHT, "vexa_shapelight(): Internal state error.", {{15, 2}}},
    {"lumoVexaPointLight", miRAY_EYE, "vexa_pointlight(): Internal state error.", {}},
    {"lumoVexaShadow", miRAY_SHADOW, nullptr, {}},
    {"lumoVexaFastShadow", miRAY_SHADOW, nullptr, {}},
    {"lumoFrameBufferLens", miRAY_EYE, nullptr, {}},
    {"lumoTraversal", miRAY_EYE, nullptr, {}}};

class BrokenUse : public SurfaceTest {
protected:
    BrokenUse() {
        addPass("pass");
        usePasses({0, 5, 12, 13, 20, 27, 30, 33});
        addLight();
        addLight().direction = {0, 0, -1};
        lights[1].isForeign = true;
        lights[1].instance = renderer().database.addInstance(miNULLTAG);
        state->light_instance = renderer().database.addInstance(miNULLTAG);
        stage.options.finalgather = stage.options.trace = 1;
        renderer().tracing.refraction = [](miColor* color, miState*, const miVector*) {
            *color = {1, 1, 1, 1};
            return miTRUE;
        };
    }

    /* The state shader's exit relies on sound records, so the slots stay. */
    void TearDown() override {
        stateIsOpen = false;
        expectedAllocations = 1;
        SurfaceTest::TearDown();
    }

    /* Init, call and exit; the result is filled with 0xEE before. */
    miBoolean call(const Subject& subject, const Words& words) {
        twin::ShaderInstance<Words> shader(words);
        if (subject.withoutRecord == kEngine) shader.connect(shader.parameters(), evaluates ? &surface : nullptr);
        const twin::ShaderEntry<Words> entry(subject.name);
        const miFunction* const before = state->shader;
        stage.run(shader);
        miState called = *state;
        called.type = subject.ray;
        if (subject.ray == miRAY_LIGHT) called.parent = state;
        miBoolean wantsInstances = miFALSE;
        std::memset(&result, 0xEE, sizeof result);
        if (entry.exit) entry.init(&called, shader.parameters(), &wantsInstances);
        returned = entry.call(&result, &called, shader.parameters(), nullptr);
        if (entry.exit) entry.exit(&called, shader.parameters());
        state->shader = before;
        return returned;
    }

    static Words wordsOf(const Subject& subject, miScalar value = 1) {
        Words words;
        words.fill(std::bit_cast<miUint>(value));
        for (const auto& [index, word] : subject.words) words[index] = word;
        return words;
    }

    void republish(const char* key, int size) {
        const std::vector<std::byte> garbage(static_cast<std::size_t>(size));
        stage.rendering.entries.set(key, garbage.data(), size, miSS_LIFETIME_RECT);
    }

    std::array<miColor, 16> surface{};
    bool evaluates = true;
};

/* ---- One thing is wrong with the state ---- */

struct Break {
    const char* what;
    const char* said; /* the only message that may come; null: none. "" stands for the subject's own about the record */
    void (*make)(miState& state, twin::Stage& stage);
};

void PrintTo(const Break& each, std::ostream* out) { *out << each.what; }

constexpr const char* kNoBuffer = "PassShader(): The camera has no frame buffer for pass 0, which is not written.";
constexpr const char* kOutside = "setupLightContributions was called outside of a light shader.";

const Break kBreaks[] = {
    {"nothing", nullptr, [](miState&, twin::Stage&) {}},
    {"no record", "", [](miState&, twin::Stage& s) { s.rendering.entries.set("vexabase", nullptr, 0, 0); }},
    {"no passes", nullptr, [](miState&, twin::Stage& s) { s.rendering.entries.set("lumoFBInfo", nullptr, 0, 0); }},
    {"no pass state", nullptr,
     [](miState&, twin::Stage& s) { s.rendering.entries.set("lumoPassState", nullptr, 0, 0); }},
    {"short pass state", nullptr, [](miState&, twin::Stage& s) { s.rendering.entries.set("lumoPassState", "", 1, 2); }},
    {"short passes", nullptr, [](miState&, twin::Stage& s) { s.rendering.entries.set("lumoFBInfo", "", 1, 2); }},
    {"short frame state", nullptr, [](miState&, twin::Stage& s) { s.rendering.entries.set("lumoFBState", "", 1, 2); }},
    {"no frame state", nullptr, [](miState&, twin::Stage& s) { s.rendering.entries.set("lumoFBState", nullptr, 0, 0); }},
    {"no place for texture coordinates", "Internal error: tex_list not initialized.",
     [](miState&, twin::Stage& s) { s.rendering.entries.refused = "lumoTexList"; }},
    {"trace depth 0", nullptr, [](miState&, twin::Stage& s) { s.options.trace_depth = 0; }},
    {"trace depth below 0", nullptr, [](miState&, twin::Stage& s) { s.options.trace_depth = -2147483647 - 1; }},
    {"no ray tracing", nullptr, [](miState&, twin::Stage& s) { s.options.trace = 0; }},
    {"level below 0", nullptr, [](miState& state, twin::Stage&) { state.refraction_level = -1; }},
    {"level far below 0", nullptr, [](miState& state, twin::Stage&) { state.reflection_level = -1000000; }},
    {"level past the slots", nullptr, [](miState& state, twin::Stage&) { state.reflection_level = 6; }},
    {"level far past the slots", nullptr, [](miState& state, twin::Stage&) { state.refraction_level = 1000000; }},
    {"no camera", kNoBuffer, [](miState& state, twin::Stage&) { state.camera = nullptr; }},
    {"camera without data", kNoBuffer, [](miState&, twin::Stage& s) { s.camera.userdata = miNULLTAG; }},
    {"camera without pixels", nullptr,
     [](miState&, twin::Stage& s) { s.camera.x_resolution = s.camera.y_resolution = 0; }},
    {"no C++ interface", kNoBuffer, [](miState&, twin::Stage&) { renderer().hasInterface = false; }},
    {"no camera instance", nullptr, [](miState& state, twin::Stage&) { state.camera_inst = miNULLTAG; }},
    {"text as camera instance", nullptr,
     [](miState& state, twin::Stage&) { state.camera_inst = renderer().database.addString("camera"); }},
    {"no light instance", kOutside, [](miState& state, twin::Stage&) { state.light_instance = miNULLTAG; }},
    {"text as light instance", nullptr,
     [](miState& state, twin::Stage&) { state.light_instance = renderer().database.addString("5"); }},
    {"no instance", nullptr, [](miState& state, twin::Stage&) { state.instance = miNULLTAG; }},
    {"camera as instance", nullptr,
     [](miState& state, twin::Stage&) { state.instance = renderer().database.add(miSCENE_CAMERA, sizeof(miCamera)); }},
    {"assembly that is a text", nullptr,
     [](miState&, twin::Stage&) {
         renderer().queries.answer(miQ_PRI_ASSEMBLY_INST_TAG, renderer().database.addString("0"));
     }},
    {"stage unknown", nullptr, [](miState&, twin::Stage&) { renderer().queries.refuse(miQ_STAGE); }},
    {"result size unknown", nullptr, [](miState&, twin::Stage&) { renderer().queries.refuse(miQ_FUNC_RESULT_SIZE); }},
    {"negative result size", nullptr, [](miState&, twin::Stage&) { renderer().queries.answer(miQ_FUNC_RESULT_SIZE, -5); }},
    {"scalar for a surface", nullptr, [](miState&, twin::Stage&) { renderer().queries.answer(miQ_FUNC_RESULT_SIZE, 4); }},
    {"light list of nothing", nullptr,
     [](miState&, twin::Stage&) {
         renderer().lighting.instanceLights = [](int* n, miTag** list, miState*) {
             *n = 10, *list = nullptr;
             return miTRUE;
         };
     }},
    {"light list of null tags", nullptr,
     [](miState&, twin::Stage&) {
         renderer().lighting.instanceLights = [](int* n, miTag** list, miState*) {
             static miTag tags[3] = {};
             *n = 3, *list = tags;
             return miTRUE;
         };
     }},
    {"negative light count", nullptr,
     [](miState&, twin::Stage&) {
         renderer().lighting.instanceLights = [](int* n, miTag**, miState*) { return *n = -1, miTRUE; };
     }},
    {"no normal", nullptr, [](miState& state, twin::Stage&) { state.normal = state.normal_geom = {0, 0, 0}; }},
    {"no direction", nullptr, [](miState& state, twin::Stage&) { state.dir = {0, 0, 0}; }},
    {"point nowhere", nullptr, [](miState& state, twin::Stage&) { state.point = {kNaN, kInfinity, 1e30f}; }},
    {"infinitely far", nullptr, [](miState& state, twin::Stage&) { state.dist = kInfinity; }},
    {"derivatives without extent", nullptr,
     [](miState& state, twin::Stage&) {
         static miVector none[miDERIVATIVES] = {};
         state.derivs = none;
     }},
    {"weights not numbers", nullptr,
     [](miState&, twin::Stage& s) {
         auto* record = static_cast<miUint*>(s.rendering.entries.get("vexabase", nullptr));
         for (int word : {3, 7, 8, 10, 140, 141, 142, 143})
             std::memcpy(record + word, &kNaN, sizeof kNaN);
     }},
    {"composition modes from nowhere", nullptr, [](miState&, twin::Stage& s) {
         auto* record = static_cast<miUint*>(s.rendering.entries.get("vexabase", nullptr));
         record[2] = record[4] = 0x80000000;
     }}};

class BrokenState : public BrokenUse, public ::testing::WithParamInterface<Break> {};

TEST_P(BrokenState, SaysWhatIsDocumented) {
    GetParam().make(*state, stage);
    const char* const said = GetParam().said;
    for (const Subject& subject : kSubjects) {
        SCOPED_TRACE(subject.name);
        const std::size_t before = renderer().messages().size();
        call(subject, wordsOf(subject));
        const auto messages = renderer().messages();
        const char* const expected = said && !*said ? subject.withoutRecord : said;
        for (std::size_t i = before; i < messages.size(); ++i)
            EXPECT_STREQ(messages[i].text.c_str(), expected ? expected : "nothing");
        if (!said || *said || !subject.withoutRecord) continue;
        EXPECT_EQ(messages.size(), before + 1);
        EXPECT_EQ(returned, miFALSE);
        const auto* bytes = reinterpret_cast<const unsigned char*>(&result);
        EXPECT_TRUE(std::all_of(bytes, bytes + sizeof result, [](unsigned char b) { return b == 0xEE; }));
    }
}

INSTANTIATE_TEST_SUITE_P(One, BrokenState, ::testing::ValuesIn(kBreaks));

/* ---- Numbers ---- */

TEST_F(BrokenUse, ParametersMayBeAnyNumber) {
    const miScalar odd[] = {kNaN, kInfinity, -kInfinity, 1e30f, -1e30f, 0, -0.0f, 1e-40f, -1, 0x1p31f};
    std::mt19937 random(7);
    for (const Subject& subject : kSubjects) {
        SCOPED_TRACE(subject.name);
        for (const miScalar number : odd) call(subject, wordsOf(subject, number));
        // Mixed, in all kinds of states; integers too, since every word is read as what it is declared.
        for (int round = 0; round < 200; ++round) {
            Words words = wordsOf(subject);
            for (std::size_t i = 0; i < words.size(); ++i)
                if (random() % 2) words[i] = std::bit_cast<miUint>(odd[random() % std::size(odd)]);
            for (const auto& [index, word] : subject.words) words[index] = word;
            record[4] = static_cast<miUint>(random()) % 9;
            record[6] = static_cast<miUint>(random()) % 2;
            state->reflection_level = static_cast<int>(random() % 9) - 3;
            state->inv_normal = random() % 2;
            state->dist = static_cast<double>(random() % 3);
            stage.options.shadow = random() % 2 ? 's' : 1;
            std::fill_n(&surface[0].r, 64, odd[random() % std::size(odd)]);
            call(subject, words);
        }
    }
    EXPECT_TRUE(renderer().messages().empty());
}

TEST_F(BrokenUse, RaysMayBeOfAnyType) {
    for (Subject subject : kSubjects)
        for (int type = 0; type < miRAY_COUNT; ++type) {
            subject.ray = static_cast<miRay_type>(type);
            call(subject, wordsOf(subject));
        }
    EXPECT_TRUE(renderer().messages().empty());
}

TEST_F(BrokenUse, ConnectionsMayGiveNothing) {
    evaluates = false;
    for (const Subject& subject : kSubjects)
        if (subject.withoutRecord == kEngine) {
            EXPECT_EQ(call(subject, wordsOf(subject)), miTRUE) << subject.name;
        }
    EXPECT_TRUE(renderer().messages().empty());
}

/* ---- The life of instances ---- */

TEST_F(BrokenUse, InstancesMayNeverHaveCome) {
    for (const std::string& name : twin::ExportList().ofKind("object")) {
        SCOPED_TRACE(name);
        twin::ShaderInstance<Words> shader;
        const twin::ShaderEntry<Words> entry(name);
        stage.run(shader);
        const auto callAndLeave = [&] {
            EXPECT_EQ(entry.call(&result, state, shader.parameters(), nullptr), miFALSE);
            entry.exit(state, shader.parameters());
            EXPECT_EQ(shader.object(), nullptr);
        };
        miBoolean wantsInstances = miFALSE;
        callAndLeave();  // no init at all
        renderer().memory.fails = [](const twin::Allocation&) { return true; };
        entry.init(state, shader.parameters(), &wantsInstances);
        callAndLeave();  // no memory
        renderer().memory.fails = nullptr;
        entry.init(state, shader.parameters(), &wantsInstances);
        entry.exit(state, shader.parameters());
        callAndLeave();  // it is gone
        renderer().queries.refuse(miQ_FUNC_USERPTR);
        entry.init(state, shader.parameters(), &wantsInstances);
        callAndLeave();  // no place for it
        renderer().queries.forget(miQ_FUNC_USERPTR);
    }
}

/* ---- State shaders ---- */

TEST_F(BrokenUse, StateShadersRefuseWhatTheyDoNotKnow) {
    const std::pair<const char*, const char*> shaders[] = {
        {"lumoFrameBufferState", "vexa_state(): Invoked with invalid opcode."},
        {"lumoFrameBufferInit", "lumoFrameBufferInit(): Invoked with invalid opcode."}};
    for (const auto& [name, complaint] : shaders) {
        const twin::ShaderEntry<Words> entry(name);
        twin::ShaderInstance<Words> shader;
        stage.run(shader);
        EXPECT_EQ(entry.call(nullptr, state, shader.parameters(), nullptr), miFALSE) << "no argument";
        int told = 0;
        for (const int operation : {-1, 4, 15, 2147483647}) {
            OperationArgument argument{operation, miTRUE};
            EXPECT_EQ(entry.call(nullptr, state, shader.parameters(), &argument), miFALSE) << operation;
            EXPECT_EQ(renderer().messageCount("warning", complaint), ++told);
        }
    }
}

/* A renderer that does not keep the entries must not cost their slots. */
TEST_F(FrameBufferTest, EntriesThatAreNotKeptLeaveNothingBehind) {
    addRecord("a", 0);
    attach();
    stage.rendering.entries.refused = "lumoFBInfo";
    EXPECT_EQ(operate(miSTATE_SHADER_STATE_INIT), miFALSE);
    EXPECT_EQ(renderer().memory.liveAllocations(), 0u);
    EXPECT_EQ(operate(miSTATE_SHADER_STATE_EXIT), miTRUE);
}

}  // namespace
