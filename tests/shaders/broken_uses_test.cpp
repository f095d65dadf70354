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
using Words = std::array<miUint, 128>;

struct Subject {
    const char* name;
    miRay_type ray;
    const char* withoutRecord; /* what is said then; null: it needs none */
    std::vector<std::pair<std::size_t, miUint>> words;
};

const char* const kSdk = "LumoShaderSDK(): Internal state error.";
const char* const kEngine = "vexa_shadingengine(): Internal state error.";

/* Lights give their name in lower case. */
// clang-format off
#define LIGHT(name, lower, ray, ...) {"lumoVexa" name "Light", ray, "vexa_" lower "light(): Internal state error.", __VA_ARGS__}
const Subject kSubjects[] = {
    {"lumoPassCameraDepth", miRAY_EYE, kSdk, {{0, 0}}}, {"lumoPassMotionVector2DNormalized", miRAY_EYE, kSdk, {{0, 0}}},
    {"lumoPassNormal", miRAY_EYE, kSdk, {{0, 0}}}, {"lumoPassUV", miRAY_EYE, kSdk, {{0, 0}}},
    {"lumoPassWorldPosition", miRAY_EYE, kSdk, {{0, 0}, {1, 0}, {2, 0}}},
    {"lumoVexaWriteToColorBuffer", miRAY_EYE, kSdk, {{0, 0}}}, {"lumoVexaWriteToVectorBuffer", miRAY_EYE, kSdk, {{0, 0}}},
    {"lumoVexaWriteToDepthBuffer", miRAY_EYE, kSdk, {{0, 0}}}, {"lumoVexaWriteToLabelBuffer", miRAY_EYE, kSdk, {{0, 0}}},
    {"lumoVexaLambert", miRAY_EYE, kSdk, {{0, 1}, {11, 2}, {30, 0}, {48, 3}, {49, 3}}},
    {"lumoVexaFur", miRAY_EYE, "lumoVexaFur(): Internal state error.", {{0, 1}, {11, 2}, {30, 0}, {48, 3}, {49, 3}}},
    {"lumoVexaHairShader", miRAY_EYE, "lumoVexaHairShader(): Internal state error.",
     {{0, 1}, {11, 2}, {30, 0}, {48, 3}, {49, 3}}},
    {"lumoVexaFur", miRAY_SHADOW, "lumoVexaFur(): Internal state error.", {{0, 1}, {30, 0}}},
    {"lumoVexaLambert", miRAY_SHADOW, kSdk, {{0, 1}, {30, 0}}}, {"lumoVexaShadingEngine", miRAY_EYE, kEngine, {{6, 0}, {7, 0}}},
    {"lumoVexaSimpleShadingEngine", miRAY_EYE, kEngine, {}}, {"lumoVexaRenderTargetShadingEngine", miRAY_EYE, kEngine, {}},
    LIGHT("Point", "point", miRAY_LIGHT, {{15, 2}}), LIGHT("Directional", "directional", miRAY_LIGHT, {{0, 0}, {15, 2}}),
    LIGHT("Default", "default", miRAY_LIGHT, {{0, 0}, {15, 2}}), LIGHT("Ambient", "ambient", miRAY_LIGHT, {{12, 2}}),
    LIGHT("Spot", "spot", miRAY_LIGHT, {{18, 2}}), LIGHT("Volume", "volume", miRAY_LIGHT, {{19, 2}}),
    LIGHT("Shape", "shape", miRAY_LIGHT, {{15, 2}}), LIGHT("Point", "point", miRAY_EYE, {}),
    {"lumoVexaShadow", miRAY_SHADOW, nullptr, {}}, {"lumoVexaFastShadow", miRAY_SHADOW, nullptr, {}},
    {"lumoFrameBufferLens", miRAY_EYE, nullptr, {}}, {"lumoTraversal", miRAY_EYE, nullptr, {}}};
// clang-format on

class BrokenUse : public SurfaceTest {
public:
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

    /* Ways to break it. */
    void publish(const char* key, const char* value) {
        stage.rendering.entries.set(key, value, value ? 1 : 0, miSS_LIFETIME_RECT);
    }
    void lightList(int count, miTag* tags) {
        renderer().lighting.instanceLights = [=](int* n, miTag** list, miState*) {
            *n = count, *list = tags;
            return miTRUE;
        };
    }
    void setWords(const std::vector<int>& words, miUint value) {
        for (const int word : words) record[word] = value;
    }
    static miTag text(const std::string& content) { return renderer().database.addString(content); }

    twin::Stage& s = stage;
    miState& it = stage.state;

protected:
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

    std::array<miColor, 16> surface{};
    bool evaluates = true;
};

