/* The full engine looks through surfaces: picture and passes. */
#include <bit>
#include <limits>

#include "engine_scene.h"

namespace {

using twin::renderer;

constexpr miUint kComposited = 0x1, kMatte = 0x2, kTimesColor = 0x40, kShadowed = 0x80, kNoTraced = 0x4000;

/* A sheet before an opaque surface, as light shaders and a Lambert surface would fill them. The sheet: color
 * (.8 .4 .2), diffuse .5, T = .25. A white light at cosine .5 gives D1 = (.2 .1 .05), a light of .5 at cosine 1, half
 * in shadow, .25 D2 = .25 (.4 .2 .1) = (.1 .05 .025): diffuse (.3 .15 .075), beauty .75 of it. Behind: color
 * (.2 .6 1) at cosine .8. */
class Sheet : public EngineTest {
protected:
    static constexpr miColor kDiffuse = {.3f, .15f, .075f, 1};
    static constexpr miColor kBeauty = {.225f, .1125f, .05625f, 1};
    static constexpr miColor kBack = {.16f, .48f, .8f, 1};

    Sheet() {
        front.surface.color() = kBeauty;
        front.surface.matteOpacity() = {.75f, .75f, .75f, 0};
        front.surface.transparency() = {.25f, .25f, .25f, 0};
        front.writes = {{5, kDiffuse}, {0, kBeauty}};
        back.surface.color() = kBack;
        back.writes = {{5, kBack}, {0, kBack}};
        behind = &back;
    }

