/* How the library reaches the renderer: each test uses an instance of the module that has not called anything yet. */
#include <atomic>
#include <cstdio>
#include <dlfcn.h>
#include <thread>

#include "scene.h"

namespace {

using twin::renderer;

int occurrences(const std::string& text, const std::string& part) {
    int count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
    return count;
}

class Binding : public twin::LibraryTest {
protected:
    template <class Signature>
    Signature* function(const char* name) {
        return reinterpret_cast<Signature*>(dlsym(module_, name));
    }

    void setHandle(void* handle) { function<decltype(miSetModuleHandle)>("miSetModuleHandle")(handle); }
    void info(const std::string& text) { function<decltype(lumoInfo)>("lumoInfo")(text); }
    void warning(const std::string& text) { function<decltype(lumoWarning)>("lumoWarning")(text); }

    /* Runs the same code in two threads that start together. */
    template <class Code>
    static void race(Code code) {
        std::atomic<int> ready{0};
        const auto body = [&] {
            ++ready;
            while (ready < 2) {
            }
            code();
        };
        std::thread other(body);
        body();
        other.join();
    }

    void fresh() { module_ = twin::loadFreshLibrary(); }

private:
    void* module_ = twin::loadFreshLibrary();
};

TEST_F(Binding, WhatIsMissingIsNamedOnce) {
    const auto said = [&] {
        testing::internal::CaptureStderr();
        for (int i = 0; i < 3; ++i) {
            info("never arrives");
            warning("never arrives");
        }
        return testing::internal::GetCapturedStderr();
    };
    EXPECT_EQ(said(), "DYNLOAD: dl_handle null\nDYNLOAD: dl_handle null\n");
    EXPECT_TRUE(renderer().messages().empty());
    void* const handle = dlopen("libm.so.6", RTLD_NOW);
    void* saidHandle = nullptr;
    int error = 0;
    char end = 0;
    fresh();
    setHandle(handle);
    const std::string text = said();
    EXPECT_EQ(
        std::sscanf(text.c_str(), "dlsym failed on \"mi_info\" (handle: 0x%p, error: %d)%c", &saidHandle, &error, &end),
        3)
        << text;
    EXPECT_TRUE(saidHandle == handle && end == '\n');
    EXPECT_EQ(occurrences(text, "dlsym failed on \"mi_warning\" ("), 1) << text;
    EXPECT_EQ(occurrences(text, "\n"), 2) << text;
}

TEST_F(Binding, MissingFunctionsGiveZeroAndNobodyCrashes) {
    setHandle(dlopen("libm.so.6", RTLD_NOW));
    testing::internal::CaptureStderr();
    miTag found = 5;
    EXPECT_EQ(function<decltype(get_userdata)>("get_userdata")(1, miSCENE_OBJECT, 3, &found, nullptr), nullptr);
    PassState* passes = nullptr;
    FrameBufferInfo* entries = nullptr;
    EXPECT_EQ(function<decltype(getFrameBufferInfo)>("getFrameBufferInfo")(state, &passes, &entries), 0u);
    EXPECT_EQ(function<decltype(getNamedFrameBufferID)>("getNamedFrameBufferID")(state, 3), 0u);
    EXPECT_EQ(function<decltype(get_tla)>("get_tla")(state->global_lock, 1, 16), nullptr);

    // A shader with an object: neither init nor the call nor exit finds anything to work with.
    twin::ShaderInstance<std::array<miInteger, 16>> shader;
    stage.run(shader);
    using Init = void(miState*, void*, miBoolean*);
    using Call = miBoolean(void*, miState*, void*);
    using Exit = void(miState*, void*);
    function<Init>("lumoPassUV_init")(state, shader.parameters(), nullptr);
    EXPECT_EQ(function<Call>("lumoPassUV")(nullptr, state, shader.parameters()), miFALSE);
    function<Exit>("lumoPassUV_exit")(state, shader.parameters());
    testing::internal::GetCapturedStderr();
}

TEST_F(Binding, ParametersFallBackToStoredValuesWithoutEvaluation) {
    // This renderer has a shader-state entry (the record in state->user), but can evaluate nothing.
    setHandle(dlopen(LUMO_PARTIAL_RENDERER, RTLD_NOW));
    alignas(16) miUint record[twin::kVexabaseWords] = {};
    state->user = record;
    struct Parameters {
        miColor color;
        miScalar alpha;
    };
    twin::ShaderInstance<Parameters> shader({{0.25f, 0.5f, 0.75f, 0}, 0.125f});
    stage.run(shader);
    shader.setGhost(&shader->color, 40);
    shader.setGhost(&shader->alpha, 41);
    shader.function().has_connections = 1;

    miColor result = {9, 9, 9, 9};
    using Engine = miBoolean(miColor*, miState*, Parameters*);
    testing::internal::CaptureStderr();
    EXPECT_EQ(function<Engine>("lumoVexaSimpleShadingEngine")(&result, state, shader.parameters()), miTRUE);
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_EQ(occurrences(said, "mi_phen_eval"), 1) << said;
    EXPECT_EQ(result.g, 0.5f);
    EXPECT_EQ(result.a, 0.125f);
}

TEST_F(Binding, TwoThreadsMayRaceAtFirstUse) {
    setHandle(dlopen(nullptr, RTLD_NOW));
    race([&] {
        for (int i = 0; i < 50; ++i) info("hello");
    });
    EXPECT_EQ(renderer().messageCount("info", "hello"), 100);
    fresh();
    setHandle(dlopen("libm.so.6", RTLD_NOW));
    testing::internal::CaptureStderr();
    race([&] { info("never arrives"); });
    EXPECT_EQ(occurrences(testing::internal::GetCapturedStderr(), "dlsym failed"), 1);
}

}  // namespace