/* ---- One thing is wrong with the state ---- */

struct Break {
    const char* what;
    const char* said; /* the only message that may come; null: none. "" stands for the subject's own about the record */
    void (*make)(BrokenUse& test);
};

void PrintTo(const Break& each, std::ostream* out) { *out << each.what; }

constexpr const char* kNoBuffer = "PassShader(): The camera has no frame buffer for pass 0, which is not written.";
constexpr const char* kOutside = "setupLightContributions was called outside of a light shader.";
constexpr const char* kNoTexture = "Internal error: tex_list not initialized.";
constexpr int kLeast = std::numeric_limits<int>::min();
miVector noExtent[miDERIVATIVES] = {};
miTag noTags[3] = {};

// clang-format off
#define BREAK(what, said, ...) {what, said, []([[maybe_unused]] BrokenUse& test) { __VA_ARGS__; }}
const Break kBreaks[] = {
    BREAK("nothing", nullptr, ),
    BREAK("no record", "", test.publish("vexabase", nullptr)),
    BREAK("no passes", nullptr, test.publish("lumoFBInfo", nullptr)),
    BREAK("no pass state", nullptr, test.publish("lumoPassState", nullptr)),
    BREAK("no frame state", nullptr, test.publish("lumoFBState", nullptr)),
    BREAK("short passes", nullptr, test.publish("lumoFBInfo", "x")),
    BREAK("short pass state", nullptr, test.publish("lumoPassState", "x")),
    BREAK("short frame state", nullptr, test.publish("lumoFBState", "x")),
    BREAK("no place for texture coordinates", kNoTexture, test.s.rendering.entries.refused = "lumoTexList"),
    BREAK("trace depth 0", nullptr, test.s.options.trace_depth = 0),
    BREAK("trace depth below 0", nullptr, test.s.options.trace_depth = kLeast),
    BREAK("no ray tracing", nullptr, test.s.options.trace = 0),
    BREAK("level below 0", nullptr, test.it.refraction_level = -1),
    BREAK("level far below 0", nullptr, test.it.reflection_level = -1000000),
    BREAK("level past the slots", nullptr, test.it.reflection_level = 6),
    BREAK("level far past the slots", nullptr, test.it.refraction_level = 1000000),
    BREAK("no camera", kNoBuffer, test.it.camera = nullptr),
    BREAK("camera without data", kNoBuffer, test.s.camera.userdata = miNULLTAG),
    BREAK("camera without pixels", nullptr, test.s.camera.x_resolution = test.s.camera.y_resolution = 0),
    BREAK("no C++ interface", kNoBuffer, renderer().hasInterface = false),
    BREAK("no camera instance", nullptr, test.it.camera_inst = miNULLTAG),
    BREAK("text as camera instance", nullptr, test.it.camera_inst = test.text("camera")),
    BREAK("no light instance", kOutside, test.it.light_instance = miNULLTAG),
    BREAK("text as light instance", nullptr, test.it.light_instance = test.text("5")),
    BREAK("no instance", nullptr, test.it.instance = miNULLTAG),
    BREAK("camera as instance", nullptr, test.it.instance = renderer().database.add(miSCENE_CAMERA, sizeof(miCamera))),
    BREAK("assembly is a text", nullptr, renderer().queries.answer(miQ_PRI_ASSEMBLY_INST_TAG, test.text("0"))),
    BREAK("stage unknown", nullptr, renderer().queries.refuse(miQ_STAGE)),
    BREAK("result size unknown", nullptr, renderer().queries.refuse(miQ_FUNC_RESULT_SIZE)),
    BREAK("negative result size", nullptr, renderer().queries.answer(miQ_FUNC_RESULT_SIZE, -5)),
    BREAK("scalar for a surface", nullptr, renderer().queries.answer(miQ_FUNC_RESULT_SIZE, 4)),
    BREAK("light list of nothing", nullptr, test.lightList(10, nullptr)),
    BREAK("light list of null tags", nullptr, test.lightList(3, noTags)),
    BREAK("negative light count", nullptr, test.lightList(-1, noTags)),
    BREAK("no normal", nullptr, test.it.normal = test.it.normal_geom = {0, 0, 0}),
    BREAK("no direction", nullptr, test.it.dir = {0, 0, 0}),
    BREAK("point nowhere", nullptr, test.it.point = {kNaN, kInfinity, 1e30f}),
    BREAK("infinitely far", nullptr, test.it.dist = kInfinity),
    BREAK("derivatives without extent", nullptr, test.it.derivs = noExtent),
    BREAK("weights not numbers", nullptr, test.setWords({3, 7, 8, 10, 140, 141, 142, 143}, 0x7FC00000)),
    BREAK("composition modes from nowhere", nullptr, test.setWords({2, 4}, 0x80000000))};
