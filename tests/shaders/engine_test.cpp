/* The shading engines around scripted surfaces: what they need, filter and prepare, how the full one looks through a
 * surface, and what all leave for passes and renderer. */
#include <bit>
#include <functional>
#include <limits>

#include "block.h"
#include "frame_buffer_scene.h"

namespace {

constexpr miUint kComposited = 0x1, kMatte = 0x2;

/* One shading group: an engine, connected to a surface, which gives 16 colors in a row and writes passes by type. */
struct Group {
    twin::Block engine{"lumoVexaShadingEngine", "preSurfaceShaders [0 0 0, 0 0 0]"};
    std::array<miColor, 16> words{};
    miColor &color = words[0], &glow = words[1], &matte = words[2], &transparency = words[3];
    std::vector<std::pair<int, miColor>> writes;
    std::function<void(miState*)> onEvaluation = [](miState*) {};

    Group() {
        matte = {1, 1, 1, 0};
        engine.connect("surfaceShader", [this](miState* state) {
            PassState* passes = nullptr;
            FrameBufferInfo* first = nullptr;
            if (library::getFrameBufferInfo(state, &passes, &first))
                for (const auto& [type, value] : writes)
                    for (miUint i = 0; i < passes->types[type].count; ++i)
                        write(state, value, first[passes->types[type].first + i]);
            onEvaluation(state);
            return static_cast<void*>(&words);
        });
    }

    /* Replaces: labels must not be added as floats. */
    static void write(miState* state, const miColor& value, FrameBufferInfo& entry) {
        const miUint mode = 3;
        const miCBoolean flags = 0;
        const miScalar weight = 1;
        library::passWriteColor(state, &value, &entry, &mode, &flags, &weight, nullptr, nullptr);
    }

    miScalar& threshold = engine.at("transparencyThreshold");
};

class Engine : public FrameBufferTest {
protected:
    Engine() : record(stage.placeVexabase()) {
        renderer().tracing.transparent = [this](miColor* color, miState* parent) {
            return traceOn(color, parent, miRAY_TRANSPARENT, parent->refraction_level + 1);
        };
        renderer().tracing.continued = [this](miColor* color, miState* parent) {
            return traceOn(color, parent, parent->type, parent->refraction_level);
        };
    }

    void shade() { EXPECT_EQ(front.engine.call(state, &result), miTRUE); }
    bool walks() {
        const int before = renderer().tracing.transparent.calls();
        shade();
        return renderer().tracing.transparent.calls() > before;
    }
    FrameBufferSlot& slot(std::size_t number, int level = 0) { return publishedEntries()[number].slots[level]; }
    miScalar word(int number) const { return stage.vexabaseScalar(number); }
    void setWord(int number, miScalar value) { record[number] = std::bit_cast<miUint>(value); }