    Group back;
};

#define EXPECT_RGB(actual, R, G, B)        \
    do {                                   \
        const miColor channels = (actual); \
        EXPECT_FLOAT_EQ(channels.r, (R));  \
        EXPECT_FLOAT_EQ(channels.g, (G));  \
        EXPECT_FLOAT_EQ(channels.b, (B));  \
    } while (false)

TEST_F(Sheet, BeautyEqualsItsPass) {
    usePasses({{0, kShadowed | kComposited}, {5, kShadowed | kComposited}});
    EXPECT_EQ(shade(), miTRUE);
    // (.225 .1125 .05625) + .25 (.16 .48 .8); alpha .75 + .25
    EXPECT_COLOR(result, .265f, .2325f, .25625f, 1);
    EXPECT_RGB(slot(0).color, .265f, .2325f, .25625f);
    // (.3 .15 .075) + .25 (.16 .48 .8); alphas are added whole
    EXPECT_COLOR(slot(1).color, .34f, .27f, .275f, 2);
    // Opacity .75 + .25 x 1; its alpha is 1 - 0 of either surface, added
    EXPECT_COLOR(slot(1).transparency, 1, 1, 1, 2);
    EXPECT_EQ(back.evaluations, 1);
}

TEST_F(Sheet, EntryFlagsDecideWhatShowsThrough) {
    usePasses({{5, kShadowed},
               {5, kComposited | kNoTraced},
               {5, kComposited | kTimesColor},
               {5, kTimesColor},
               {5, kComposited | kMatte}});
    EXPECT_EQ(shade(), miTRUE);
    EXPECT_RGB(slot(0).color, .3f, .15f, .075f);
    EXPECT_RGB(slot(1).color, .3f, .15f, .075f);
    // Contribution times the color of each surface: (.3 .15 .075)(.225 .1125 .05625) + .25 (.16 .48 .8)(.16 .48 .8)
    EXPECT_RGB(slot(2).color, .0675f + .0064f, .016875f + .0576f, .00421875f + .16f);
    EXPECT_RGB(slot(3).color, .0675f, .016875f, .00421875f);
    EXPECT_RGB(slot(4).color, .34f, .27f, .275f);
}

/* An opaque object is traced through for the buffers that leave it out, and hides what is behind it from the others. */
TEST_F(Sheet, OpaqueObjectsAreLookedBehindForTheBuffersThatLeaveThemOut) {
    front.surface.transparency() = {0, 0, 0, 0};
    usePasses({{5, kComposited}, {5, kComposited}});
    const miTag first = masked("1");
    state->instance = first;
    back.onEvaluation = [&](miState*) { EXPECT_EQ(slot(0).levelFlags & 0x11u, 0x11u); };
    back.surface.glow() = {1, 1, 1, 0};
    EXPECT_EQ(shade(), miTRUE);
    EXPECT_COLOR(result, .225f, .1125f, .05625f, .75f);
    EXPECT_EQ(recordScalar(118), 0) << "what nobody sees does not glow";
    EXPECT_RGB(slot(0).color, .3f, .15f, .075f);
    EXPECT_FLOAT_EQ(slot(0).color.a, 1);

    // The same where no buffer would see anything: all hold the object out, or it takes part in all.
    const int walksBefore = walks();
    entry(0).flags = entry(1).flags = kComposited | kMatte;
    EXPECT_EQ(shade(), miTRUE);
    entry(0).flags = entry(1).flags = kComposited;
    state->instance = masked("3");
    EXPECT_EQ(shade(), miTRUE);
    // What is hidden from the one buffer that leaves it out is hidden all the way.
    state->instance = masked("1");
    slot(1).levelFlags = 0x10;
    EXPECT_EQ(shade(), miTRUE);
    EXPECT_EQ(walks(), walksBefore);
}

TEST_F(Sheet, ClearSurfacesCountAsNotThere) {
    usePasses({{5, kComposited}, {5, kComposited | kNoTraced}, {5, 0}});
    front.engine->threshold = .76f;  // .25 exceeds 1 - .76
    back.onEvaluation = [&](miState* called) { EXPECT_EQ(called->type, miRAY_EYE); };
    EXPECT_EQ(shade(), miTRUE);
    EXPECT_EQ(renderer().tracing.continued.calls(), 1);
    EXPECT_EQ(renderer().tracing.transparent.calls(), 0);
    EXPECT_EQ(levelOfTrace, 0);
    EXPECT_RGB(slot(0).color, .34f, .27f, .275f);
    EXPECT_RGB(slot(1).color, .46f, .63f, .875f);  // front and back added
    EXPECT_RGB(slot(2).color, .3f, .15f, .075f);
    EXPECT_EQ(frame().flags & 2u, 2u);

    back.onEvaluation = nullptr;
    front.engine->threshold = .74f;
    EXPECT_EQ(shade(), miTRUE);
    EXPECT_EQ(renderer().tracing.transparent.calls(), 1);
    EXPECT_EQ(frame().flags & 2u, 0u);
}

TEST_F(Sheet, ShadersBehindAFullyClearSurfaceAreToldSo) {
    usePasses({{5, kComposited}});
    miUint told = 0;
    back.onEvaluation = [&](miState*) { told = frame().flags & 8u; };
    const struct {
        miColor transparency;
        miScalar threshold;
        miUint told;
    } cases[] = {{{1, 1, 1, 0}, 0, 8},
                 {{.999995f, 1, 1, 0}, 0, 8},
                 {{.99998f, 1, 1, 0}, 0, 0},  // one channel is not
                 {{1, 1, 1, 0}, .5f, 0}};     // counts as not there at all: no transparency ray
    for (const auto& each : cases) {
        front.surface.transparency() = each.transparency;
        front.engine->threshold = each.threshold;
        EXPECT_EQ(shade(), miTRUE);
        EXPECT_EQ(told, each.told) << each.transparency.r << ' ' << each.threshold;
        EXPECT_EQ(frame().flags & 8u, 0u);
    }
    // Whoever said so before still does.
    front.engine->threshold = 0;
    frame().flags |= 8;
    EXPECT_EQ(shade(), miTRUE);
    EXPECT_EQ(frame().flags & 8u, 8u);
}

TEST_F(Sheet, TracesOnAtItsOwnLevel) {
    usePasses({{5, kComposited}});
    state->volume = 41;
    state->refraction_volume = 42;
    state->refraction_level = 2;
    EXPECT_EQ(shade(), miTRUE);
    EXPECT_EQ(levelOfTrace, 1);
    EXPECT_EQ(seen.refraction_level, 2);
    EXPECT_EQ(volumeOfTrace, 41u);
    EXPECT_EQ(state->refraction_level, 2);
    EXPECT_EQ(state->point.z, -5);
    EXPECT_EQ(state->dist, 5);
    EXPECT_RGB(slot(0, 2).color, .34f, .27f, .275f);
    EXPECT_RGB(slot(0).color, 0, 0, 0);
}

TEST_F(Sheet, KeepsItsOwnWordsForPassShaders) {
    usePasses({{5, kComposited}});
    front.surface.transparency() = {.2f, .3f, .4f, .5f};
    back.engine->threshold = 1;  // the one behind counts as clear, and leaves other words
    back.surface.transparency() = {.6f, .7f, .8f, .9f};
    bool sawTheBack = false;
    renderer().tracing.continued = [&](miColor*, miState*) {
        sawTheBack = (frame().flags & 2u) && frame().transparency.r == .6f;
        return miFALSE;
    };
    EXPECT_EQ(shade(), miTRUE);
    EXPECT_TRUE(sawTheBack);
    EXPECT_COLOR(frame().transparency, .2f, .3f, .4f, .5f);
    EXPECT_EQ(frame().flags, 0u);
}

TEST_F(Sheet, EnvironmentBehindIsInTheBeautyPasses) {
    usePasses({{0, kComposited}, {5, kComposited}, {34, kComposited}});
    behind = nullptr;
    environment = miColor{.4f, .8f, 1.2f, 1};
    EXPECT_EQ(shade(), miTRUE);
    // .25 of the environment is (.1 .2 .3)
    EXPECT_COLOR(result, .325f, .3125f, .35625f, 1);
    EXPECT_RGB(slot(0).color, .325f, .3125f, .35625f);
    EXPECT_RGB(slot(1).color, .3f, .15f, .075f);
    EXPECT_RGB(slot(2).color, .1f, .2f, .3f);
    EXPECT_RGB(slot(1).transparency, .75f, .75f, .75f);

    // Not for buffers that see nothing at this depth, or for which the surface is opaque.
    entry(0).minReflectionLevel = 1;
    EXPECT_EQ(shade(), miTRUE);
    EXPECT_RGB(slot(0).color, 0, 0, 0);
    entry(0).minReflectionLevel = 0;
    front.surface.transparency() = {0, 0, 0, 0};
    const miTag whole = state->instance;
    state->instance = masked("5");
    EXPECT_EQ(shade(), miTRUE);
    EXPECT_COLOR(slot(0).color, .225f, .1125f, .05625f, 1);
    state->instance = whole;
    front.surface.transparency() = {.25f, .25f, .25f, 0};

    environment.reset();
    EXPECT_EQ(shade(), miTRUE);
    EXPECT_COLOR(result, .225f, .1125f, .05625f, .75f);
}

TEST_F(Sheet, IsWalkedThroughOnlyWhenItMatters) {
    const struct {
        miScalar transparency, weight, threshold;
        bool walks;
    } cases[] = {{.25f, 1, -1, true},     {0, 1, -1, false},        {9e-6f, 1, -1, false}, {1.1e-5f, 1, -1, true},
                 {.25f, .5f, .12f, true}, {.25f, .5f, .13f, false}, {.25f, 0, -1, true},   {.25f, 0, 0, false}};
    for (const auto& each : cases) {
        front.surface.transparency() = {0, each.transparency, 0, 0};
        setRecord(141, each.weight);
        setRecord(7, each.threshold);
        const int before = walks();
        EXPECT_EQ(shade(), miTRUE);
        EXPECT_EQ(walks() > before, each.walks) << each.transparency << ' ' << each.weight << ' ' << each.threshold;
    }
}

TEST_F(Sheet, PathsEndAfter256States) {
    usePasses({{5, kComposited}});
    std::vector<miState> chain(256);
    for (std::size_t i = 1; i < chain.size(); ++i) chain[i].parent = &chain[i - 1];
    state->parent = &chain[255];  // 256 states
    EXPECT_EQ(shade(), miTRUE);
    EXPECT_EQ(walks(), 0);
    EXPECT_COLOR(result, .225f, .1125f, .05625f, .75f);
    EXPECT_RGB(slot(0).color, .3f, .15f, .075f);

    state->scanline = 1;
    EXPECT_EQ(shade(), miTRUE);
    EXPECT_EQ(walks(), 1);
    state->scanline = 0;
    state->parent = &chain[254];
    EXPECT_EQ(shade(), miTRUE);
    EXPECT_EQ(walks(), 2);
}

/* Integers travel in float words; -4 is the bits of a NaN, 7 those of a number next to 0, the least integer -0. */
TEST_F(Sheet, LabelsSurviveTheWalk) {
    const auto label = [](miInteger value) { return miColor{std::bit_cast<miScalar>(value), 0, 0, 0}; };
    usePasses({{30, 0}, {30, 0}});
    front.writes = {{30, label(7)}};
    state->instance = masked("1");
    renderer().tracing.transparent = [&](miColor* color, miState* parent) {
        seen = *parent;
        ++seen.refraction_level;
        seen.instance = masked("f");
        return back.shade(color, &seen);
    };
    for (const miInteger value : {-4, std::numeric_limits<miInteger>::min()}) {
        back.writes = {{30, label(value)}};
        EXPECT_EQ(shade(), miTRUE);
        EXPECT_EQ(std::bit_cast<miInteger>(slot(0).color.r), 7);
        EXPECT_EQ(std::bit_cast<miInteger>(slot(1).color.r), value);
    }
}

/* The slots are saved on the stack, or on the heap: on request, and when there are many. */
class WalkMemory : public Sheet {
protected:
    /* Bytes that a call asked for; 0 for none. */
    std::size_t requested() {
        twin::Memory& memory = renderer().memory;
        memory.allocations.clear();
        const std::size_t live = memory.liveAllocations();
        EXPECT_EQ(shade(), miTRUE);
        EXPECT_EQ(memory.liveAllocations(), live);
        return memory.allocations.empty() ? 0 : memory.allocations.front().size;
    }
    void useMany(std::size_t count) { usePasses(std::vector<Pass>(count, {5, kComposited})); }
};

TEST_F(WalkMemory, IsTheStackAsARule) {
    useMany(1024);
    EXPECT_EQ(requested(), 0u);
    EXPECT_RGB(slot(1023).color, .34f, .27f, .275f);
}

TEST_F(WalkMemory, IsTheHeapOnRequest) {
    renderer().options["vexa allocate temp data on heap"] = true;
    useMany(2);
    EXPECT_EQ(requested(), 72u);  // two entries of 36 bytes
    EXPECT_RGB(slot(1).color, .34f, .27f, .275f);
    front.surface.transparency() = {0, 0, 0, 0};
    EXPECT_EQ(requested(), 0u);

    // Without memory the stack must do.
    front.surface.transparency() = {.25f, .25f, .25f, 0};
    renderer().memory.fails = [](const twin::Allocation&) { return true; };
    EXPECT_EQ(shade(), miTRUE);
    EXPECT_RGB(slot(1).color, .34f, .27f, .275f);
}

TEST_F(WalkMemory, IsTheHeapForManyBuffers) {
    useMany(1025);
    EXPECT_EQ(requested(), 1025u * 36u);
    EXPECT_RGB(slot(1024).color, .34f, .27f, .275f);

    renderer().memory.fails = [](const twin::Allocation&) { return true; };
    EXPECT_EQ(shade(), miTRUE);
    EXPECT_RGB(slot(1024).color, .3f, .15f, .075f);
    EXPECT_COLOR(result, .225f, .1125f, .05625f, .75f);
}

}  // namespace
