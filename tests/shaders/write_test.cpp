/* The shaders that write values into user buffers. */
#include <bit>
#include <limits>

#include "frame_buffer_scene.h"

namespace {

using twin::renderer;

/* What all four begin with, then the value. */
struct WriteFields {
    miInteger buffer = 0;
    miInteger writeMode = 1;
    miInteger evaluationMode = 1;
    miScalar weight = 1;
    miColor color = {0.1f, 0.2f, 0.3f, 0.4f};
};

struct ColorBlock {
    WriteFields common;
    miColor value = {1, 2, 3, 99};
    miScalar alpha = 4;
};

struct VectorBlock {
    WriteFields common;
    miVector value = {1, 2, 3};
};

struct DepthBlock {
    WriteFields common;
    miScalar value = 5;
};

struct LabelBlock {
    WriteFields common;
    miInteger value = 7;
};

constexpr miColor kUntouched = {9, 9, 9, 9};

class WriteShaders : public FrameBufferTest {
protected:
    /* A beauty record in front, so that the first user buffer is not the first entry. */
    WriteShaders() {
        addRecord("beauty", 0);
        addRecord("user0", 30);
        addRecord("user1", 30);
        addRecord("behind", 33);
        attach();
        initState();
        beginSample();
        stage.placeVexabase();
    }

    template <class Block>
    miBoolean run(const std::string& kind, twin::ShaderInstance<Block>& shader) {
        const twin::ShaderEntry<Block, miColor> entry("lumoVexaWriteTo" + kind + "Buffer");
        stage.run(shader);
        result = kUntouched;
        miBoolean wantsInstances = miFALSE;
        entry.init(state, shader.parameters(), &wantsInstances);
        const miBoolean returned = entry.call(&result, state, shader.parameters(), nullptr);
        entry.exit(state, shader.parameters());
        return returned;
    }
    template <class Block>
    void write(const std::string& kind, const Block& block) {
        twin::ShaderInstance<Block> shader(block);
        EXPECT_EQ(run(kind, shader), miTRUE);
    }

    FrameBufferInfo& user(std::size_t number = 0) { return entry(1 + number); }
    miColor& written(std::size_t number = 0) { return user(number).slots[0].contribution; }
    miInteger label() { return std::bit_cast<miInteger>(written().r); }
    void setLabel(miInteger value) { written().r = std::bit_cast<miScalar>(value); }

