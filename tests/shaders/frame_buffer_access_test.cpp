/* Access to the published records; the two small frame-buffer shaders. */
#include "frame_buffer_scene.h"

namespace {

using twin::renderer;

class FrameBufferAccess : public FrameBufferTest {
protected:
    FrameBufferAccess() {
        addRecord("a", 0);
        addRecord("b", 34);
        attach();
        initState();
        beginSample();
    }

    void republish(const char* key, int size) {
        std::vector<std::byte> value(static_cast<std::size_t>(size) + 1);
        int known = 0;
        const void* old = stage.rendering.entries.get(key, &known);
        std::memcpy(value.data(), old, static_cast<std::size_t>(std::min(size, known)));
        stage.rendering.entries.set(key, value.data(), size, miSS_LIFETIME_RECT);
    }

    /* How many entries are reported; none are reported with both pointers null. */
    std::size_t count() {
        PassState* passState = &unused_;
        FrameBufferInfo* first = reinterpret_cast<FrameBufferInfo*>(this);
        const miUint result = library::getFrameBufferInfo(state, &passState, &first);
        EXPECT_EQ(first != nullptr, result != 0);
        return result;
    }

    /* The state shader's own exit relies on sound records. */
    void TearDown() override {
        stateIsOpen = false;
        expectedAllocations = renderer().memory.liveAllocations();
        FrameBufferTest::TearDown();
    }

private:
    PassState unused_{};
};

TEST_F(FrameBufferAccess, NeedsRecordsThatFitEachOther) {
    EXPECT_EQ(count(), 2u);
    for (int size : {279, 281}) {
        republish("lumoPassState", size);
        EXPECT_EQ(count(), 0u);
    }
    republish("lumoPassState", 280);
    for (int size : {207, 209, 104}) {
        republish("lumoFBInfo", size);
        EXPECT_EQ(count(), 0u);
    }
    republish("lumoFBInfo", 208);
    EXPECT_EQ(count(), 2u);

    stage.rendering.entries.set("lumoFBInfo", nullptr, 0, 0);
    EXPECT_EQ(count(), 0u);
    stage.rendering.entries.set("lumoPassState", nullptr, 0, 0);
    EXPECT_EQ(count(), 0u);
}

TEST_F(FrameBufferAccess, IsClosedWhileInUseAndOutsideTiles) {
    publishedEntries()[0].flags |= 0x2000;
    EXPECT_EQ(count(), 0u);
    publishedEntries()[0].flags &= ~0x2000u;
    publishedEntries()[1].flags |= 0x2000;
    EXPECT_EQ(count(), 2u) << "only the first entry's bit counts";

    for (int stageBits : {0, 2, 3, 64}) {
        renderer().queries.answer(miQ_STAGE, stageBits);
        EXPECT_EQ(count(), 0u) << stageBits;
        EXPECT_EQ(library::getFrameBufferState(state), nullptr) << stageBits;
    }
    renderer().queries.refuse(miQ_STAGE);
    EXPECT_EQ(count(), 0u);
    EXPECT_EQ(library::getFrameBufferState(state), nullptr);
}

TEST_F(FrameBufferAccess, StateMustHaveItsSize) {
    EXPECT_EQ(library::getFrameBufferState(state), stage.rendering.entries.get("lumoFBState", nullptr));
    for (int size : {19, 21}) {
        republish("lumoFBState", size);
        EXPECT_EQ(library::getFrameBufferState(state), nullptr);
    }
}

class StateShaders : public FrameBufferTest {
protected:
    struct InitParameters {
        miInteger buffer;
        miColor value;
    };
    const twin::ShaderEntry<InitParameters> fill{"lumoFrameBufferInit"};
};

TEST_F(StateShaders, CheckTheirRole) {
    for (const char* name : {"lumoFrameBufferState", "lumoFrameBufferInit"}) {
        const StateShader shader(name);
        const std::string complaint = std::string(name) +
                                      "(): Not invoked as state shader.\n"
                                      "Could be a version mismatch. Re-export the .mi";
        miBoolean wantsInstances = 9;
        shader.init(state, nullptr, &wantsInstances);
        EXPECT_EQ(wantsInstances, miFALSE);
        EXPECT_EQ(renderer().messageCount("error", complaint), 0);

        renderer().queries.answer(miQ_FUNC_CALLTYPE, static_cast<miInteger>(miSHADER_MATERIAL));
        wantsInstances = 9;
        shader.init(state, nullptr, &wantsInstances);
        EXPECT_EQ(wantsInstances, miFALSE);
        EXPECT_EQ(renderer().messageCount("error", complaint), 1);
        renderer().queries.answer(miQ_FUNC_CALLTYPE, static_cast<miInteger>(miSHADER_STATE));
    }
}

TEST_F(StateShaders, FillABufferBeforeEachSample) {
    addPass("first");
    addPass("background");
    attach();
    twin::ShaderInstance<InitParameters> shader{InitParameters{0, {1, 2, 3, 4}}};
    stage.run(shader);
    miInteger second = 1;
    const auto& connection = shader.connect(&shader->buffer, &second);
    const auto operate = [&](int operation) {
        OperationArgument argument{operation, miTRUE};
        return fill.call(nullptr, state, shader.parameters(), &argument);
    };
    for (int operation : {0, 1, 3}) EXPECT_EQ(operate(operation), miTRUE);
    renderer().queries.answer(miQ_STAGE, static_cast<miInteger>(miSTAGE_FINALGATHER));
    EXPECT_EQ(operate(2), miTRUE);
    EXPECT_FALSE(wasPut("background"));

    renderer().queries.answer(miQ_STAGE, static_cast<miInteger>(miSTAGE_TILE));
    EXPECT_EQ(operate(2), miTRUE);
    EXPECT_EQ(connection.evaluations, 1);
    EXPECT_COLOR(buffer("background"), 1, 2, 3, 4);
    EXPECT_FALSE(wasPut("first"));

    second = 2;  // beyond the list: nothing is written, above all not the primary buffer 0
    stage.rendering.buffers.sizes[0] = sizeof(miColor);
    EXPECT_EQ(operate(2), miTRUE);
    EXPECT_FALSE(stage.rendering.buffers.wasPut(0));
}

/* Beauty and beauty without shadow take what the eye ray sees where there is no surface to say it. */
class FrameBufferLens : public FrameBufferTest {
protected:
    const twin::ShaderEntry<void, miColor> lens{"lumoFrameBufferLens"};
    miColor result = {0, 0, 0, 0};

