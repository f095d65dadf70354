// What conversions of colors and color nodes cost: the built module, with a renderer whose functions only return what
// was made ready. Conversions are per color, over colors of all hues. `entry` is a call that comes as far as finding
// out that there is no per-sample record; what a node costs is what its call takes beyond that.
//
//     color_cost [--benchmark_filter=...]
#include "SDK/lumo.h"
#include "SDK/framework/vexabase.h"

#include <benchmark/benchmark.h>
#include <shader.h>

#include <dlfcn.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace {

/// What the renderer answers with.
struct Answers {
    void* object = nullptr;
    bool hasRecord = true;
    lumo::Vexabase record;
    PassState passes{};
    std::vector<FrameBufferInfo> entries;
    std::vector<FrameBufferSlot> slots;
    FrameBufferState frame{};
} answers;

void usePasses(std::size_t count) {
    answers.entries.assign(count, {});
    answers.slots.assign(2 * count, {});
    for (PassRange& range : answers.passes.types) range = {0, static_cast<miUint>(count)};
    answers.passes.types[0] = {static_cast<miUint>(count), 0};
    for (std::size_t i = 0; i < count; ++i) answers.entries[i].slots = &answers.slots[2 * i];
}

void* module() {
    static void* const loaded = [] {
        void* handle = dlopen(LUMO_LIBRARY, RTLD_NOW);
        if (!handle) {
            std::fprintf(stderr, "%s\n", dlerror());
            std::exit(1);
        }
        reinterpret_cast<void (*)(void*)>(dlsym(handle, "miSetModuleHandle"))(dlopen(nullptr, RTLD_NOW));
        return handle;
    }();
    return loaded;
}

template <class Function>
Function* function(const std::string& name) {
    return reinterpret_cast<Function*>(dlsym(module(), name.c_str()));
}

}  // namespace

extern "C" {

miBoolean mi_query(miQ_type code, miState*, miTag, void* result, ...) {
    if (code == miQ_FUNC_USERPTR) {
        void** slot = &answers.object;
        std::memcpy(result, &slot, sizeof slot);
        return miTRUE;
    }
    const miInteger stage = miSTAGE_TILE;
    std::memcpy(result, &stage, sizeof stage);
    return code == miQ_STAGE;
}

void* mi_shaderstate_get(miState*, const char* key, int* size) {
    const auto give = [size](void* value, std::size_t bytes) {
        if (size) *size = static_cast<int>(bytes);
        return value;
    };
    if (key[0] == 'v') return answers.hasRecord ? give(&answers.record, sizeof answers.record) : nullptr;
    if (answers.entries.empty()) return nullptr;
    // lumoPassState, lumoFBState, lumoFBInfo
    if (key[4] == 'P') return give(&answers.passes, sizeof answers.passes);
    if (key[6] == 'S') return give(&answers.frame, sizeof answers.frame);
    return give(answers.entries.data(), answers.entries.size() * sizeof(FrameBufferInfo));
}

void mi_warning(const char*, ...) {}

void* mi_mem_int_allocate(const char*, int, unsigned size) { return std::calloc(1, static_cast<std::size_t>(size)); }

void mi_mem_int_release(const char*, int, void* memory) { std::free(memory); }

}  // extern "C"

namespace {

void convert(benchmark::State& run, const char* name) {
    auto* conversion = function<void(const miColor*, miColor*)>(name);
    std::array<miColor, 1024> colors;
    std::mt19937 random(1);
    std::uniform_real_distribution<float> uniform;
    for (miColor& c : colors) c = {uniform(random), uniform(random), uniform(random), 1};
    miColor result{};
    for (auto _ : run) {
        for (const miColor& c : colors) {
            conversion(&c, &result);
            benchmark::DoNotOptimize(result);
        }
    }
    run.SetItemsProcessed(run.iterations() * static_cast<std::int64_t>(colors.size()));
    run.counters["per_color"] = benchmark::Counter(static_cast<double>(run.iterations()) * colors.size(),
                                                   benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK_CAPTURE(convert, rgb_to_hsv, "rgb_to_hsv");
BENCHMARK_CAPTURE(convert, hsv_to_rgb, "hsv_to_rgb");

/// The words of lumoVexaClamp, all constant; of lumoVexaBlend up to its second color.
struct NodeParameters {
    miInteger passWriteMode = 1, passWriteFlags = 0;
    miScalar passWriteWeight = 1;
    miInteger passMode = 0;
    miColor a = {.5F, .5F, .5F, 1}, b = {0, 0, 0, 0}, c = {1, 1, 1, 1};
};

void node(benchmark::State& run, const std::string& name, bool hasRecord, miInteger passMode) {
    NodeParameters parameters;
    parameters.passMode = passMode;
    usePasses(static_cast<std::size_t>(run.range(0)));
    miOptions options{};
    miFunction record{};
    miState state{};
    state.options = &options;
    state.shader = &record;
    function<void(miState*, NodeParameters*, miBoolean*)>(name + "_init")(&state, &parameters, nullptr);
    auto* call = function<miBoolean(miColor*, miState*, NodeParameters*)>(name);
    answers.hasRecord = hasRecord;
    miColor result{};
    for (auto _ : run) {
        call(&result, &state, &parameters);
        benchmark::DoNotOptimize(result);
    }
    function<void(miState*, NodeParameters*)>(name + "_exit")(&state, &parameters);
}
BENCHMARK_CAPTURE(node, entry, "lumoVexaClamp", false, 0)->Arg(0);
BENCHMARK_CAPTURE(node, clamp, "lumoVexaClamp", true, 0)->Arg(0)->Arg(36);
BENCHMARK_CAPTURE(node, clamp_all_passes, "lumoVexaClamp", true, 1)->Arg(1)->Arg(12)->Arg(36);
BENCHMARK_CAPTURE(node, blend_all_passes, "lumoVexaBlend", true, 1)->Arg(36);

}  // namespace

BENCHMARK_MAIN();