// clang-format on

class BrokenState : public BrokenUse, public ::testing::WithParamInterface<Break> {};

TEST_P(BrokenState, SaysWhatIsDocumented) {
    GetParam().make(*this);
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

TEST_F(BrokenUse, ParametersMayBeAnyNumberAndConnectionsGiveNothing) {
    const miScalar odd[] = {kNaN, kInfinity, -kInfinity, 1e30f, -1e30f, 0, -0.0f, 1e-40f, -1, 0x1p31f};
    std::mt19937 random(7);
    for (Subject subject : kSubjects) {
        SCOPED_TRACE(subject.name);
        for (const miScalar number : odd) call(subject, wordsOf(subject, number));
        // Mixed, in all kinds of states; integers too, since every word is read as what it is declared.
        for (int round = 0; round < 200; ++round) {
            Words words = wordsOf(subject);
            for (miUint& word : words)
                if (random() % 2) word = std::bit_cast<miUint>(odd[random() % std::size(odd)]);
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
        evaluates = false;
        EXPECT_TRUE(call(subject, wordsOf(subject)) || subject.withoutRecord != kEngine);
        evaluates = true;
        for (int type = 0; type < miRAY_COUNT; ++type) {
            subject.ray = static_cast<miRay_type>(type);
            call(subject, wordsOf(subject));
        }
    }
    EXPECT_TRUE(renderer().messages().empty());
}

TEST_F(BrokenUse, ArraysDoNotLeaveTheirBlocks) {
    const char* const arrays[][3] = {{"lumoVexaLayeredShader", "layers", ""},
                                     {"lumoVexaShadingEngine", "preSurfaceShaders", ""},
                                     {"lumoVexaAssetBinder", "assets", "\"selection\" 1"},
                                     {"lumoVexaAssetBinder", "names", "\"selector\" \"b\""},
                                     {"lumoVexaVolumeEngine", "primitives", ""},
                                     {"lumoVexaOceanShader", "heightRamp", ""},
                                     {"lumoVexaRampShader", "colorRamp", ""},
                                     {"lumoVexaRemapColor", "red", ""}};
    const std::pair<miInteger, miInteger> damage[] = {
        {1 << 28, 1}, {0, 1 << 28}, {kLeast, 1}, {0, -1}, {0x7FFFFFFF, 0x7FFFFFFF}};
    for (const auto& [name, array, parameters] : arrays)
        for (const bool sizeIsKnown : {true, false})
            for (const auto& [start, count] : damage) {
                SCOPED_TRACE(twin::text(name, " ", array, " ", start, " ", count));
                twin::Block shader(name, parameters);
                if (std::strcmp(name, "lumoVexaShadingEngine") == 0) shader.connect("surfaceShader", &surface);
                if (!sizeIsKnown) shader.function().parameter_size = 0;
                auto* words = &shader.at<miInteger>(array);
                words[0] = start;
                words[1] = count;
                const std::size_t before = renderer().messages().size();
                shader.init(state);
                std::array<miColor, 64> anyResult{};
                shader.call(state, &anyResult);
                shader.exit(state);
                const auto messages = renderer().messages();
                EXPECT_TRUE(std::any_of(
                    messages.begin() + static_cast<std::ptrdiff_t>(before), messages.end(), [](const auto& each) {
                        return each.text.find("does not lie in its parameter block") != std::string::npos;
                    }));
            }
}

TEST_F(BrokenUse, InstancesMayNeverHaveCome) {
    for (const std::string& name : twin::shadersWithObjects()) {
        SCOPED_TRACE(name);
        twin::ShaderInstance<Words> shader;
        const twin::ShaderEntry<Words> entry(name);
        stage.run(shader);
        // No init at all; no memory; gone already; no place for it.
        for (const int how : {0, 1, 2, 3}) {
            miBoolean wantsInstances = miFALSE;
            renderer().memory.fails = [=](const twin::Allocation&) { return how == 1; };
            if (how == 3) renderer().queries.refuse(miQ_FUNC_USERPTR);
            if (how > 0) entry.init(state, shader.parameters(), &wantsInstances);
            if (how == 2) entry.exit(state, shader.parameters());
            EXPECT_EQ(entry.call(&result, state, shader.parameters(), nullptr), miFALSE);
            entry.exit(state, shader.parameters());
            EXPECT_EQ(shader.object(), nullptr);
            renderer().queries.forget(miQ_FUNC_USERPTR);
        }
    }
}

}  // namespace
