/* Color nodes and render passes: what becomes of the slots of the ray level, in each pass mode. */
#include "frame_buffer_scene.h"

namespace {

using twin::renderer;

struct ClampBlock {
    miInteger passWriteMode = 1, passWriteFlags = 0;
    miScalar passWriteWeight = 1;
    miInteger passMode = 1;
    miColor input = {5, 5, 5, 5}, min = {0, 0, 0, 0}, max = {1, 1, 1, 1};
};

struct BlendBlock {
    miInteger passWriteMode = 1, passWriteFlags = 0;
    miScalar passWriteWeight = 1;
    miInteger passMode = 1;
    miScalar blender = 0.25f;
    miColor color1 = {1, 1, 1, 1}, color2 = {0, 0, 0, 0};
};

constexpr miColor kOld = {7, 7, 7, 7};
constexpr int kLevel = 2;

class ColorPasses : public FrameBufferTest {
protected:
    ColorPasses() {
        for (const int type : {0, 0, 5, 30, 34}) addRecord("pass" + std::to_string(records.size()), type);
        attach();
        initState();
        beginSample();
        stage.placeVexabase();
        state->reflection_level = kLevel - 1;
        state->refraction_level = 1;
        fill(kOld, kOld);
    }

    FrameBufferSlot& slot(std::size_t i) { return publishedEntries()[i].slots[kLevel]; }
    void fill(const miColor& contribution, const miColor& second) {
        for (std::size_t i = 0; i < records.size(); ++i) {
            slot(i).contribution = contribution;
            slot(i).color = second;
        }
    }
    void expectSlots(const miColor& contribution, const miColor& second) {
        for (std::size_t i = 0; i < records.size(); ++i) {
            SCOPED_TRACE(i);
            EXPECT_COLOR(slot(i).contribution, contribution.r, contribution.g, contribution.b, contribution.a);
            EXPECT_COLOR(slot(i).color, second.r, second.g, second.b, second.a);
        }
    }

    /* A connected material: finds the slots as `found`, adds to them, and gives the color. */
    template <class Block>
    twin::Evaluation::Connection& connectMaterial(twin::ShaderInstance<Block>& shader, const void* parameter,
                                                  miColor& gives, const miColor& adds) {
        return shader.connect(parameter, [this, &gives, adds](miState*) -> void* {
            seen = entries().size();
            for (FrameBufferInfo& entry : entries()) {
                miColor& c = entry.slots[kLevel].contribution;
                c = {c.r + adds.r, c.g + adds.g, c.b + adds.b, c.a + adds.a};
                entry.slots[kLevel].color = {adds.r * 10, adds.g * 10, adds.b * 10, adds.a * 10};
            }
            return &gives;
        });
    }

    template <class Block>
    miColor run(const char* name, twin::ShaderInstance<Block>& shader) {
        const twin::ShaderEntry<Block, miColor> entry(name);
        const miFunction* before = state->shader;
        stage.run(shader);
        miColor result = kOld;
        miBoolean ignored;
        entry.init(state, shader.parameters(), &ignored);
        EXPECT_EQ(entry.call(&result, state, shader.parameters(), nullptr), miTRUE);
        entry.exit(state, shader.parameters());
        state->shader = const_cast<miFunction*>(before);
        return result;
    }

