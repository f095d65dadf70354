/* Shaders that write passes themselves, by every rule that a scene seldom needs: pass shaders, color nodes on what their
 * inputs wrote, and writers into user buffers. */
#include <algorithm>
#include <bit>
#include <limits>

#include "block.h"
#include "frame_buffer_scene.h"

namespace {

using twin::Block;
using twin::text;

class PassesOfShaders : public FrameBufferTest {
protected:
    PassesOfShaders() { stage.placeVexabase(); }

    /* From init to exit with one call. */
    miColor run(Block& shader) {
        const miFunction* const caller = state->shader;
        miColor result = {9, 9, 9, 9};
        shader.init(state);
        EXPECT_EQ(shader.call(state, &result), miTRUE);
        shader.exit(state);
        state->shader = caller;
        return result;
    }
    miColor& contribution(std::size_t i, int level) { return publishedEntries()[i].slots[level].contribution; }
};

/* ---- Pass shaders ---- */

class PassShaders : public PassesOfShaders {
protected:
    PassShaders() {
        addPass("pass");
        open({0});
    }

    miColor pass(const std::string& name, const std::string& parameters = "") {
        Block shader("lumoPass" + name, parameters);
        run(shader);
        return buffer("pass");
    }
    /* Whether coverage, the simplest pass, writes. */
    bool writes(const std::string& parameters = "") {
        stage.rendering.buffers.beginSample();
        pass("Coverage", parameters);
        return wasPut("pass");
    }
};

TEST_F(PassShaders, AnswerEyeRaysInTilesAndWhatTheySeeStraightThrough) {
    for (int type = 0; type < miRAY_COUNT; ++type)
        for (const auto& [reflection, refraction] : {std::pair{0, 0}, {1, 0}, {0, 1}, {1, -1}, {-1, 1}}) {
            state->type = static_cast<miRay_type>(type);
            state->reflection_level = reflection;
            state->refraction_level = refraction;
            const bool straight = reflection == 0 && refraction == 0;
            EXPECT_EQ(writes(), type == miRAY_EYE || (type == miRAY_TRANSPARENT && straight)) << type << refraction;
        }
    state->type = miRAY_EYE;
    for (const int bits : {0, 2, 3, 4, 64}) {
        setStage(bits);
        EXPECT_FALSE(writes()) << bits;
    }
    setStage(miSTAGE_TILE);
    stage.rendering.buffers.sizes[0] = sizeof(miColor);
    EXPECT_FALSE(writes("pass 5"));
    EXPECT_FALSE(stage.rendering.buffers.wasPut(0)) << "the primary buffer is not a substitute";
    EXPECT_EQ(renderer().messageCount("error", "has no frame buffer for pass 5"), 1);
}

/* Writing goes on while 1 - threshold + 0.00001 >= 0.3 r + 0.59 g + 0.11 b; in other modes the engine says. */
TEST_F(PassShaders, StopBehindSurfacesThatHideThem) {
    const miScalar rows[][5] = {{0, 1, 1, 1, 1},    {0, 1.0001f, 1.0001f, 1.0001f, 0},
                                {.69f, 1, 0, 0, 1}, {.71f, 1, 0, 0, 0},
                                {.4f, 0, 1, 0, 1},  {.42f, 0, 1, 0, 0},
                                {.88f, 0, 0, 1, 1}, {.9f, 0, 0, 1, 0}};
    for (const auto& [threshold, r, g, b, goesOn] : rows) {
        frame().transparency = {r, g, b, 5};
        EXPECT_EQ(writes(text("opacityThreshold ", threshold)), goesOn == 1) << threshold << ' ' << r << g << b;
    }
    for (const bool clear : {false, true}) {
        frame().flags = clear ? 2 : ~2u;
        for (const int mode : {1, -1}) EXPECT_EQ(writes(text("opacityThreshold 1, opacityMode ", mode)), !clear);
    }
}

TEST_F(PassShaders, LeaveObjectsOutOrHoldThemOut) {
    state->instance = masked("2");
    EXPECT_TRUE(writes("contribution 1"));
    EXPECT_FALSE(writes("contribution 5")) << "the mask ends before";
    renderer().queries.answer(miQ_PRI_ASSEMBLY_INST_TAG, state->instance);
    state->instance = masked("f");
    EXPECT_FALSE(writes()) << "an assembly speaks for what it holds";
    renderer().queries.forget(miQ_PRI_ASSEMBLY_INST_TAG);
    state->instance = masked("0");
    const int calls = renderer().tracing.continued.calls();
    miColor filled = {9, 8, 7, 6};
    mi_fb_put(state, indexOf("pass"), &filled);
    EXPECT_COLOR(pass("WorldPosition", "holdOut 1"), 0, 0, 0, 0);
    EXPECT_EQ(renderer().tracing.continued.calls(), calls);

    // Else it looks behind, once per sample. What is there may write, but not what materials deposit, glow and alpha
    // (words 115 to 121 of the record) among it.
    auto* const effects = static_cast<miScalar*>(stage.rendering.entries.get("vexabase", nullptr)) + 115;
    renderer().tracing.continued = [&](miColor*, miState* front) {
        EXPECT_EQ(frame().flags, 1u | 8u);
        EXPECT_EQ(entries().size(), 0u);
        const miState saved = *front;
        state->instance = masked("f");
        state->point = {1, 2, 3};
        pass("WorldPosition");
        std::fill_n(effects, 7, 1.0f);
        *front = saved;
        // The renderer copies these back from the hit behind.
        front->label = 99;
        front->point = front->normal = front->motion = {1, 2, 3};
        front->dist = 77;
        front->child = front;
        return miTRUE;
    };
    beginSample();
    frame() = {1, {.1f, .2f, .3f, .4f}};
    for (int i = 0; i < 2; ++i) EXPECT_COLOR(pass("WorldPosition"), 1, 2, 3, 0);
    EXPECT_EQ(renderer().tracing.continued.calls(), calls + 1);
    EXPECT_EQ(frame().flags, 1u | 4u);
    EXPECT_EQ(std::count(effects, effects + 7, 0.0f), 7);
    EXPECT_COLOR(frame().transparency, .1f, .2f, .3f, .4f);
    EXPECT_EQ(entries().size(), 1u);
    EXPECT_EQ(state->point.z + state->normal.z + state->motion.z, -4);
    EXPECT_EQ(state->dist, 5);
    EXPECT_EQ(state->label, 0u);
    EXPECT_EQ(state->child, nullptr);
    stage.rendering.entries.set("lumoFBState", nullptr, 0, 0);
    pass("WorldPosition");
    EXPECT_EQ(renderer().tracing.continued.calls(), calls + 1) << "needs the state of the frame";
}

/* ---- Color nodes ---- */

class ColorNodePasses : public PassesOfShaders {
protected:
    Block clamp{"lumoVexaClamp",
                "passWriteMode 3, passWriteFlags 1, passWriteWeight .5, input .25 .5 2 1, max 1 1 1 1, min 0 0 0 0"};
    miColor given = {.25f, .5f, 2, 1};

