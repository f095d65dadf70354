/* Data blocks as scenes really hold them: of the other byte order, cut off, with counts from nowhere. Blocks end at a
 * page without access, so reading past one ends the test program.
 */
#include <climits>

#include "frame_buffer_scene.h"

namespace {

using twin::renderer;

/* Where the block keeps start and count of its arrays. */
constexpr std::size_t kPassStart = 1, kPassCount = 2, kRecordStart = 4, kRecordCount = 5, kTypeStart = 21,
                      kTypeCount = 22;

const char* const kWrongTypeCount =
    "lumoFrameBufferState(): FrameBufferTypeCounts array does not have the expected number of elements.";

class FrameBufferBlock_ : public FrameBufferTest {
protected:
    FrameBufferBlock_() {
        addPass("depth");
        addPass("normal");
        addRecord("a", 0).shadowed().identifier(7);
        addRecord("b", 5);
        addRecord("c", 34);
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

    int errors() { return renderer().messageCount("error", "") + renderer().messageCount("warning", ""); }

    void sizeIsUnknown() { renderer().queries.refuse(miQ_DATA_PARAM_SIZE); }
};

TEST_F(FrameBufferBlock_, IsFoundAndPinned) {
    const miTag tag = attach();
    {
        const MIDataPtr<FrameBufferData> block = library::getFrameBufferDataBlock(state);
        ASSERT_FALSE(block.empty());
        EXPECT_EQ(block.tag(), tag);
        EXPECT_EQ(block.data()->magic, kMagic);
        EXPECT_FALSE(block.swapped());
        EXPECT_EQ(renderer().database.pins(tag), 1);
    }
    EXPECT_EQ(renderer().database.pins(tag), 1) << "the handle's owner unpins, not the handle";
    mi_db_unpin(tag);

    stage.camera.userdata = miNULLTAG;
    EXPECT_TRUE(library::getFrameBufferDataBlock(state).empty());
}

TEST_F(FrameBufferBlock_, IsReadWithoutComplaint) {
    EXPECT_EQ(render(blockWords()), 3u);
    sizeIsUnknown();
    EXPECT_EQ(render(blockWords()), 3u);
    EXPECT_EQ(errors(), 0);
}

TEST_F(FrameBufferBlock_, OfTheOtherByteOrderIsUsed) {
    std::vector<miUint> words = blockWords();
    for (miUint& word : words) word = __builtin_bswap32(word);
    attach(words);
    initState();
    beginSample();
    ASSERT_EQ(entries().size(), 3u);
    EXPECT_EQ(entry(0).index, static_cast<miUint>(indexOf("a")));
    EXPECT_EQ(entry(0).flags, 0x80u);
    EXPECT_EQ(entry(0).identifier, 7);
    EXPECT_EQ(passes().types[34].first, 2u);
    EXPECT_EQ(library::getNonMaterialPassFrameBufferIndex(state, 1), static_cast<miUint>(indexOf("normal")));
    const MIDataPtr<FrameBufferData> block = library::getFrameBufferDataBlock(state);
    EXPECT_TRUE(block.swapped());
    mi_db_unpin(block.tag());
}

TEST_F(FrameBufferBlock_, WithTooFewTypeCountsTreatsThemAsZero) {
    records.pop_back();
    typeCounts.resize(34);
    attach();
    initState();
    EXPECT_EQ(renderer().messageCount("error", kWrongTypeCount), 1);
    beginSample();
    EXPECT_EQ(entries().size(), 2u);
    EXPECT_EQ(passes().types[34].count, 0u);
    EXPECT_EQ(passes().types[5].count, 1u);
}

TEST_F(FrameBufferBlock_, WithTooManyTypeCountsIgnoresThem) {
    typeCounts.push_back(5);
    attach();
    initState();
    EXPECT_EQ(renderer().messageCount("error", kWrongTypeCount), 1);
    beginSample();
    EXPECT_EQ(entries().size(), 3u);
}

TEST_F(FrameBufferBlock_, IsReportedWhenTypeCountsDoNotAddUp) {
    for (const int count : {1, -1, INT_MIN}) {
        typeCounts[9] = static_cast<miUint>(count);
        const int before = errors();
        EXPECT_EQ(render(blockWords()), count > 0 ? 0u : 3u);
        EXPECT_GT(errors(), before);
    }
}

TEST_F(FrameBufferBlock_, NeverReadsPastItsEnd) {
    // An array is broken by its count, or by where it starts.
    const std::pair<std::size_t, int> breaks[] = {
        {kPassCount, -1},          {kPassCount, 1000000}, {kPassCount, INT_MAX},   {kPassStart, -4},
        {kPassStart, INT_MIN},     {kPassStart, INT_MAX}, {kRecordCount, -1},      {kRecordCount, 4},
        {kRecordCount, 300000000}, {kRecordStart, -1},    {kRecordStart, INT_MIN}, {kRecordStart, INT_MAX},
        {kRecordStart, 5},         {kTypeCount, -35},     {kTypeCount, 36},        {kTypeCount, INT_MAX},
        {kTypeStart, -30},         {kTypeStart, INT_MAX}, {kTypeStart, INT_MIN}};
    for (const auto& [word, value] : breaks) {
        SCOPED_TRACE(testing::Message() << "word " << word << " is " << value);
        std::vector<miUint> words = blockWords();
        words[word] = static_cast<miUint>(value);
        const int before = errors();
        render(words);
        EXPECT_GT(errors(), before);
    }
}

TEST_F(FrameBufferBlock_, MayBeCutOffAnywhere) {
    const std::vector<miUint> whole = blockWords();
    for (std::size_t length = 1; length < whole.size(); ++length) {
        SCOPED_TRACE(length);
        const int before = errors();
        render({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)});
        EXPECT_GT(errors(), before);
    }
}

TEST_F(FrameBufferBlock_, OfUnknownSizeStillRefusesNegativeCounts) {
    sizeIsUnknown();
    for (std::size_t word : {kPassCount, kRecordCount, kTypeCount}) {
        SCOPED_TRACE(word);
        std::vector<miUint> words = blockWords();
        words[word] = static_cast<miUint>(-1);
        const int before = errors();
        render(words);
        EXPECT_GT(errors(), before);
    }
}

TEST_F(FrameBufferBlock_, NamesBuffersOfPassShaders) {
    attach();
    EXPECT_EQ(library::getNonMaterialPassFrameBufferIndex(state, 0), static_cast<miUint>(indexOf("depth")));
    EXPECT_EQ(library::getNonMaterialPassFrameBufferIndex(state, 1), static_cast<miUint>(indexOf("normal")));
    EXPECT_EQ(library::getNonMaterialPassFrameBufferIndex(state, 2), 0u);
    EXPECT_EQ(library::getNonMaterialPassFrameBufferIndex(state, -1), 0u);
    stage.camera.userdata = miNULLTAG;
    EXPECT_EQ(library::getNonMaterialPassFrameBufferIndex(state, 0), 0u);
}

TEST_F(FrameBufferBlock_, NamesAreLookedUpInTheCamera) {
    const miTag known = addBuffer("known"), unknown = renderer().database.addString("unknown");
    EXPECT_EQ(library::getNamedFrameBufferID(state, known), static_cast<miUint>(indexOf("known")));
    EXPECT_EQ(library::getNamedFrameBufferID(state, unknown), 0u);
    EXPECT_EQ(library::getNamedFrameBufferID(state, miNULLTAG), 0u);
    stage.camera.buffertag = unknown;
    EXPECT_EQ(library::getNamedFrameBufferID(state, known), 0u);
    stage.camera.buffertag = renderer().frameBuffers;
    renderer().hasInterface = false;
    EXPECT_EQ(library::getNamedFrameBufferID(state, known), 0u);
}

}  // namespace