    std::size_t seen = 99; /* by the material that ran last */
};

TEST_F(ColorPasses, ModeOneOperatesOnWhatInputsWrote) {
    twin::ShaderInstance<ClampBlock> clamp;
    miColor given = {3, 0.5f, -1, 1};
    connectMaterial(clamp, &clamp->input, given, {2, 0.25f, -4, 0.5f});
    EXPECT_COLOR(run("lumoVexaClamp", clamp), 1, 0.5f, 0, 1);
    // The slots were emptied before: 7 + 2 would be 1, too, but 7 + .25 and the second color are not.
    expectSlots({1, 0.25f, 0, 0.5f}, {0, 0, 0, 0});
    for (const std::size_t level : {0, 1, 3})
        EXPECT_EQ(publishedEntries()[0].slots[level].contribution.r, 0) << "another level";
}

TEST_F(ColorPasses, BlendMixesBothColorsOfEachSlot) {
    for (const miScalar f : {0.25f, 0.0f, 1.0f, 1.5f}) {
        SCOPED_TRACE(f);
        fill(kOld, kOld);
        twin::ShaderInstance<BlendBlock> blend;
        blend->blender = f;
        miColor one = {1, 0, 0, 1}, two = {0, 1, 0, 0};
        auto& first = connectMaterial(blend, &blend->color1, one, {4, 0, 0, 1});
        auto& second = connectMaterial(blend, &blend->color2, two, {0, 2, 8, 1});
        first.evaluations = second.evaluations = 0;
        EXPECT_COLOR(run("lumoVexaBlend", blend), f, 1 - f, 0, f);
        expectSlots({4 * f, 2 * (1 - f), 8 * (1 - f), 1}, {40 * f, 20 * (1 - f), 80 * (1 - f), 10});
        EXPECT_EQ(first.evaluations, f != 0);
        EXPECT_EQ(second.evaluations, f != 1);
    }
}

/* Clamp of a blend of a clamp: .5 x min(3, 1) + .5 x 4 = 2.5, at most 2; and so in each slot. */
TEST_F(ColorPasses, OperationsNest) {
    twin::ShaderInstance<ClampBlock> inner, outer;
    twin::ShaderInstance<BlendBlock> blend;
    blend->blender = 0.5f;
    outer->max = {2, 2, 2, 2};
    miColor three = {3, 0, 0, 1}, four = {4, 1, 0, 1}, fromInner, fromBlend;
    connectMaterial(inner, &inner->input, three, {3, 0, 0, 1});
    connectMaterial(blend, &blend->color2, four, {4, 1, 0, 1});
    blend.connect(&blend->color1, [&](miState*) -> void* { return &(fromInner = run("lumoVexaClamp", inner)); });
    outer.connect(&outer->input, [&](miState*) -> void* { return &(fromBlend = run("lumoVexaBlend", blend)); });
    EXPECT_COLOR(run("lumoVexaClamp", outer), 2, 0.5f, 0, 1);
    expectSlots({2, 0.5f, 0, 1}, {0, 0, 0, 0});
}

TEST_F(ColorPasses, SettingsLeaveNoTrace) {
    twin::ShaderInstance<BlendBlock> blend;
    miColor half = {0.5f, 0, 0, 0};
    connectMaterial(blend, &blend->blender, half, {9, 9, 9, 9});
    EXPECT_COLOR(run("lumoVexaBlend", blend), 0.5f, 0.5f, 0.5f, 0.5f);
    EXPECT_EQ(seen, 0u);
    expectSlots({0, 0, 0, 0}, {0, 0, 0, 0});
    EXPECT_EQ(entries().size(), records.size()) << "the buffers are free again";

    // Inside of somebody else's guard there are no buffers, and it stays closed.
    fill(kOld, kOld);
    publishedEntries()->flags |= kEntryInUse;
    connectMaterial(blend, &blend->color1, half, {9, 9, 9, 9});
    run("lumoVexaBlend", blend);
    EXPECT_TRUE(publishedEntries()->flags & kEntryInUse);
    expectSlots(kOld, kOld);
    publishedEntries()->flags &= ~static_cast<miUint>(kEntryInUse);
}

TEST_F(ColorPasses, OtherModesClearOrWriteOrDoNothing) {
    const miColor black = {0, 0, 0, 0};
    for (const miInteger mode : {0, 2, 3, 4, -1}) {
        SCOPED_TRACE(mode);
        fill(kOld, kOld);
        twin::ShaderInstance<ClampBlock> clamp;
        clamp->passMode = mode;
        clamp->passWriteMode = 3;
        clamp->passWriteFlags = 1;
        clamp->passWriteWeight = 0.5f;
        clamp->input = {0.25f, 0.5f, 2, 1};
        EXPECT_COLOR(run("lumoVexaClamp", clamp), 0.25f, 0.5f, 1, 1);
        for (std::size_t i = 0; i < records.size(); ++i) {
            SCOPED_TRACE(i);
            const bool isBeauty = i < 2 || i == 4;
            const miColor written = {0.125f, 0.25f, 0.5f, 0.5f};
            const miColor expected = mode == 2 || (mode == 3 && !isBeauty) ? black : mode == 3 ? written : kOld;
            const miColor& c = slot(i).contribution;
            EXPECT_COLOR(c, expected.r, expected.g, expected.b, expected.a);
            EXPECT_COLOR(slot(i).color, 7, 7, 7, 7);
        }
    }
}

TEST_F(ColorPasses, NothingIsTouchedWhereThereAreNoPassesToWrite) {
    for (const miInteger mode : {1, 2, 3}) {
        SCOPED_TRACE(mode);
        twin::ShaderInstance<ClampBlock> clamp;
        clamp->passMode = mode;
        state->type = miRAY_SHADOW;
        EXPECT_COLOR(run("lumoVexaClamp", clamp), 1, 1, 1, 1);
        expectSlots(kOld, kOld);
        state->type = miRAY_EYE;

        // Closed buffers keep what shaders before the surface wrote.
        for (std::size_t i = 0; i < records.size(); ++i) publishedEntries()[i].flags |= kEntryClosed;
        run("lumoVexaClamp", clamp);
        expectSlots(kOld, kOld);
        for (std::size_t i = 0; i < records.size(); ++i)
            publishedEntries()[i].flags &= ~static_cast<miUint>(kEntryClosed);

        // A level without slots, and a state that renders no tiles.
        const int level = state->reflection_level;
        for (const int odd : {-5, 1000}) {
            state->reflection_level = odd;
            EXPECT_COLOR(run("lumoVexaClamp", clamp), 1, 1, 1, 1);
        }
        state->reflection_level = level;
        renderer().queries.answer(miQ_STAGE, static_cast<miInteger>(miSTAGE_FINALGATHER));
        EXPECT_COLOR(run("lumoVexaClamp", clamp), 1, 1, 1, 1);
        renderer().queries.answer(miQ_STAGE, static_cast<miInteger>(miSTAGE_TILE));
        expectSlots(kOld, kOld);
    }
}

class ManyPasses : public FrameBufferTest {};

/* More records than go on the stack; without memory for them the passes keep what the inputs wrote. */
TEST_F(ManyPasses, AreOperatedOnFromTheHeap) {
    for (int i = 0; i < 1500; ++i) addRecord("pass" + std::to_string(i), 5);
    attach();
    initState();
    beginSample();
    stage.placeVexabase();
    for (const bool fails : {false, true}) {
        twin::ShaderInstance<ClampBlock> clamp;
        miColor color = {3, 3, 3, 3};
        clamp.connect(&clamp->input, [&](miState*) -> void* {
            for (FrameBufferInfo& entry : entries()) entry.slots[0].contribution = color;
            return &color;
        });
        const twin::ShaderEntry<ClampBlock, miColor> entry("lumoVexaClamp");
        stage.run(clamp);
        miBoolean ignored;
        entry.init(state, clamp.parameters(), &ignored);
        renderer().memory.fails = [fails](const twin::Allocation&) { return fails; };
        miColor result;
        EXPECT_EQ(entry.call(&result, state, clamp.parameters(), nullptr), miTRUE);
        renderer().memory.fails = nullptr;
        entry.exit(state, clamp.parameters());
        EXPECT_EQ(result.r, 1);
        EXPECT_EQ(this->entry(0).slots[0].contribution.r, fails ? 3 : 1);
        EXPECT_EQ(this->entry(1499).slots[0].contribution.r, fails ? 3 : 1);
    }
}

}  // namespace