    ColorNodePasses() { state->reflection_level = state->refraction_level = 1; }

    miColor run(miInteger mode) {
        clamp.at<miInteger>("passMode") = mode;
        return PassesOfShaders::run(clamp);
    }
    void fill() {
        for (std::size_t i = 0; i < records.size(); ++i)
            publishedEntries()[i].slots[2].contribution = publishedEntries()[i].slots[2].color = {7, 7, 7, 7};
    }
    /* A connected material finds empty slots and writes into them. */
    void connectMaterial() {
        clamp.connect("input", [this](miState*) -> void* {
            for (FrameBufferInfo& entry : entries()) entry.slots[2].contribution.g += 3;
            return &given;
        });
    }
};

TEST_F(ColorNodePasses, AreOperatedOnClearedOrWrittenByMode) {
    open({0, 0, 5, 30, 34});
    // Settings are evaluated with no buffers to write to.
    miColor black = {0, 0, 0, 0};
    clamp.connect("min", [&](miState*) -> void* { return entries().empty() ? &black : nullptr; });
    const miColor kept = {7, 7, 7, 7}, written = {.125f, .25f, .5f, .5f}, operated = {0, 1, 0, 0};
    const std::tuple<int, miColor, miColor> rows[] = {{0, kept, kept},   {4, kept, kept},     {-1, kept, kept},
                                                      {2, black, black}, {3, written, black}, {1, operated, operated}};
    for (const auto& [mode, beauty, others] : rows) {
        fill();
        if (mode == 1) connectMaterial();
        EXPECT_COLOR(run(mode), .25f, .5f, 1, 1);
        EXPECT_EQ(entries().size(), 5u) << "they are free again";
        for (std::size_t i = 0; i < 5; ++i) {
            SCOPED_TRACE(testing::Message() << "mode " << mode << " pass " << i);
            const miColor e = i < 2 || i == 4 ? beauty : others;
            EXPECT_COLOR(contribution(i, 2), e.r, e.g, e.b, e.a);
            EXPECT_EQ(publishedEntries()[i].slots[2].color.r, mode == 1 ? 0 : 7);
        }
    }
}

TEST_F(ColorNodePasses, AreLeftAloneWhereThereIsNothingToWrite) {
    open({0, 5});
    fill();
    const auto flip = [&](miUint flag) {
        for (std::size_t i = 0; i < 2; ++i) publishedEntries()[i].flags ^= flag;
    };
    const std::function<void(bool)> breaks[] = {[&](bool on) { state->type = on ? miRAY_SHADOW : miRAY_EYE; },
                                                [&](bool on) { state->reflection_level = on ? -5 : 1; },
                                                [&](bool on) { state->reflection_level = on ? 99 : 1; },
                                                [&](bool on) { setStage(on ? miSTAGE_FINALGATHER : miSTAGE_TILE); },
                                                [&](bool) { flip(kEntryClosed); },
                                                [&](bool) { flip(kEntryInUse); }};
    for (const auto& each : breaks)
        for (const miInteger mode : {1, 2, 3}) {
            each(true);
            EXPECT_COLOR(run(mode), .25f, .5f, 1, 1);
            each(false);
            for (std::size_t i = 0; i < 2; ++i) EXPECT_EQ(contribution(i, 2).r, 7) << &each - breaks << ' ' << mode;
        }
    EXPECT_EQ(entries().size(), 2u) << "somebody else's guard stays, and can be taken back";
}

/* More records than go on the stack; without memory for them the passes keep what the inputs wrote. */
TEST_F(ColorNodePasses, AreManyOnTheHeap) {
    open(std::vector<int>(1500, 5));
    connectMaterial();
    for (const bool fails : {false, true}) {
        for (std::size_t i = 0; i < 1500; ++i) contribution(i, 2) = {0, 0, 0, 0};
        int requests = 0;  // the first is for the shader's object
        renderer().memory.fails = [&](const twin::Allocation&) { return fails && requests++ > 0; };
        EXPECT_EQ(run(1).g, .5f);
        renderer().memory.fails = nullptr;
        for (const std::size_t i : {0u, 1499u}) EXPECT_EQ(contribution(i, 2).g, fails ? 3 : 1);
    }
}

/* ---- Writers into user buffers ---- */

/* A beauty record in front, so that the first user buffer is not the first entry. */
class Writers : public PassesOfShaders {
protected:
    Writers() { open({0, 30, 30, 33}); }

