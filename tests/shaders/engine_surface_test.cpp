/* The full engine around its surface: what it needs, what it filters, what it prepares and what it leaves. */
#include <limits>

#include "engine_scene.h"

namespace {

using twin::renderer;

using Engine = EngineTest;

TEST_F(Engine, NeedsThePerSampleRecord) {
    usePasses({{0, 1}});
    frame() = {3, {1, 1, 1, 1}};
    stage.rendering.entries.set("vexabase", nullptr, 0, 0);
    EXPECT_EQ(shade(), miFALSE);
    EXPECT_COLOR(result, 9, 9, 9, 9);
    EXPECT_EQ(renderer().messageCount("warning", "vexa_shadingengine(): Internal state error."), 1);
    EXPECT_EQ(front.evaluations, 0);
    // What pass shaders read is that of no surface.
    EXPECT_EQ(frame().flags, 1u);
    EXPECT_COLOR(frame().transparency, 0, 0, 0, 0);
}

TEST_F(Engine, NeedsAConnectedSurface) {
    for (miTag ghost : {0x0u, 0xFFFFFFFEu, 0xFFFFFFFFu}) {
        front.engine.setGhost(&front.engine->surface, ghost);
        EXPECT_EQ(shade(), miFALSE) << ghost;
    }
    front.engine.setGhost(&front.engine->surface, 77);
    for (const miCBoolean connections : {miCBoolean{0}, miCBoolean{2}}) {
        front.engine.function().has_connections = connections;
        EXPECT_EQ(shade(), miFALSE);
    }
    EXPECT_COLOR(result, 9, 9, 9, 9);
    EXPECT_EQ(front.evaluations, 0);
    EXPECT_EQ(renderer().messageCount("warning", "vexa_shadingengine(): Cannot evaluate surface shader."), 5);
    EXPECT_EQ(renderer().messages().size(), 5u);
}

TEST_F(Engine, GivesTheColorWithTheMatteAsAlpha) {
    front.surface.color() = {.1f, .2f, .3f, .4f};
    front.surface.matteOpacity() = {1, .5f, .25f, 9};
    EXPECT_EQ(shade(), miTRUE);
    // 0.3 x 1 + 0.59 x 0.5 + 0.11 x 0.25 = 0.6225
    EXPECT_COLOR(result, .1f, .2f, .3f, .6225f);
    for (int word : {119, 120, 121}) EXPECT_FLOAT_EQ(recordScalar(word), .6225f);
    EXPECT_NE(state->tex_list, nullptr);
}

TEST_F(Engine, BlackHolesHaveNoAlpha) {
    front.surface.matteOpacity() = {-1000000, -1000000, -1000000, 0};
    EXPECT_EQ(shade(), miTRUE);
    EXPECT_COLOR(result, 0, 0, 0, 0);
    EXPECT_EQ(recordScalar(119), 0);
    // Only the exact mark is one.
    front.surface.matteOpacity() = {-999999, 0, 0, 0};
    EXPECT_EQ(shade(), miTRUE);
    EXPECT_FLOAT_EQ(result.a, -299999.7f);
}

TEST_F(Engine, RecordsGlowThatCanBeSeen) {
    front.surface.glow() = {.004f, .004f, .004f, 0};
    EXPECT_EQ(shade(), miTRUE);
    for (int word = 115; word <= 118; ++word) EXPECT_EQ(recordScalar(word), 0);
    for (miScalar miColor::* channel : {&miColor::r, &miColor::g, &miColor::b}) {
        front.surface.glow() = {0, 0, 0, 0};
        front.surface.glow().*channel = .0041f;
        setRecord(118, 0);
        EXPECT_EQ(shade(), miTRUE);
        EXPECT_EQ(recordScalar(118), 1);
    }
    EXPECT_EQ(recordScalar(115), 0);
    EXPECT_EQ(recordScalar(117), .0041f);
}

TEST_F(Engine, TakesOpaqueColorsFromOtherShaders) {
    front.surface.color() = {.1f, .2f, .3f, .4f};
    front.surface.matteOpacity() = {7, 7, 7, 7};
    front.surface.transparency() = {1, 1, 1, 1};
    renderer().queries.answer(miQ_FUNC_RESULT_SIZE, static_cast<miInteger>(sizeof(miColor)));
    EXPECT_EQ(shade(), miTRUE);
    EXPECT_COLOR(result, .1f, .2f, .3f, 1);
    EXPECT_EQ(walks(), 0);
}

TEST_F(Engine, HasNoSayInShadows) {
    for (const miRay_type type : {miRAY_SHADOW, miPHOTON_LIGHT, miPHOTON_ABSORB}) {
        state->type = type;
        EXPECT_EQ(shade(), miFALSE);
    }
    EXPECT_EQ(front.evaluations, 0);
    EXPECT_TRUE(renderer().messages().empty());
}

TEST_F(Engine, TiltsNormalsSeenEdgeOn) {
    state->normal = {1, 0, 0};
    state->dot_nd = 0;
    front.onEvaluation = [&](miState* called) {
        // (1 0 0) - 0.0015 (0 0 -1), of length sqrt(1 + 0.0015^2)
        const miScalar length = std::sqrt(1 + .0015f * .0015f);
        EXPECT_FLOAT_EQ(called->normal.x, 1 / length);
        EXPECT_FLOAT_EQ(called->normal.z, .0015f / length);
        EXPECT_FLOAT_EQ(called->dot_nd, -.0015f / length);
    };
    EXPECT_EQ(shade(), miTRUE);

    front.onEvaluation = nullptr;
    state->normal = {1, 0, 2e-5f};
    state->dot_nd = -2e-5f;
    EXPECT_EQ(shade(), miTRUE);
    EXPECT_EQ(state->normal.z, 2e-5f);
    // A normal that is no direction stays one that can be calculated with.
    state->normal = state->dir = {0, 0, 0};
    state->dot_nd = 0;
    EXPECT_EQ(shade(), miTRUE);
    EXPECT_EQ(state->normal.x, 0);
}

TEST_F(Engine, HandsOpacityToTheRasterizer) {
    miColor handed{};
    renderer().tracing.opacitySet = [&](miState*, const miColor* opacity) { handed = *opacity; };
    front.surface.transparency() = {.25f, .5f, .75f, 0};
    const struct {
        char scanline;
        miCBoolean sample;
        int calls;
    } cases[] = {{0, 1, 0}, {1, 1, 0}, {'r', 0, 0}, {'r', 1, 1}};
    for (const auto& each : cases) {
        stage.options.scanline = each.scanline;
        state->scanline = each.sample;
        EXPECT_EQ(shade(), miTRUE);
        EXPECT_EQ(renderer().tracing.opacitySet.calls(), each.calls);
    }
    EXPECT_FLOAT_EQ(handed.r, .75f);
    EXPECT_FLOAT_EQ(handed.g, .5f);
    EXPECT_FLOAT_EQ(handed.b, .25f);
}

/* ---- Level filters: the flags that a surface finds ---- */

class EngineLevels : public EngineTest {
protected:
    /* Level flags that the surface finds in the slot of its level. */
    miUint found(std::size_t number = 0) {
        miUint flags = 0xEE;
        front.onEvaluation = [&](miState*) {
            const int level = state->reflection_level + state->refraction_level;
            flags = slot(number, level).levelFlags;
        };
        EXPECT_EQ(shade(), miTRUE);
        return flags;
    }
};

TEST_F(EngineLevels, FollowTheBuffersOwnRange) {
    addRecord("pass", 5).levels(1, 2, 0, 1);  // 1 or 2 reflections, at most 1 refraction
    openBuffers();
    const int cases[][3] = {{0, 0, 0x3}, {1, 0, 0}, {2, 1, 0}, {3, 0, 0x1}, {1, 2, 0x1}, {0, 2, 0x1}, {0, 1, 0x3}};
    for (const auto& [reflection, refraction, flags] : cases) {
        state->reflection_level = reflection;
        state->refraction_level = refraction;
        for (int level = 0; level <= 5; ++level) slot(0, level).levelFlags = 0;
        EXPECT_EQ(found(), static_cast<miUint>(flags)) << reflection << ' ' << refraction;
    }
}

TEST_F(EngineLevels, FollowTheWayOfTheRay) {
    usePasses({{5, 1}});
    const struct {
        miUint before, here;
        miRay_type type;
        miUint flags;
    } cases[] = {{0x4, 0, miRAY_REFLECT, 0x15},  {0x4, 0, miRAY_REFRACT, 0x4},      {0x8, 0, miRAY_REFRACT, 0x19},
                 {0x8, 0, miRAY_REFLECT, 0x8},   {0xC, 0, miRAY_TRANSPARENT, 0xC},  {0x10, 0, miRAY_REFLECT, 0x11},
                 {0, 0x10, miRAY_REFRACT, 0x11}, {0x3, 0x3, miRAY_TRANSPARENT, 0x0}};
    state->reflection_level = 1;
    for (const auto& each : cases) {
        state->type = each.type;
        slot(0, 0).levelFlags = each.before;
        slot(0, 1).levelFlags = each.here;
        EXPECT_EQ(found(), each.flags) << each.before << ' ' << each.here << ' ' << each.type;
    }
}

TEST_F(EngineLevels, FollowTheObjectsMask) {
    usePasses({{5, 0}, {5, 0x10}, {5, 0x20}, {5, 0x30}, {5, 0}});
    state->instance = masked("01");  // entry 4 alone
    const miUint flags[] = {0xD, 0x9, 0x5, 0x1, 0};
    for (std::size_t i = 0; i < 5; ++i) {
        for (std::size_t k = 0; k < 5; ++k) slot(k).levelFlags = 0;
        EXPECT_EQ(found(i), flags[i]) << i;
    }
    // An assembly speaks for what it holds.
    renderer().queries.answer(miQ_PRI_ASSEMBLY_INST_TAG, masked("f"));
    slot(0).levelFlags = 0;
    EXPECT_EQ(found(0), 0u);
}

TEST_F(EngineLevels, BeginWithoutContributions) {
    usePasses({{5, 1}});
    front.writes = {{5, {1, 2, 3, 4}}};
    slot(0).contribution = {5, 5, 5, 5};
    EXPECT_EQ(shade(), miTRUE);
    EXPECT_COLOR(slot(0).color, 1, 2, 3, 4);
    EXPECT_COLOR(slot(0).transparency, 1, 1, 1, 1);

    // A precomputation of indirect light leaves the slots as they are.
    renderer().queries.answer(miQ_FINALGATHER_STATE, 2);
    slot(0).contribution = {5, 5, 5, 5};
    slot(0).levelFlags = 0x1F;
    EXPECT_EQ(found(), 0x1Fu);
    EXPECT_COLOR(slot(0).contribution, 5, 5, 5, 5);
}

TEST_F(EngineLevels, FilteredSurfacesAreClearForABuffer) {
    usePasses({{5, 1}, {5, 3}});
    front.writes = {{5, {1, 2, 3, 4}}};
    state->instance = masked("0");
    EXPECT_EQ(shade(), miTRUE);
    EXPECT_COLOR(slot(0).color, 0, 0, 0, 0);
    EXPECT_COLOR(slot(0).transparency, 0, 0, 0, 0);
    EXPECT_COLOR(slot(1).color, 0, 0, 0, 0);
    EXPECT_FLOAT_EQ(slot(1).transparency.r, 1) << "held out";
}

TEST_F(EngineLevels, OutsideTheSlotsAreLeftAlone) {
    usePasses({{5, 1}});
    front.surface.transparency() = {.5f, .5f, .5f, 0};
    environment = miColor{1, 1, 1, 1};
    for (const int level : {-1, 6, std::numeric_limits<int>::max()}) {
        state->reflection_level = level;
        EXPECT_EQ(shade(), miTRUE) << level;
        EXPECT_FLOAT_EQ(result.r, .5f);
    }
    for (int level = 0; level <= 5; ++level) EXPECT_COLOR(slot(0, level).color, 0, 0, 0, 0);
}

/* ---- Shaders before the surface ---- */

class EngineBefore : public EngineTest {
protected:
    EngineBefore() {
        usePasses({{0, 0x1}, {5, 0x81}, {30, 0}});
        EngineBlock& block = *front.engine.parameters();
        block.i_before = 1;
        block.n_before = 2;
        for (int i : {1, 2})
            front.connectBefore(i, [this, i](miState* called) {
                order.push_back(i);
                if (onCall) onCall(called);
                return static_cast<void*>(&ignored);
            });
        front.onEvaluation = [this](miState*) {
            order.push_back(0);
            for (const FrameBufferInfo& each : entries()) EXPECT_EQ(each.flags & 0x18000u, 0u);
        };
    }

