/* A camera with frame buffers: the data block that lists them, built word by word, and the state shader that reads it. */
#pragma once

#include <array>
#include <span>
#include <string>
#include <vector>

#include "scene.h"

/* One record of the block: name, a boolean, eight numbers that become flags, four levels, the identifier. */
struct RecordWords {
    std::array<miUint, 15> words{};

    RecordWords& name(miTag tag) { return words[0] = tag, *this; }
    RecordWords& composited() { return words[1] = 1, *this; }
    RecordWords& flag(std::size_t which, int value) { return words[2 + which] = static_cast<miUint>(value), *this; }
    RecordWords& shadowed() { return flag(6, 1); }
    RecordWords& levels(miUint a, miUint b, miUint c, miUint d) {
        words[10] = a, words[11] = b, words[12] = c, words[13] = d;
        return *this;
    }
    RecordWords& identifier(miUint value) { return words[14] = value, *this; }
};

/* What state shaders get as their fourth argument, with room for operations that do not exist. */
struct OperationArgument {
    int operation;
    miBoolean shaderReturn;
};

class FrameBufferTest : public twin::LibraryTest {
public:
    FrameBufferTest();

protected:
    void TearDown() override;

    /* Buffers get the renderer's indices 1, 2 ... in order; passes are those that pass shaders write. */
    miTag addBuffer(const std::string& name);
    void addPass(const std::string& name) { passNames.push_back(addBuffer(name)); }
    /* Types must not fall from one record to the next. */
    RecordWords& addRecord(const std::string& name, int type);

    /* Records "pass0", "pass1" ... of these types for all levels, up to the first sample; then all get the flags. */
    void open(const std::vector<int>& types, miUint flags = 0);

    /* The block's words, the arrays' elements behind the fixed part. */
    std::vector<miUint> blockWords() const;
    void attach(const std::vector<miUint>& words) { stage.camera.userdata = renderer().database.addUserdata(words); }
    void attach() { attach(blockWords()); }

    /* Calls lumoFrameBufferState. State exit is run at the end of the test when nobody has done it. */
    miBoolean operate(int operation, miBoolean shaderReturn = miTRUE);
    void initState();
    void exitState();
    void beginSample();
    miBoolean endSample() { return operate(miSTATE_SHADER_SAMPLE_EXIT); }

    std::span<FrameBufferInfo> entries();
    FrameBufferInfo& entry(std::size_t index) { return entries()[index]; }
    /* Also while getFrameBufferInfo reports none. */
    FrameBufferInfo* publishedEntries() { return published<FrameBufferInfo>("lumoFBInfo"); }
    FrameBufferState& frame() { return *published<FrameBufferState>("lumoFBState"); }
    const PassState& passes() { return *published<PassState>("lumoPassState"); }
    template <class Record>
    Record* published(const char* key) {
        return static_cast<Record*>(stage.rendering.entries.get(key, nullptr));
    }
    int indexOf(const std::string& name) { return static_cast<int>(renderer().bufferNames.at(name)); }
    miColor buffer(const std::string& name) { return stage.rendering.buffers.value(indexOf(name)).color; }
    bool wasPut(const std::string& name) { return stage.rendering.buffers.wasPut(indexOf(name)); }
    /* An instance with this pass mask in its parameters. */
    miTag masked(const std::string& mask) {
        return renderer().database.addInstance(miNULLTAG, {renderer().database.addString(mask)});
    }
    void setStage(int bits) { renderer().queries.answer(miQ_STAGE, static_cast<miInteger>(bits)); }

    static twin::Renderer& renderer() { return twin::renderer(); }

    std::vector<miTag> passNames;
    std::vector<RecordWords> records;
    std::vector<miUint> typeCounts = std::vector<miUint>(35, 0);
    bool stateIsOpen = false;
};

/* Tests of colors, channel by channel. */
#define EXPECT_COLOR(actual, R, G, B, A) \
    do {                                 \
        const miColor color = (actual);  \
        EXPECT_FLOAT_EQ(color.r, (R));   \
        EXPECT_FLOAT_EQ(color.g, (G));   \
        EXPECT_FLOAT_EQ(color.b, (B));   \
        EXPECT_FLOAT_EQ(color.a, (A));   \
    } while (false)