    bool depthIsWritten(const std::string& parameters = "", int level = 0) {
        Block shader("lumoVexaWriteToDepthBuffer",
                     "value 5, " + parameters + (parameters.empty() ? "" : ", ") + "color .1 .2 .3 .4");
        contribution(1, 0) = {};
        result = run(shader);
        return std::exchange(contribution(1, level).r, 0) == 5;
    }

    miColor result;
};

TEST_F(Writers, OfLabelsRoundAndOfColorsHaveAnAlpha) {
    // Halves of labels go away from zero: 3.5, -3.5, -3.5, 2.5.
    const int labels[][4] = {{7, 1, 100, 104}, {-7, 1, 100, 96}, {7, 2, -3, -12}, {5, 3, 100, 3}};
    for (const auto& [value, mode, held, expected] : labels) {
        Block shader("lumoVexaWriteToLabelBuffer", text("weight .5, writeMode ", mode, ", value ", value));
        contribution(1, 0).r = std::bit_cast<miScalar>(held);
        run(shader);
        EXPECT_EQ(std::bit_cast<miInteger>(contribution(1, 0).r), expected);
    }
    for (const auto& [kind, alpha] : {std::pair{"Color", 42}, {"Vector", 40}, {"Depth", 40}}) {
        Block shader(text("lumoVexaWriteTo", kind, "Buffer"),
                     text("weight .5, value 1", kind[0] == 'D' ? "" : " 2 99"));
        if (alpha == 42) shader.at("alpha") = 4;
        contribution(1, 0).a = 40;
        run(shader);
        EXPECT_EQ(contribution(1, 0).a, alpha) << kind;
    }
}

TEST_F(Writers, WriteWhereAndWhenTheyMay) {
    // The second user buffer, and numbers of none.
    EXPECT_FALSE(depthIsWritten("buffer 1"));
    EXPECT_EQ(contribution(2, 0).r, 5);
    for (const int number : {2, 3, -1, std::numeric_limits<int>::max()})
        EXPECT_FALSE(depthIsWritten(text("buffer ", number)));
    EXPECT_EQ(result.g, .2f) << "the color is handed on";
    EXPECT_EQ(contribution(3, 0).r + contribution(0, 0).r, 0);

    // Slot by the ray's level; none of filtered surfaces, environments and levels outside.
    const int rows[][5] = {{1, 2, 0, miRAY_EYE, 1},  {0, 0, 0x1, miRAY_EYE, 0},       {0, 0, 0x1E, miRAY_EYE, 1},
                           {6, 0, 0, miRAY_EYE, 0},  {0, 0, 0, miRAY_ENVIRONMENT, 0}, {0, 0, 0, miRAY_REFLECT, 1},
                           {-1, 0, 0, miRAY_EYE, 0}, {5, 0, 0, miRAY_EYE, 1}};
    for (const auto& [reflection, refraction, levelFlags, type, writes] : rows) {
        state->reflection_level = reflection;
        state->refraction_level = refraction;
        state->type = static_cast<miRay_type>(type);
        const int level = reflection < 0 || reflection > 5 ? 0 : reflection + refraction;
        publishedEntries()[1].slots[level].levelFlags = static_cast<miUint>(levelFlags);
        EXPECT_EQ(depthIsWritten("", level), writes != 0) << reflection << ' ' << levelFlags << ' ' << type;
        publishedEntries()[1].slots[level].levelFlags = 0;
    }
    state->reflection_level = state->refraction_level = 0;
    state->type = miRAY_EYE;

    // Into buffers that are closed to others; those of the engine's phase (mode 2) in it alone.
    publishedEntries()[1].flags = 0x8001;
    EXPECT_TRUE(depthIsWritten());
    EXPECT_EQ(publishedEntries()[1].flags, 0x8001u);
    const std::pair<miUint, bool> phases[] = {{0, false}, {0x8000, true}, {0x18000, false}, {0x10000, false}};
    for (const auto& [flags, writes] : phases) {
        publishedEntries()->flags = flags;
        EXPECT_EQ(depthIsWritten("evaluationMode 2"), writes) << flags;
        EXPECT_EQ(publishedEntries()->flags, flags);
    }
    EXPECT_FALSE(depthIsWritten("evaluationMode 0"));
    EXPECT_EQ(result.g, 9) << "off it hands nothing on";
    // Rays that deposit nothing, those of indirect light for one, still see the color.
    publishedEntries()->flags = 0x2000;
    EXPECT_FALSE(depthIsWritten()) << "in use";
    EXPECT_EQ(result.g, .2f);
    publishedEntries()->flags = 0;
    setStage(2);
    EXPECT_FALSE(depthIsWritten()) << "no tile";
    EXPECT_EQ(result.g, .2f);
}

/* A writer that is evaluated for the value of another one must not write in the same phase. */
TEST_F(Writers, GuardTheirPhase) {
    Block outer("lumoVexaWriteToDepthBuffer", "evaluationMode 2");
    Block inner("lumoVexaWriteToDepthBuffer", "evaluationMode 2, buffer 1, value 5");
    miScalar value = 11;
    outer.connect("value", [&](miState*) -> void* {
        EXPECT_EQ(entry(1).flags & 0x8000u, 0u) << "its own buffer is open by now";
        run(inner);
        return &value;
    });
    entry(0).flags |= 0x8000;
    entry(1).flags |= 0x8000;
    run(outer);
    EXPECT_EQ(contribution(1, 0).r, 11);
    EXPECT_EQ(contribution(2, 0).r, 0);
    EXPECT_EQ(entry(0).flags & 0x18000u, 0x8000u);
}

}  // namespace