    Group front;
    Group* behind = nullptr; /* without one a ray meets an environment */
    miTag instanceBehind = miNULLTAG;
    miState seen{}; /* the child state of the last ray */
    miState traced{};
    miColor result = {9, 9, 9, 9};
    miUint* const record;

private:
    miBoolean traceOn(miColor* color, miState* parent, miRay_type type, int refractionLevel) {
        traced = seen = *parent;
        seen.parent = parent;
        seen.type = type;
        seen.refraction_level = refractionLevel;
        seen.instance = instanceBehind;
        parent->child = &seen;
        *color = {.4f, .8f, 1.2f, 1};
        Group* const group = std::exchange(behind, nullptr);
        const miBoolean found = group ? group->engine.call(&seen, color) : miTRUE;
        behind = group;
        // Renderers hand these back.
        parent->point = {0, 0, -8};
        parent->dist = 8;
        return found;
    }
};

TEST_F(Engine, NeedsRecordAndConnectedSurface) {
    open({0}, kComposited);
    const auto refuses = [&](const std::string& said) {
        EXPECT_EQ(front.engine.call(state, &result), miFALSE);
        EXPECT_EQ(renderer().messages().empty() ? "" : renderer().messages().back().text, said);
    };
    for (const miRay_type type : {miRAY_SHADOW, miPHOTON_LIGHT, miPHOTON_ABSORB}) {
        state->type = type;
        refuses("");
    }
    state->type = miRAY_EYE;
    for (const miTag ghost : {0x0u, 0xFFFFFFFEu, 0xFFFFFFFFu}) {
        front.engine.setGhost(front.engine.member("surfaceShader"), ghost);
        refuses("vexa_shadingengine(): Cannot evaluate surface shader.");
    }
    frame() = {3, {1, 1, 1, 1}};
    stage.rendering.entries.set("vexabase", nullptr, 0, 0);
    refuses("vexa_shadingengine(): Internal state error.");
    // What pass shaders read is that of no surface.
    EXPECT_EQ(frame().flags, 1u);
    EXPECT_COLOR(frame().transparency, 0, 0, 0, 0);
    EXPECT_COLOR(result, 9, 9, 9, 9);
}

TEST_F(Engine, LeavesAlphaGlowAndOpacity) {
    front.color = {.1f, .2f, .3f, .4f};
    // .3 x 1 + .59 x .5 + .11 x .25; only the exact mark of a black hole is one; glow is seen from .004 on.
    const std::tuple<miColor, miScalar, miColor, miScalar> rows[] = {
        {{1, .5f, .25f, 9}, .6225f, {.004f, .004f, .004f, 0}, 0},
        {{-1000000, -1000000, -1000000, 0}, 0, {.0041f, 0, 0, 0}, 1},
        {{-999999, 0, 0, 0}, -299999.7f, {0, 0, .0041f, 0}, 1}};
    for (const auto& [matte, alpha, glow, glowAlpha] : rows) {
        front.matte = matte;
        front.glow = glow;
        setWord(118, 0);
        shade();
        EXPECT_COLOR(result, .1f, .2f, .3f, alpha);
        for (const int copy : {119, 120, 121}) EXPECT_FLOAT_EQ(word(copy), alpha);
        EXPECT_EQ(word(115), glow.r * glowAlpha);
        EXPECT_EQ(word(118), glowAlpha);
    }
    // Opacity is for samples of the rasterizer.
    miColor handed{};
    renderer().tracing.opacitySet = [&](miState*, const miColor* opacity) { handed = *opacity; };
    front.transparency = {.25f, .5f, .75f, 0};
    const miCBoolean cases[][3] = {{0, 1, 0}, {1, 1, 0}, {'r', 0, 0}, {'r', 1, 1}};
    for (const auto& [scanline, sample, calls] : cases) {
        stage.options.scanline = scanline;
        state->scanline = sample;
        shade();
        EXPECT_EQ(renderer().tracing.opacitySet.calls(), calls);
    }
    EXPECT_COLOR(handed, .75f, .5f, .25f, .3f * .75f + .59f * .5f + .11f * .25f);
    // A shader with a color alone is opaque.
    renderer().queries.answer(miQ_FUNC_RESULT_SIZE, static_cast<miInteger>(sizeof(miColor)));
    EXPECT_FALSE(walks());
    EXPECT_COLOR(result, .1f, .2f, .3f, 1);
}

TEST_F(Engine, TiltsNormalsSeenEdgeOn) {
    // (1 0 0) - (1e-6 + 0.0015) (0 0 -1), normalized; a normal that is no direction stays one to calculate with
    const miScalar z = .001501f, length = std::sqrt(1 + z * z);
    const miScalar rows[][4] = {{1, 0, 1e-6f, z / length}, {1, 2e-5f, -2e-5f, 2e-5f}, {0, 0, 0, 1}};
    for (const auto& [x, normalZ, cosine, expected] : rows) {
        state->normal = {x, 0, normalZ};
        state->dot_nd = cosine;
        shade();
        EXPECT_FLOAT_EQ(state->normal.z, expected);
        EXPECT_FLOAT_EQ(state->dot_nd, -expected);
    }
}

/* The buffer wants 1 or 2 reflections and at most 1 refraction. */
TEST_F(Engine, SetsLevelFlags) {
    open({5});
    entry(0).minReflectionLevel = 1, entry(0).maxReflectionLevel = 2, entry(0).maxRefractionLevel = 1;
    miUint found = 9;
    front.onEvaluation = [&](miState*) {
        found = slot(0, state->reflection_level + state->refraction_level).levelFlags;
    };
    // Below one range and above the other is above.
    const int rows[][3] = {{0, 1, 3}, {0, 2, 1}, {3, 0, 1}, {1, 0, 0}};
    for (const auto& [reflection, refraction, expected] : rows) {
        state->reflection_level = reflection;
        state->refraction_level = refraction;
        shade();
        EXPECT_EQ(found, static_cast<miUint>(expected)) << reflection << ' ' << refraction;
    }
    // An assembly speaks for what it holds. A precomputation of indirect light leaves the slots as they are.
    state->instance = masked("0");
    renderer().queries.answer(miQ_PRI_ASSEMBLY_INST_TAG, masked("1"));
    shade();
    EXPECT_EQ(found, 0u);
    renderer().queries.answer(miQ_FINALGATHER_STATE, 2);
    slot(0, 1).levelFlags = 0x1F;
    shade();
    EXPECT_EQ(found, 0x1Fu);
    // Levels outside the slots: .5 of the environment all the same.
    front.transparency = {.5f, .5f, .5f, 0};
    front.onEvaluation = [](miState*) {};
    for (const int level : {-1, 6, std::numeric_limits<int>::max()}) {
        state->reflection_level = level;
        shade();
        EXPECT_FLOAT_EQ(result.r, .2f);
    }
}

TEST_F(Engine, RunsShadersBeforeTheSurfaceWithClosedBuffers) {
    open({0, 5}, 0x81);
    std::vector<int> order;
    miColor white = {1, 1, 1, 1};
    for (const int i : {0, 1})
        front.engine.connect("preSurfaceShaders[" + std::to_string(i) + "]", [&, i](miState* called) -> void* {
            order.push_back(i + 1);
            for (FrameBufferInfo& each : entries()) Group::write(called, white, each);
            return &white;
        });
    front.onEvaluation = [&](miState*) { order.push_back(0); };
    shade();
    EXPECT_EQ(order, (std::vector<int>{1, 2, 0}));
    EXPECT_COLOR(slot(1).color, 0, 0, 0, 0);
    EXPECT_EQ(entry(1).flags, 0x81u);
    // None, and inside of a writer, whose flags stay.
    for (const int count : {0, -3, 2}) {
        *(static_cast<miInteger*>(front.engine.member("preSurfaceShaders")) + 1) = count;
        entry(0).flags = 0x18001;
        shade();
    }
    EXPECT_EQ(entry(0).flags, 0x18001u);
    EXPECT_EQ(order, (std::vector<int>{1, 2, 0, 0, 0, 0}));
}

/* ---- Looking through ---- */

/* A sheet F with the look C and transparency T before an opaque surface B with the look K. */
class Sheet : public Engine {
protected:
    static constexpr miColor F = {.3f, .15f, .075f, .9f}, C = {.7f, .4f, .6f, 1.1f}, T = {.25f, .5f, .4f, .2f};
    static constexpr miColor B = {.16f, .48f, .8f, .7f}, K = {.2f, .3f, .9f, .8f};

