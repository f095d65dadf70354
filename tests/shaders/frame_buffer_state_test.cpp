/* lumoFrameBufferState from state init to state exit, with a well-formed data block. */
#include "frame_buffer_scene.h"

namespace {

using twin::renderer;

class FrameBufferState_ : public FrameBufferTest {
protected:
    FrameBufferState* published() {
        return static_cast<FrameBufferState*>(stage.rendering.entries.get("lumoFBState", nullptr));
    }
    int sizeOf(const char* key) {
        int size = -1;
        stage.rendering.entries.get(key, &size);
        return size;
    }
};

TEST_F(FrameBufferState_, InitPublishesThreeRecords) {
    addRecord("a", 0);
    addRecord("b", 5);
    addRecord("c", 5);
    attach();
    initState();
    EXPECT_EQ(sizeOf("lumoPassState"), 280);
    EXPECT_EQ(sizeOf("lumoFBInfo"), 3 * 104);
    EXPECT_EQ(sizeOf("lumoFBState"), 20);
    for (const char* key : {"lumoPassState", "lumoFBInfo", "lumoFBState"})
        EXPECT_EQ(stage.rendering.entries.lifetime(key), miSS_LIFETIME_RECT);

    EXPECT_EQ(passes().types[0].count, 1u);
    EXPECT_EQ(passes().types[5].count, 2u);
    EXPECT_EQ(passes().types[5].first, 1u);
    EXPECT_EQ(passes().types[4].first, 1u);
    EXPECT_EQ(passes().types[34].first, 3u);

    // 4 levels and two more, 52 bytes each, in one piece.
    const FrameBufferInfo* entries = publishedEntries();
    EXPECT_EQ(entries[0].index, 0xFFFFFFFFu);
    for (int k = 0; k < 3; ++k) {
        EXPECT_EQ(reinterpret_cast<char*>(entries[k].slots) - reinterpret_cast<char*>(entries[0].slots), k * 6 * 52);
        EXPECT_EQ(entries[k].flags, 0u);
    }
    const auto& allocations = renderer().memory.allocations;
    ASSERT_EQ(allocations.size(), 2u);
    EXPECT_EQ(allocations[0].line, 211);
    EXPECT_EQ(allocations[0].size, 3u * 104);
    EXPECT_EQ(allocations[1].line, 219);
    EXPECT_EQ(allocations[1].size, 3u * 6 * 52);
    EXPECT_EQ(allocations[1].file, "sdk/lumoFrameBufferState");
    ASSERT_EQ(renderer().memory.releases.size(), 1u);
    EXPECT_EQ(renderer().memory.releases[0].line, 260);
}

TEST_F(FrameBufferState_, ExitGivesBackWhatASampleHasUsed) {
    addRecord("a", 0);
    attach();
    initState();
    beginSample();
    exitState();
    EXPECT_EQ(renderer().memory.releases.back().line, 276);
    EXPECT_EQ(stage.rendering.entries.count(), 0u);
    EXPECT_EQ(entries().size(), 0u);
}

TEST_F(FrameBufferState_, ExitKeepsSlotsThatNoSampleResolved) {
    addRecord("a", 0);
    attach();
    initState();
    exitState();
    EXPECT_EQ(stage.rendering.entries.count(), 0u);
    expectedAllocations = 1;
}

TEST_F(FrameBufferState_, FailsWithoutADataBlock) {
    EXPECT_EQ(operate(miSTATE_SHADER_STATE_INIT), miFALSE);
    EXPECT_EQ(entries().size(), 0u);
    EXPECT_EQ(operate(miSTATE_SHADER_SAMPLE_INIT), miTRUE);
    EXPECT_EQ(endSample(), miTRUE);
    EXPECT_EQ(operate(miSTATE_SHADER_STATE_EXIT), miTRUE);
}

TEST_F(FrameBufferState_, LeavesNothingBehindWithoutMemory) {
    addRecord("a", 0);
    attach();
    for (int line : {211, 219}) {
        renderer().memory.fails = [=](const twin::Allocation& request) { return request.line == line; };
        EXPECT_EQ(operate(miSTATE_SHADER_STATE_INIT), miFALSE);
        operate(miSTATE_SHADER_SAMPLE_INIT);
        EXPECT_EQ(entries().size(), 0u);
        EXPECT_EQ(operate(miSTATE_SHADER_STATE_EXIT), miTRUE);
        EXPECT_EQ(renderer().memory.liveAllocations(), 0u);
    }
}

TEST_F(FrameBufferState_, KeepsTheHeapOptionThroughSamples) {
    addRecord("a", 0);
    attach();
    initState();
    EXPECT_EQ(published()->flags, 0u);
    renderer().options["vexa allocate temp data on heap"] = false;
    initState();
    EXPECT_EQ(published()->flags, 0u);
    renderer().options["vexa allocate temp data on heap"] = true;
    initState();
    EXPECT_EQ(published()->flags, 1u);
    expectedAllocations = 2;  // of the first two inits: no renderer runs them without an exit

    *published() = {0xF, {1, 2, 3, 4}};
    beginSample();
    EXPECT_EQ(published()->flags, 1u);
    EXPECT_COLOR(published()->transparency, 0, 0, 0, 0);
}

TEST_F(FrameBufferState_, FirstSampleResolvesNamesOnce) {
    addRecord("a", 0).levels(1, 2, 3, 4).identifier(99);
    records.push_back(RecordWords().name(renderer().database.addString("nobody has it")));
    ++typeCounts[0];
    addRecord("b", 1);
    attach();
    initState();
    EXPECT_EQ(operate(miSTATE_SHADER_SAMPLE_INIT), 3);
    EXPECT_EQ(entry(0).index, 1u);
    EXPECT_EQ(entry(1).index, 0u);
    EXPECT_EQ(entry(2).index, 2u);
    const miInteger* levels = &entry(0).minReflectionLevel;
    for (int i = 0; i < 4; ++i) EXPECT_EQ(levels[i], i + 1);
    EXPECT_EQ(entry(0).identifier, 99);

    renderer().bufferNames["a"] = 7;
    beginSample();
    EXPECT_EQ(entry(0).index, 1u);
}

TEST_F(FrameBufferState_, ReportsRecordsWithoutName) {
    addRecord("a", 0).name(miNULLTAG);
    attach();
    initState();
    beginSample();
    EXPECT_EQ(renderer().messageCount("error", "Missing frameBufferName parameter in frameBufferInfo record."), 1);
    EXPECT_EQ(entry(0).index, 0u);
}

TEST_F(FrameBufferState_, FlagsComeFromTheRecord) {
    addRecord("none", 0);
    addRecord("composited", 0).composited();
    for (std::size_t i = 0; i < 8; ++i) addRecord("flag" + std::to_string(i), 0).flag(i, static_cast<miInteger>(i) + 1);
    addRecord("negative", 0).flag(0, -1).flag(6, -5);
    attach();
    initState();
    beginSample();
    EXPECT_EQ(entry(0).flags, 0u);
    EXPECT_EQ(entry(1).flags, 0x1u);
    for (std::size_t i = 0; i < 8; ++i) EXPECT_EQ(entry(2 + i).flags, 0x2u << i);
    EXPECT_EQ(entry(10).flags, 0u);
}

TEST_F(FrameBufferState_, PassTypesChangeFlags) {
    // By type: what a record with every flag word 0 gets, and what one that asks for shadowed light (0x80) gets.
    std::array<miUint, 35> bare{}, shadowed{};
    shadowed.fill(0x80);
    for (std::size_t type : {12u, 13u, 14u, 15u}) bare[type] = shadowed[type] = 0x1080;
    for (std::size_t type : {6u, 8u, 11u, 31u, 34u}) shadowed[type] = 0;
    for (std::size_t type : {1u, 4u, 26u, 28u, 32u, 33u}) bare[type] |= 0x4000, shadowed[type] |= 0x4000;

    for (int type = 0; type < 35; ++type) {
        addRecord("bare" + std::to_string(type), type);
        addRecord("shadowed" + std::to_string(type), type).shadowed();
    }
    attach();
    initState();
    beginSample();
    for (std::size_t type = 0; type < 35; ++type) {
        EXPECT_EQ(entry(2 * type).flags, bare[type]) << type;
        EXPECT_EQ(entry(2 * type + 1).flags, shadowed[type]) << type;
    }
}

TEST_F(FrameBufferState_, SampleInitClearsTheFirstLevel) {
    addRecord("a", 0);
    addRecord("b", 3);
    attach();
    initState();
    for (int sample = 0; sample < 2; ++sample) {
        for (int k = 0; k < 2; ++k)
            for (int level = 0; level < 6; ++level)
                publishedEntries()[k].slots[level] = {{1, 1, 1, 1}, {2, 2, 2, 2}, {3, 3, 3, 3}, 4};
        beginSample();
        for (std::size_t k = 0; k < 2; ++k) {
            EXPECT_COLOR(entry(k).slots[0].color, 0, 0, 0, 0);
            EXPECT_COLOR(entry(k).slots[0].transparency, 0, 0, 0, 0);
            EXPECT_EQ(entry(k).slots[0].levelFlags, 0u);
            EXPECT_COLOR(entry(k).slots[1].color, 2, 2, 2, 2);
        }
    }
}

TEST_F(FrameBufferState_, DoesNothingForSamplesOfPrecomputations) {
    addRecord("a", 0);
    attach();
    initState();
    renderer().queries.answer(miQ_STAGE, static_cast<miInteger>(miSTAGE_FINALGATHER));
    EXPECT_EQ(operate(miSTATE_SHADER_SAMPLE_INIT), miTRUE);
    EXPECT_EQ(publishedEntries()[0].index, 0xFFFFFFFFu);
    renderer().queries.answer(miQ_STAGE, static_cast<miInteger>(miSTAGE_TILE));
    beginSample();
    entry(0).slots[0].color = {1, 1, 1, 1};
    renderer().queries.answer(miQ_STAGE, static_cast<miInteger>(miSTAGE_FINALGATHER));
    EXPECT_EQ(endSample(), miTRUE);
    EXPECT_FALSE(wasPut("a"));
}

/* Types 15 .. 19: forced alpha around the three that keep theirs. */
class SampleExit : public FrameBufferTest {
protected:
    SampleExit() {
        for (int type = 15; type <= 19; ++type) addRecord("type" + std::to_string(type), type);
        attach();
        initState();
        beginSample();
        for (FrameBufferInfo& each : entries()) each.slots[0].color = {0.5f, 0.25f, 0.125f, 0.5f};
    }
};

TEST_F(SampleExit, WritesColorsAndForcesAlpha) {
    EXPECT_EQ(endSample(), miTRUE);
    for (int type = 15; type <= 19; ++type) {
        const bool keepsAlpha = type >= 16 && type <= 18;
        EXPECT_COLOR(buffer("type" + std::to_string(type)), 0.5f, 0.25f, 0.125f, keepsAlpha ? 0.5f : 1);
    }
    EXPECT_FLOAT_EQ(entry(0).slots[0].color.a, 1) << "the slot's own alpha is forced too";

    // No alpha is none; a traced ray of the rasterizer is like any other.
    stage.options.scanline = 'r';
    entry(0).slots[0].color = {0.5f, 0, 0, 0};
    entry(4).slots[0].color.a = 0.5f;
    stage.rendering.buffers.beginSample();
    endSample();
    EXPECT_COLOR(buffer("type15"), 0.5f, 0, 0, 0);
    EXPECT_FLOAT_EQ(entry(4).slots[0].color.a, 1);
}

TEST_F(SampleExit, LeavesBuffersAloneThatWereWritten) {
    miColor written = {0, 0, 0, 0.5f}, black = {0, 0, 0, 0};
    mi_fb_put(state, indexOf("type15"), &written);
    mi_fb_put(state, indexOf("type19"), &black);
    endSample();
    EXPECT_COLOR(buffer("type15"), 0, 0, 0, 0.5f);
    EXPECT_COLOR(buffer("type19"), 0.5f, 0.25f, 0.125f, 1);
}

TEST_F(SampleExit, IsForEyeRaysThatSucceeded) {
    EXPECT_EQ(operate(miSTATE_SHADER_SAMPLE_EXIT, nullptr, miFALSE), miTRUE);
    EXPECT_FALSE(wasPut("type15"));
    state->type = miRAY_DISPLACE;
    EXPECT_EQ(endSample(), miTRUE);
    EXPECT_FALSE(wasPut("type15"));
}

TEST_F(SampleExit, CompositesInTheRasterizer) {
    stage.options.scanline = 'r';
    state->scanline = 1;
    for (FrameBufferInfo& each : entries()) each.slots[0].transparency = {0.5f, 0.5f, 0.5f, 0.5f};
    endSample();
    // Nothing is in the buffer, so the color stands: (1 - 0.5) * 0 + color.
    EXPECT_COLOR(buffer("type15"), 0.5f, 0.25f, 0.125f, 1);
    EXPECT_COLOR(buffer("type17"), 0.5f, 0.25f, 0.125f, 0.5f);
    EXPECT_FLOAT_EQ(entry(0).slots[0].color.a, 0.5f) << "only what is written is forced";

    miColor written = {0.25f, 0, 0, 0};
    mi_fb_put(state, indexOf("type16"), &written);
    endSample();
    EXPECT_COLOR(buffer("type16"), 0.25f, 0, 0, 0);
}

}  // namespace