    miColor result = kUntouched;
};

TEST_F(WriteShaders, CombineColorsByTheirMode) {
    ColorBlock block;
    block.common.weight = 0.5f;
    // value (1 2 3 4) times 0.5 = (0.5 1 1.5 2), onto (10 20 30 40); 4 and -1 are no modes and add
    const struct {
        miInteger mode;
        miColor expected;
    } cases[] = {{0, {10, 20, 30, 40}},   {1, {10.5f, 21, 31.5f, 42}}, {2, {5, 20, 45, 80}},
                 {3, {0.5f, 1, 1.5f, 2}}, {4, {10.5f, 21, 31.5f, 42}}, {-1, {10.5f, 21, 31.5f, 42}}};
    for (const auto& each : cases) {
        written() = {10, 20, 30, 40};
        block.common.writeMode = each.mode;
        write("Color", block);
        EXPECT_COLOR(written(), each.expected.r, each.expected.g, each.expected.b, each.expected.a);
        EXPECT_COLOR(result, 0.1f, 0.2f, 0.3f, 0.4f);
    }
}

TEST_F(WriteShaders, TouchOnlyTheWordsOfTheirKind) {
    VectorBlock vector;
    DepthBlock depth;
    vector.common.weight = depth.common.weight = 2;
    // vector (1 2 3) times 2, depth 5 times 2
    const struct {
        miInteger mode;
        miColor vector, depth;
    } cases[] = {{0, {10, 20, 30, 40}, {10, 20, 30, 40}},
                 {1, {12, 24, 36, 40}, {20, 20, 30, 40}},
                 {2, {20, 80, 180, 40}, {100, 20, 30, 40}},
                 {3, {2, 4, 6, 40}, {10, 20, 30, 40}}};
    for (const auto& each : cases) {
        vector.common.writeMode = depth.common.writeMode = each.mode;
        written() = {10, 20, 30, 40};
        write("Vector", vector);
        EXPECT_COLOR(written(), each.vector.r, each.vector.g, each.vector.b, each.vector.a);
        written() = {10, 20, 30, 40};
        write("Depth", depth);
        EXPECT_COLOR(written(), each.depth.r, each.depth.g, each.depth.b, each.depth.a);
    }
}

TEST_F(WriteShaders, RoundLabelsAwayFromZero) {
    LabelBlock block;
    block.common.weight = 0.5f;
    // 7 x 0.5 = 3.5 becomes 4, -3.5 becomes -4; 5 x 0.5 = 2.5 becomes 3; 6 x 0.5 is exact
    const int cases[][4] = {{7, 1, 100, 104}, {-7, 1, 100, 96}, {7, 2, -3, -12}, {5, 3, 100, 3}, {6, 1, 0, 3}};
    for (const auto& [value, mode, before, after] : cases) {
        block.value = value;
        block.common.writeMode = mode;
        setLabel(before);
        write("Label", block);
        EXPECT_EQ(label(), after) << value << ' ' << mode;
    }
}

TEST_F(WriteShaders, ChooseTheirBufferByItsNumber) {
    DepthBlock block;
    block.common.buffer = 1;
    write("Depth", block);
    EXPECT_EQ(written(0).r, 0);
    EXPECT_EQ(written(1).r, 5);

    const auto contributions = [&] {
        std::vector<miScalar> values;
        for (const FrameBufferInfo& each : entries()) values.push_back(each.slots[0].contribution.r);
        return values;
    };
    const std::vector<miScalar> before = contributions();
    for (miInteger number : {2, 3, -1, std::numeric_limits<miInteger>::min(), std::numeric_limits<miInteger>::max()}) {
        block.common.buffer = number;
        write("Depth", block);
        EXPECT_EQ(contributions(), before) << number;
        EXPECT_COLOR(result, 0.1f, 0.2f, 0.3f, 0.4f);
    }
    EXPECT_TRUE(renderer().messages().empty());
}

/* Off, and without buffers, the color is not handed on: networks of existing scenes count on it. */
TEST_F(WriteShaders, ThatAreOffOrHaveNoBuffersDoNothing) {
    DepthBlock block;
    const auto writesNothing = [&] {
        write("Depth", block);
        EXPECT_EQ(publishedEntries()[1].slots[0].contribution.r, 0);
        EXPECT_COLOR(result, 9, 9, 9, 9);
    };
    renderer().queries.answer(miQ_STAGE, 2);
    writesNothing();
    renderer().queries.answer(miQ_STAGE, static_cast<miInteger>(miSTAGE_TILE));
    publishedEntries()->flags |= 0x2000;
    writesNothing();
    publishedEntries()->flags &= ~0x2000u;
    block.common.evaluationMode = 0;
    writesNothing();
}

TEST_F(WriteShaders, WriteIntoClosedBuffers) {
    user().flags = 0x8000 | 0x1;
    write("Color", ColorBlock{});
    EXPECT_COLOR(written(), 1, 2, 3, 4);
    EXPECT_EQ(user().flags, 0x8001u);
}

TEST_F(WriteShaders, OfTheEnginesPhaseWriteInItAlone) {
    DepthBlock block;
    block.common.evaluationMode = 2;
    const struct {
        miUint flags;
        bool writes;
    } cases[] = {{0, false}, {0x8000, true}, {0x18000, false}, {0x10000, false}};
    for (const auto& each : cases) {
        written().r = 0;
        entry(0).flags = each.flags;
        write("Depth", block);
        EXPECT_EQ(written().r, each.writes ? 5 : 0) << each.flags;
        EXPECT_EQ(entry(0).flags, each.flags);
        EXPECT_COLOR(result, 9, 9, 9, 9);
    }
}

/* A writer that is evaluated for the value of another one must not write in the same phase. */
TEST_F(WriteShaders, GuardTheirPhase) {
    twin::ShaderInstance<DepthBlock> outer, inner;
    outer->common.evaluationMode = inner->common.evaluationMode = 2;
    inner->common.buffer = 1;
    miScalar value = 11;
    outer.connect(&outer->value, [&](miState*) {
        EXPECT_EQ(entry(0).flags & 0x10000u, 0x10000u);
        EXPECT_EQ(user().flags & 0x8000u, 0u) << "its own buffer is open by now";
        run("Depth", inner);
        stage.run(outer);
        return static_cast<void*>(&value);
    });
    entry(0).flags |= 0x8000;
    user().flags |= 0x8000;
    EXPECT_EQ(run("Depth", outer), miTRUE);
    EXPECT_EQ(written(0).r, 11);
    EXPECT_EQ(written(1).r, 0);
    EXPECT_EQ(entry(0).flags & 0x18000u, 0x8000u);
}

TEST_F(WriteShaders, LeaveFilteredSurfacesOut) {
    const auto writesAnything = [&] {
        const auto before = std::bit_cast<std::array<miUint, 4>>(written());
        write("Color", ColorBlock{});
        write("Vector", VectorBlock{});
        write("Depth", DepthBlock{});
        write("Label", LabelBlock{});
        return std::bit_cast<std::array<miUint, 4>>(written()) != before;
    };
    user().slots[0].levelFlags = 0x1;
    EXPECT_FALSE(writesAnything());
    user().slots[0].levelFlags = 0x1E;
    EXPECT_TRUE(writesAnything());
    state->type = miRAY_ENVIRONMENT;
    EXPECT_FALSE(writesAnything());
    state->type = miRAY_REFLECT;
    EXPECT_TRUE(writesAnything());
    // No slot: the trace depth is 4, so levels end at 5.
    state->reflection_level = 6;
    EXPECT_FALSE(writesAnything());
    state->reflection_level = -1;
    EXPECT_FALSE(writesAnything());
}

TEST_F(WriteShaders, UseTheSlotOfTheRayLevel) {
    state->reflection_level = 1;
    state->refraction_level = 2;
    write("Depth", DepthBlock{});
    EXPECT_EQ(user().slots[3].contribution.r, 5);
    EXPECT_EQ(written().r, 0);
}

}  // namespace
