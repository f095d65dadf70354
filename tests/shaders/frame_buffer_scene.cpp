#include "frame_buffer_scene.h"

using twin::renderer;

FrameBufferTest::FrameBufferTest() {
    renderer().queries.answer(miQ_FUNC_CALLTYPE, static_cast<miInteger>(miSHADER_STATE));
}

void FrameBufferTest::TearDown() {
    renderer().queries.answer(miQ_STAGE, static_cast<miInteger>(miSTAGE_TILE));
    if (stateIsOpen) {
        beginSample();  // slots that no sample resolved are not given back
        exitState();
    }
    LibraryTest::TearDown();
}

miTag FrameBufferTest::addBuffer(const std::string& name, std::size_t bytes) {
    const std::size_t index = renderer().bufferNames.size() + 1;
    renderer().bufferNames[name] = index;
    stage.rendering.buffers.sizes[static_cast<int>(index)] = bytes;
    return renderer().database.addString(name);
}

miTag FrameBufferTest::addPass(const std::string& name, std::size_t bytes) {
    return passNames.emplace_back(addBuffer(name, bytes));
}

RecordWords& FrameBufferTest::addRecord(const std::string& name, int type) {
    ++typeCounts[static_cast<std::size_t>(type)];
    return records.emplace_back().name(addBuffer(name));
}

void FrameBufferTest::addRecordsOfAllTypes() {
    for (int type = 0; type < 35; ++type) addRecord("type" + std::to_string(type), type);
}

std::vector<miUint> FrameBufferTest::blockWords() const {
    std::vector<miUint> words(24, 0);
    words[0] = kMagic;

    // An array at word w keeps its start and count in the two words before, and element k at w + (start + k) * size.
    const auto append = [&](std::size_t at, std::size_t size, std::size_t count, auto elementWord) {
        while ((words.size() - at) % size != 0) words.push_back(0xEEEEEEEE);
        words[at - 2] = static_cast<miUint>((words.size() - at) / size);
        words[at - 1] = static_cast<miUint>(count);
        for (std::size_t k = 0; k < count; ++k)
            for (std::size_t i = 0; i < size; ++i) words.push_back(elementWord(k, i));
    };
    append(3, 1, passNames.size(), [&](std::size_t k, std::size_t) { return passNames[k]; });
    append(6, 15, records.size(), [&](std::size_t k, std::size_t i) { return records[k].words[i]; });
    append(23, 1, typeCounts.size(), [&](std::size_t k, std::size_t) { return typeCounts[k]; });
    return words;
}

miTag FrameBufferTest::attach(const std::vector<miUint>& words) {
    return stage.camera.userdata = renderer().database.addUserdata(words);
}

miBoolean FrameBufferTest::operate(int operation, const miColor* result, miBoolean shaderReturn) {
    static const StateShader shader("lumoFrameBufferState");
    OperationArgument argument{operation, shaderReturn};
    miColor color = result ? *result : miColor{};
    return shader.call(&color, state, nullptr, &argument);
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

FrameBufferInfo* FrameBufferTest::publishedEntries() {
    return static_cast<FrameBufferInfo*>(stage.rendering.entries.get("lumoFBInfo", nullptr));
}

const PassState& FrameBufferTest::passes() {
    return *static_cast<PassState*>(stage.rendering.entries.get("lumoPassState", nullptr));
}

int FrameBufferTest::indexOf(const std::string& name) { return static_cast<int>(renderer().bufferNames.at(name)); }

miColor FrameBufferTest::buffer(const std::string& name) { return stage.rendering.buffers.value(indexOf(name)).color; }

bool FrameBufferTest::wasPut(const std::string& name) { return stage.rendering.buffers.wasPut(indexOf(name)); }
