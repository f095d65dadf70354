#include "frame_buffer_scene.h"

FrameBufferTest::FrameBufferTest() {
    renderer().queries.answer(miQ_FUNC_CALLTYPE, static_cast<miInteger>(miSHADER_STATE));
}

void FrameBufferTest::TearDown() {
    setStage(miSTAGE_TILE);
    if (stateIsOpen) {
        beginSample();  // slots that no sample resolved are not given back
        exitState();
    }
    LibraryTest::TearDown();
}

miTag FrameBufferTest::addBuffer(const std::string& name) {
    const std::size_t index = renderer().bufferNames.size() + 1;
    renderer().bufferNames[name] = index;
    stage.rendering.buffers.sizes[static_cast<int>(index)] = sizeof(miColor);
    return renderer().database.addString(name);
}

RecordWords& FrameBufferTest::addRecord(const std::string& name, int type) {
    ++typeCounts[static_cast<std::size_t>(type)];
    return records.emplace_back().name(addBuffer(name));
}

void FrameBufferTest::open(const std::vector<int>& types, miUint flags) {
    for (const int type : types) addRecord("pass" + std::to_string(records.size()), type).levels(0, 100, 0, 100);
    attach();
    initState();
    beginSample();
    for (FrameBufferInfo& each : entries()) each.flags = flags;
}

std::vector<miUint> FrameBufferTest::blockWords() const {
    std::vector<miUint> words(24, 0);
    words[0] = 0x46427566;

    // An array at word w keeps its start and count in the two words before, and element k at w + (start + k) * size.
    const auto append = [&](std::size_t at, std::size_t size, std::size_t count, auto elementWord) {
        while ((words.size() - at) % size != 0) words.push_back(0xEEEEEEEE);
        words[at - 2] = static_cast<miUint>((words.size() - at) / size);
        words[at - 1] = static_cast<miUint>(count);
        for (std::size_t i = 0; i < count * size; ++i) words.push_back(elementWord(i / size, i % size));
    };
    append(3, 1, passNames.size(), [&](std::size_t k, std::size_t) { return passNames[k]; });
    append(6, 15, records.size(), [&](std::size_t k, std::size_t i) { return records[k].words[i]; });
    append(23, 1, typeCounts.size(), [&](std::size_t k, std::size_t) { return typeCounts[k]; });
    return words;
}

miBoolean FrameBufferTest::operate(int operation, miBoolean shaderReturn) {
    OperationArgument argument{operation, shaderReturn};
    return twin::ShaderEntry<void>("lumoFrameBufferState").call(nullptr, state, nullptr, &argument);
}

void FrameBufferTest::initState() {
    stateIsOpen = true;
    EXPECT_EQ(operate(miSTATE_SHADER_STATE_INIT), miTRUE);
}

void FrameBufferTest::exitState() {
    stateIsOpen = false;
    EXPECT_EQ(operate(miSTATE_SHADER_STATE_EXIT), miTRUE);
}

void FrameBufferTest::beginSample() {
    stage.rendering.buffers.beginSample();
    operate(miSTATE_SHADER_SAMPLE_INIT);
}

std::span<FrameBufferInfo> FrameBufferTest::entries() {
    PassState* passState = nullptr;
    FrameBufferInfo* first = nullptr;
    const miUint count = library::getFrameBufferInfo(state, &passState, &first);
    return {first, count};
}