    Sheet() {
        front.color = C;
        front.transparency = T;
        front.writes = {{5, F}, {0, F}};
        back.color = K;
        back.writes = {{5, B}, {0, B}};
        behind = &back;
        instanceBehind = state->instance;
    }

    Group back;
};

/* An opaque object is looked behind for the buffers that leave it out, and hides what is behind it from the others. */
TEST_F(Sheet, OpaqueObjectsAreLookedBehindForTheBuffersThatLeaveThemOut) {
    front.transparency = {0, 0, 0, 0};
    open({0, 0}, kComposited);
    const miTag first = state->instance = masked("1");
    back.glow = {1, 1, 1, 0};
    back.onEvaluation = [&](miState*) { EXPECT_EQ(slot(0).levelFlags & 0x11u, 0x11u); };
    EXPECT_TRUE(walks());
    EXPECT_COLOR(result, .7f, .4f, .6f, 1);
    EXPECT_EQ(word(118), 0) << "what nobody sees does not glow";
    EXPECT_COLOR(slot(0).color, F.r, F.g, F.b, F.a);
    EXPECT_COLOR(slot(1).color, B.r, B.g, B.b, B.a);
    behind = nullptr;
    instanceBehind = miNULLTAG;
    shade();
    EXPECT_COLOR(slot(0).color, F.r, F.g, F.b, F.a);
    EXPECT_COLOR(slot(1).color, .4f, .8f, 1.2f, 1);  // the environment

    // Not where no buffer would see anything: the one that leaves it out is hidden, both hold it out, it is in both.
    slot(1).levelFlags = 0x10;
    EXPECT_FALSE(walks());
    slot(1).levelFlags = 0;
    entry(0).flags = entry(1).flags = kMatte;
    EXPECT_FALSE(walks());
    entry(0).flags = entry(1).flags = 0;
    state->instance = masked("3");
    EXPECT_FALSE(walks());
    state->instance = first;
    EXPECT_TRUE(walks());
}

TEST_F(Sheet, TellsWhatItLooksThroughAndPutsItsStateBack) {
    open({5}, kComposited);
    // Fully clear, and counting as there: the ray behind goes on as if nothing were in front. As before, it is 8.
    const std::tuple<miColor, miScalar, miUint, miUint> cases[] = {
        {{1, 1, 1, 0}, 0, 0, 8},       {{.999995f, 1, 1, 0}, 0, 0, 8}, {{.99998f, 1, 1, 0}, 0, 0, 0},
        {{1, 1, .99998f, 0}, 0, 0, 0}, {{1, 1, 1, 0}, .5f, 0, 0},      {{1, 1, 1, 0}, 0, 8, 8}};
    for (const auto& [transparency, threshold, before, told] : cases) {
        front.transparency = transparency;
        front.threshold = threshold;
        frame().flags = before;
        back.onEvaluation = [&, expected = told](miState*) { EXPECT_EQ(frame().flags & 8u, expected); };
        shade();
        EXPECT_EQ(frame().flags & 8u, before);
    }
    // The one behind leaves other words.
    back.onEvaluation = [&](miState*) { frame() = {2, {9, 9, 9, 9}}; };
    front.transparency = {.2f, .3f, .4f, .5f};
    state->volume = 41;
    state->refraction_volume = 42;
    state->refraction_level = 2;
    shade();
    EXPECT_COLOR(frame().transparency, .2f, .3f, .4f, .5f);
    EXPECT_EQ(frame().flags, 0u);
    EXPECT_EQ(traced.refraction_level, 1) << "the renderer adds one";
    EXPECT_EQ(traced.refraction_volume, 41u);
    EXPECT_EQ(state->refraction_volume, 42u);
    EXPECT_EQ(state->refraction_level, 2);
    EXPECT_EQ(state->point.z, -5);
    EXPECT_EQ(state->dist, 5);
    EXPECT_FLOAT_EQ(slot(0, 2).color.r, .3f + .2f * .16f);
}

TEST_F(Sheet, IsWalkedThroughOnlyWhenItMatters) {
    // Transparency, weight of the sample and least weight; whether it walks.
    const miScalar cases[][4] = {{.25f, 1, -1, 1},     {0, 1, -1, 0},        {9e-6f, 1, -1, 0}, {1.1e-5f, 1, -1, 1},
                                 {.25f, .5f, .12f, 1}, {.25f, .5f, .13f, 0}, {.25f, 0, -1, 1},  {.25f, 0, 0, 0}};
    for (const auto& [transparency, weight, least, expected] : cases) {
        front.transparency = {0, transparency, 0, 0};
        setWord(141, weight);
        setWord(7, least);
        EXPECT_EQ(walks(), expected == 1) << transparency << ' ' << weight << ' ' << least;
    }
    // Paths end after 256 states, but for those that begin at a scanline.
    front.transparency = T;
    setWord(7, -1);
    std::vector<miState> chain(256);
    for (std::size_t i = 1; i < chain.size(); ++i) chain[i].parent = &chain[i - 1];
    state->parent = &chain[255];
    EXPECT_FALSE(walks());
    state->scanline = 1;
    EXPECT_TRUE(walks());
    state->scanline = 0;
    state->parent = &chain[254];
    EXPECT_TRUE(walks());
}

/* Integers travel in float words; -4 is the bits of a NaN, 7 those of a number next to 0, the least integer -0. */
TEST_F(Sheet, LabelsSurviveTheWalk) {
    const auto label = [](miInteger value) { return miColor{std::bit_cast<miScalar>(value), 0, 0, 0}; };
    open({30, 30});
    front.writes = {{30, label(7)}};
    state->instance = masked("1");
    for (const miInteger value : {-4, std::numeric_limits<miInteger>::min()}) {
        back.writes = {{30, label(value)}};
        shade();
        EXPECT_EQ(std::bit_cast<miInteger>(slot(0).color.r), 7);
        EXPECT_EQ(std::bit_cast<miInteger>(slot(1).color.r), value);
    }
}

/* The slots are saved on the stack, and on the heap when there are many; without memory nothing is looked through. */
TEST_F(Sheet, SavesItsSlotsWhereThereIsRoom) {
    open(std::vector<int>(1025, 5), kComposited);
    for (const bool fails : {false, true}) {
        renderer().memory.fails = [&](const twin::Allocation&) { return fails; };
        shade();
        EXPECT_FLOAT_EQ(slot(1024).color.r, fails ? .3f : .3f + .25f * .16f);
        EXPECT_FLOAT_EQ(result.r, fails ? .7f : .75f);
    }
}

/* ---- The pass-through engines, and what all engines prepare ---- */

class PassThrough : public FrameBufferTest {
protected:
    twin::Block simple{"lumoVexaSimpleShadingEngine", "color .1 .2 .3 .4, alpha .5"};
    twin::Block target{"lumoVexaRenderTargetShadingEngine", "color .1 .2 .3 .4, alpha .5"};
    miUint* record = stage.placeVexabase();
    miColor result = {9, 9, 9, 9};

