/* The frame buffers from state init to state exit, and everything that a scene or a renderer can get wrong about them.
 * Data blocks end at a page without access, so reading past one ends the test program. */
#include <algorithm>
#include <climits>

#include "frame_buffer_scene.h"

namespace {

class FrameBuffers : public FrameBufferTest {
protected:
    /* How many messages that something is wrong have come since the last time. */
    int newErrors() {
        const int all = renderer().messageCount("error", "") + renderer().messageCount("warning", "");
        return all - std::exchange(known_, all);
    }

    /* One whole render with a sample, and every way to look into the block. Gives the number of buffers at the sample. */
    std::size_t render(const std::vector<miUint>& words) {
        attach(words);
        const miBoolean began = operate(miSTATE_SHADER_STATE_INIT);
        beginSample();
        const std::size_t count = entries().size();
        endSample();
        for (miInteger index : {-1, 0, 1, 2, 1000, INT_MAX, INT_MIN})
            library::getNonMaterialPassFrameBufferIndex(state, index);
        operate(miSTATE_SHADER_STATE_EXIT);
        // Slots of a state without buffers are never resolved, and so are kept.
        if (began && count == 0) expectedAllocations = renderer().memory.liveAllocations();
        return count;
    }

    void addThree() {
        addPass("depth");
        addPass("normal");
        addRecord("a", 0).shadowed().identifier(7).levels(1, 2, 3, 4);
        addRecord("b", 5);
        addRecord("c", 34);
    }

private:
    int known_ = 0;
};

TEST_F(FrameBuffers, ArePublishedAtInitAndResolvedByTheFirstSample) {
    addThree();
    records[1].name(renderer().database.addString("nobody has it"));
    attach();
    renderer().options["vexa allocate temp data on heap"] = true;
    initState();
    EXPECT_EQ(frame().flags, 1u) << "the heap option";

    // A precomputation's samples resolve nothing.
    setStage(miSTAGE_FINALGATHER);
    EXPECT_EQ(operate(miSTATE_SHADER_SAMPLE_INIT), miTRUE);
    EXPECT_EQ(publishedEntries()[0].index, 0xFFFFFFFFu);
    setStage(miSTAGE_TILE);
    EXPECT_EQ(operate(miSTATE_SHADER_SAMPLE_INIT), 3);
    const int indices[] = {indexOf("a"), 0, indexOf("c")};
    for (std::size_t k = 0; k < 3; ++k) EXPECT_EQ(entry(k).index, static_cast<miUint>(indices[k]));
    for (int i = 0; i < 4; ++i) EXPECT_EQ((&entry(0).minReflectionLevel)[i], i + 1);
    EXPECT_EQ(entry(0).identifier, 7);
    EXPECT_EQ(newErrors(), 1);

    // Names are looked up once; what samples before left at the first level is cleared each time.
    renderer().bufferNames["a"] = 77;
    frame() = {0xF, {1, 2, 3, 4}};
    std::fill_n(entry(0).slots, 18, FrameBufferSlot{{1, 1, 1, 1}, {2, 2, 2, 2}, {3, 3, 3, 3}, 4});
    beginSample();
    EXPECT_EQ(entry(0).index, static_cast<miUint>(indices[0]));
    EXPECT_EQ(frame().flags, 1u);
    EXPECT_COLOR(frame().transparency, 0, 0, 0, 0);
    for (const FrameBufferInfo& each : entries()) {
        EXPECT_COLOR(each.slots[0].color, 0, 0, 0, 0);
        EXPECT_COLOR(each.slots[0].transparency, 0, 0, 0, 0);
        EXPECT_EQ(each.slots[0].levelFlags, 0u);
        EXPECT_COLOR(each.slots[1].color, 2, 2, 2, 2);
    }
    exitState();
    EXPECT_EQ(stage.rendering.entries.count(), 0u);
}

TEST_F(FrameBuffers, LeaveNothingBehindWhatever) {
    const auto cycle = [&](miBoolean began) {
        EXPECT_EQ(operate(miSTATE_SHADER_STATE_INIT), began);
        operate(miSTATE_SHADER_SAMPLE_INIT);
        EXPECT_EQ(entries().size(), 0u);
        EXPECT_EQ(endSample(), miTRUE);
        EXPECT_EQ(operate(miSTATE_SHADER_STATE_EXIT), miTRUE);
        EXPECT_EQ(stage.rendering.entries.count(), 0u);
        EXPECT_EQ(renderer().memory.liveAllocations(), 0u);
    };
    cycle(miFALSE);  // no block
    addRecord("a", 0);
    attach();
    for (int failing : {0, 1}) {
        int request = 0;
        renderer().memory.fails = [&](const twin::Allocation&) { return request++ == failing; };
        cycle(miFALSE);
    }
    renderer().memory.fails = nullptr;
    stage.rendering.entries.refused = "lumoFBInfo";
    cycle(miFALSE);
    stage.rendering.entries.refused.clear();
    // Slots that no sample resolved are left to the renderer.
    EXPECT_EQ(operate(miSTATE_SHADER_STATE_INIT), miTRUE);
    EXPECT_EQ(operate(miSTATE_SHADER_STATE_EXIT), miTRUE);
    expectedAllocations = 1;
}

TEST_F(FrameBuffers, FlagsComeFromRecordsAndPassTypes) {
    addRecord("composited", 0).composited();
    for (std::size_t i = 0; i < 8; ++i) addRecord("flag" + std::to_string(i), 0).flag(i, static_cast<int>(i) + 1);
    addRecord("negative", 0).flag(0, -1).flag(6, -5);
    for (int type = 0; type < 35; ++type) {
        addRecord("bare" + std::to_string(type), type);
        addRecord("shadowed" + std::to_string(type), type).shadowed();
    }
    attach();
    initState();
    beginSample();
    EXPECT_EQ(entry(0).flags, 0x1u);
    for (std::size_t i = 0; i < 8; ++i) EXPECT_EQ(entry(1 + i).flags, 0x2u << i);
    EXPECT_EQ(entry(9).flags, 0u);

    // By type: what a record with every flag word 0 gets, and what one that asks for shadowed light (0x80) gets.
    std::array<miUint, 35> bare{}, shadowed{};
    shadowed.fill(0x80);
    for (std::size_t type : {12u, 13u, 14u, 15u}) bare[type] = shadowed[type] = 0x1080;
    for (std::size_t type : {6u, 8u, 11u, 31u, 34u}) shadowed[type] = 0;
    for (std::size_t type : {1u, 4u, 26u, 28u, 32u, 33u}) bare[type] |= 0x4000, shadowed[type] |= 0x4000;
    for (std::size_t type = 0; type < 35; ++type) {
        EXPECT_EQ(entry(10 + 2 * type).flags, bare[type]) << type;
        EXPECT_EQ(entry(11 + 2 * type).flags, shadowed[type]) << type;
    }
}

/* Types 15 to 19: alpha is forced to 1 around the three that keep theirs. */
TEST_F(FrameBuffers, AreWrittenAtSampleExit) {
    open({15, 16, 17, 18, 19});
    const auto begin = [&] {
        beginSample();
        for (FrameBufferInfo& each : entries()) each.slots[0].color = {.5f, .25f, .125f, .4f};
    };
    begin();
    EXPECT_EQ(operate(miSTATE_SHADER_SAMPLE_EXIT, miFALSE), miTRUE);
    state->type = miRAY_DISPLACE;
    EXPECT_EQ(endSample(), miTRUE);
    state->type = miRAY_EYE;
    setStage(miSTAGE_FINALGATHER);
    EXPECT_EQ(endSample(), miTRUE);
    setStage(miSTAGE_TILE);
    for (int i = 0; i < 5; ++i) EXPECT_FALSE(wasPut("pass" + std::to_string(i)));

    // What a shader wrote stays, unless it is black.
    miColor written = {0, 0, 0, .5f}, black = {0, 0, 0, 0};
    mi_fb_put(state, indexOf("pass0"), &written);
    mi_fb_put(state, indexOf("pass4"), &black);
    EXPECT_EQ(endSample(), miTRUE);
    EXPECT_COLOR(buffer("pass0"), 0, 0, 0, .5f);
    EXPECT_COLOR(buffer("pass1"), .5f, .25f, .125f, .4f);
    EXPECT_COLOR(buffer("pass3"), .5f, .25f, .125f, .4f);
    EXPECT_COLOR(buffer("pass4"), .5f, .25f, .125f, 1);
    EXPECT_EQ(entry(4).slots[0].color.a, 1) << "the slot's own alpha is forced too";

    // Samples of the rasterizer; a ray that it traces is like any other. Nothing is in the buffer, so the color
    // stands; no alpha is none.
    stage.options.scanline = 'r';
    for (const bool rasterized : {false, true}) {
        begin();
        state->scanline = rasterized ? 1 : 0;
        for (FrameBufferInfo& each : entries()) each.slots[0].transparency = {.5f, .5f, .5f, .5f};
        entry(4).slots[0].color.a = 0;
        mi_fb_put(state, indexOf("pass1"), &written);
        endSample();
        EXPECT_COLOR(buffer("pass0"), .5f, .25f, .125f, 1);
        EXPECT_COLOR(buffer("pass1"), 0, 0, 0, .5f);
        EXPECT_COLOR(buffer("pass2"), .5f, .25f, .125f, .4f);
        EXPECT_COLOR(buffer("pass4"), .5f, .25f, .125f, 0);
        EXPECT_FLOAT_EQ(entry(0).slots[0].color.a, rasterized ? .4f : 1);
    }
}

TEST_F(FrameBuffers, AreReportedOnlyWhileTheirRecordsFit) {
    open({0, 34});
    const std::size_t live = renderer().memory.liveAllocations();
    EXPECT_EQ(library::getFrameBufferState(state), &frame());
    EXPECT_EQ(entries().size(), 2u);
    publishedEntries()[1].flags |= 0x2000;
    EXPECT_EQ(entries().size(), 2u) << "only the first entry's mark that they are in use counts";
    publishedEntries()[0].flags |= 0x2000;
    EXPECT_EQ(entries().size(), 0u);
    publishedEntries()[0].flags &= ~0x2000u;
    for (const int bits : {0, 2, 3, 64}) {
        setStage(bits);
        EXPECT_EQ(entries().data(), nullptr) << bits;
        EXPECT_EQ(library::getFrameBufferState(state), nullptr) << bits;
    }
    renderer().queries.refuse(miQ_STAGE);
    EXPECT_EQ(entries().size(), 0u);
    setStage(miSTAGE_TILE);

    const std::pair<const char*, int> sizes[] = {{"lumoPassState", 280}, {"lumoFBInfo", 208}, {"lumoFBState", 20}};
    for (const auto& [key, size] : sizes)
        for (const int wrong : {size - 1, size + 1, size / 2, 0, size}) {
            std::vector<std::byte> value(300);
            std::memcpy(value.data(), published<void>(key) ? published<void>(key) : value.data(), 20);
            if (size == 280) reinterpret_cast<PassState*>(value.data())->types[34] = {1, 1};
            stage.rendering.entries.set(key, value.data(), wrong, miSS_LIFETIME_RECT);
            const bool isState = size == 20;
            EXPECT_EQ(entries().size(), wrong == size || isState ? 2u : 0u) << key << wrong;
            EXPECT_EQ(library::getFrameBufferState(state) != nullptr, wrong == size || !isState) << key << wrong;
        }
    stateIsOpen = false;  // the state shader's own exit relies on sound records
    expectedAllocations = live;
}

/* ---- Data blocks as scenes really hold them: of the other byte order, cut off, with counts from nowhere ---- */

TEST_F(FrameBuffers, BlocksAreFoundPinnedAndRead) {
    addThree();
    for (const bool turned : {false, true}) {
        std::vector<miUint> words = blockWords();
        for (miUint& word : words) word = turned ? __builtin_bswap32(word) : word;
        attach(words);
        const MIDataPtr<FrameBufferData> block = library::getFrameBufferDataBlock(state);
        EXPECT_EQ(block.tag(), stage.camera.userdata);
        EXPECT_EQ(block.swapped(), turned);
        EXPECT_EQ(renderer().database.pins(block.tag()), 1) << "the handle's owner unpins";
        mi_db_unpin(block.tag());
        const int buffers[][2] = {{0, indexOf("depth")}, {1, indexOf("normal")}, {2, 0}, {-1, 0}};
        for (const auto& [number, index] : buffers)
            EXPECT_EQ(library::getNonMaterialPassFrameBufferIndex(state, number), static_cast<miUint>(index));
        EXPECT_EQ(render(words), 3u);
        renderer().queries.refuse(miQ_DATA_PARAM_SIZE);
        EXPECT_EQ(render(words), 3u);
        renderer().queries.forget(miQ_DATA_PARAM_SIZE);
    }
    EXPECT_EQ(newErrors(), 0);
    stage.camera.userdata = miNULLTAG;
    EXPECT_TRUE(library::getFrameBufferDataBlock(state).empty());
    EXPECT_EQ(library::getNonMaterialPassFrameBufferIndex(state, 0), 0u);

    const miTag known = addBuffer("known"), unknown = renderer().database.addString("unknown");
    const auto id = [&](miTag name) { return library::getNamedFrameBufferID(state, name); };
    EXPECT_EQ(id(known), static_cast<miUint>(indexOf("known")));
    EXPECT_EQ(id(unknown) + id(miNULLTAG), 0u);
    stage.camera.buffertag = unknown;
    EXPECT_EQ(id(known), 0u);
}

TEST_F(FrameBuffers, BlocksMayBeDamaged) {
    addThree();
    const std::vector<miUint> whole = blockWords();
    /* How many buffers are left. */
    const auto left = [&](std::size_t word, int value) {
        std::vector<miUint> words = whole;
        words[word] = static_cast<miUint>(value);
        const auto count = static_cast<int>(render(words));
        EXPECT_GT(newErrors(), 0) << "word " << word << " is " << value;
        return count;
    };
    // Start and count of the arrays: of pass names, of records (starts count 15 words), of the counts by type.
    for (const std::size_t word : {1u, 2u, 4u, 5u, 21u, 22u})
        for (const int value : {-1, -30, INT_MIN, INT_MAX, 300000000, 1000}) {
            EXPECT_EQ(left(word, value), word < 3 ? 3 : 0);
            if (value == 1000) continue;  // would be believed
            renderer().queries.refuse(miQ_DATA_PARAM_SIZE);
            EXPECT_EQ(left(word, value), word < 3 ? 3 : 0);
            renderer().queries.forget(miQ_DATA_PARAM_SIZE);
        }
    EXPECT_EQ(left(5, 4), 0);
    EXPECT_EQ(left(22, 34), 0);
    EXPECT_EQ(left(6 + 15 * whole[4], 0), 3) << "a record without a name";
    const std::size_t type9 = 23 + whole[21] + 9;
    for (const int value : {1, -1, INT_MIN}) EXPECT_EQ(left(type9, value), value == 1 ? 0 : 3);
    for (std::size_t length = 1; length < whole.size(); ++length) {
        SCOPED_TRACE(length);
        render({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)});
        EXPECT_GT(newErrors(), 0);
    }
}

TEST_F(FrameBuffers, StateShadersCheckTheirRoleAndOperation) {
    for (const std::string name : {"lumoFrameBufferState", "lumoFrameBufferInit"}) {
        const twin::ShaderEntry<void> shader(name);
        for (const int type : {miSHADER_STATE, miSHADER_MATERIAL}) {
            renderer().queries.answer(miQ_FUNC_CALLTYPE, static_cast<miInteger>(type));
            miBoolean wantsInstances = 9;
            shader.init(state, nullptr, &wantsInstances);
            EXPECT_EQ(wantsInstances, miFALSE);
            EXPECT_EQ(renderer().messageCount("error", name + "(): Not invoked as state shader."),
                      type != miSHADER_STATE);
        }
        EXPECT_EQ(shader.call(nullptr, state, nullptr, nullptr), miFALSE) << "no argument";
        newErrors();
        for (const int operation : {-1, 4, 15, INT_MAX}) {
            OperationArgument argument{operation, miTRUE};
            EXPECT_EQ(shader.call(nullptr, state, nullptr, &argument), miFALSE) << operation;
            EXPECT_EQ(newErrors(), 1);
        }
    }
}

}  // namespace