    std::vector<int> order;
    std::function<void(miState*)> onCall;
    miColor ignored = {1, 1, 1, 1};
};

TEST_F(EngineBefore, RunInOrderWithClosedBuffers) {
    onCall = [&](miState* called) {
        const miUint mode = 1;
        const miCBoolean flags = 0;
        const miScalar weight = 1;
        for (FrameBufferInfo& each : entries()) {
            EXPECT_EQ(each.flags & 0x18000u, 0x8000u);
            library::passWriteColor(called, &ignored, &each, &mode, &flags, &weight, nullptr, nullptr);
        }
    };
    EXPECT_EQ(shade(), miTRUE);
    EXPECT_EQ(order, (std::vector<int>{1, 2, 0}));
    EXPECT_COLOR(slot(1).color, 0, 0, 0, 0);
    EXPECT_EQ(entry(1).flags, 0x81u);
}

/* A write shader of evaluation mode 2 among them, and another one in the surface's network. */
TEST_F(EngineBefore, MayWriteUserBuffers) {
    struct {
        miInteger buffer = 0, writeMode = 1, evaluationMode = 2;
        miScalar weight = 1;
        miColor color = {};
        miScalar value = 5;
    } block;
    using Block = decltype(block);
    twin::ShaderInstance<Block> writer(block);
    const twin::ShaderEntry<Block, miColor> entry("lumoVexaWriteToDepthBuffer");
    const auto write = [&](miState* called) {
        const miFunction* const caller = called->shader;
        miColor written;
        stage.run(writer);
        EXPECT_EQ(entry.call(&written, called, writer.parameters(), nullptr), miTRUE);
        called->shader = caller;
    };
    stage.run(writer);
    miBoolean wantsInstances = miFALSE;
    entry.init(state, writer.parameters(), &wantsInstances);
    onCall = front.onEvaluation = write;
    EXPECT_EQ(shade(), miTRUE);
    EXPECT_EQ(slot(2).color.r, 10) << "twice before the surface, not within it";
    stage.run(writer);
    entry.exit(state, writer.parameters());
}

TEST_F(EngineBefore, AreSkippedWhereThereAreNoneAndInsideAWriter) {
    front.engine->n_before = 0;
    EXPECT_EQ(shade(), miTRUE);
    front.engine->n_before = -3;
    EXPECT_EQ(shade(), miTRUE);
    front.engine->n_before = 2;
    front.onEvaluation = nullptr;
    entry(0).flags |= 0x18000;
    EXPECT_EQ(shade(), miTRUE);
    EXPECT_EQ(entry(0).flags, 0x18001u) << "the writer's own flags stay";
    EXPECT_EQ(order, (std::vector<int>{0, 0}));
}

}  // namespace