    void setWord(int word, miScalar value) { record[word] = std::bit_cast<miUint>(value); }
};

TEST_F(PassThrough, CallTheConnectedSurfaceForEyeRays) {
    record[114] = 5;
    for (int type = 1; type < miRAY_COUNT; ++type) {
        state->type = static_cast<miRay_type>(type);
        EXPECT_FALSE(simple.call(state, &result) || target.call(state, &result)) << type;
    }
    EXPECT_EQ(record[114], 5u);
    EXPECT_COLOR(result, 9, 9, 9, 9);
    state->type = miRAY_EYE;
    state->raster_x = 159.5f;
    state->raster_y = 359.5f;
    miVector texture = {}, own = {1, 2, 3};
    miColor surface = {.6f, .7f, .8f, .9f};
    const auto shaded = [&](miState* called) -> void* {
        EXPECT_EQ(record[114], 0u) << "the mark is cleared before the surface runs";
        texture = std::exchange(called->tex_list[0], {7, 7, 7});
        return &surface;
    };
    const auto& connection = simple.connect("color", shaded);
    target.connect("color", shaded);
    // A zero where there is no coordinate; the position in the image, (159.5 + .5) / 640 and (359.5 + .5) / 480.
    const miScalar rows[][3] = {{0, 0, 0}, {1, .25f, .75f}, {0, 0, 0}, {2, 1, 2}};
    for (const auto& [kind, u, v] : rows) {
        if (kind == 2) {
            state->tex_list = &own;
            renderer().queries.answer(miQ_NUM_TEXTURES, 1);
        }
        EXPECT_EQ((kind == 1 ? target : simple).call(state, &result), miTRUE);
        EXPECT_FLOAT_EQ(texture.x, u);
        EXPECT_FLOAT_EQ(texture.y, v);
        EXPECT_COLOR(result, .6f, .7f, .8f, .5f);
    }
    EXPECT_EQ(connection.calls, 3) << "evaluation would answer from the cache";
    EXPECT_EQ(stage.rendering.entries.lifetime("lumoTexList"), miSS_LIFETIME_EYERAY);
}

}  // namespace