    FrameBufferLens() {
        for (int type : {0, 0, 1, 33, 34}) addRecord("buffer" + std::to_string(records.size()), type);
        attach();
        initState();
        beginSample();
        state->org = {1, 2, 3};
        state->dir = {0, 1, 0};
    }

    miBoolean look(miTag hit, miBoolean success) {
        renderer().tracing.eye = [=](miColor* color, miState* eye, const miVector* org, const miVector* dir) {
            EXPECT_EQ(org->y, 2);
            EXPECT_EQ(dir->y, 1);
            *color = {0.1f, 0.2f, 0.3f, 0.4f};
            eye->instance = hit;
            return success;
        };
        return lens.call(&result, state, nullptr, nullptr);
    }
};

TEST_F(FrameBufferLens, SeedsBeautyWithTheEnvironment) {
    EXPECT_EQ(look(miNULLTAG, miTRUE), miTRUE);
    EXPECT_COLOR(result, 0.1f, 0.2f, 0.3f, 0.4f);
    for (std::size_t k : {0u, 1u, 4u}) EXPECT_COLOR(entry(k).slots[0].color, 0.1f, 0.2f, 0.3f, 0.4f);
    for (std::size_t k : {2u, 3u}) EXPECT_COLOR(entry(k).slots[0].color, 0, 0, 0, 0);
}

TEST_F(FrameBufferLens, LeavesSurfacesAndFailuresAlone) {
    EXPECT_EQ(look(5, miTRUE), miTRUE);
    EXPECT_EQ(look(miNULLTAG, miFALSE), miFALSE);
    for (std::size_t k = 0; k < 5; ++k) EXPECT_COLOR(entry(k).slots[0].color, 0, 0, 0, 0);
}

}  // namespace
