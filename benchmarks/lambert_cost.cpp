// What a call of the Lambert material costs: the built module, with a renderer whose functions only return what was
// made ready. Google Benchmark; names end in lights/passes.
//
//     lambert_cost [--benchmark_filter=...]
#include "SDK/lumo.h"
#include "SDK/surface_parameters.h"
#include "SDK/vexabase.h"

#include <benchmark/benchmark.h>
#include <shader.h>

#include <dlfcn.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

/// The pass types of a diffuse material in the order in which a compositor asks for them: more passes repeat them.
constexpr std::array kTypes = {0, 5, 6, 34, 3, 12, 4, 7, 8, 10, 11, 22};

constexpr miUint kShadowed = 0x80, kNotSetUp = 0x800;

/// What the renderer answers with.
struct Answers {
    void* object = nullptr;
    miInteger stage = miSTAGE_TILE;
    lumo::Vexabase record;
    PassState passes{};
    std::vector<FrameBufferInfo> entries;
    std::vector<FrameBufferSlot> slots;
    FrameBufferState frame{};
    const char* passKey = nullptr;
    const char* frameKey = nullptr;
    std::vector<miTag> lights;
    miVector toLight = {0, 0.6F, 0.8F};
} answers;

/// One entry after the other, grouped by type as the state shader groups them.
void usePasses(std::size_t count) {
    std::array<miUint, kPassTypeCount> perType{};
    for (std::size_t i = 0; i < count; ++i) ++perType[static_cast<std::size_t>(kTypes[i % kTypes.size()])];
    answers.entries.assign(count, {});
    answers.slots.assign(2 * count, {});
    miUint first = 0;
    for (std::size_t type = 0; type < kPassTypeCount; ++type) {
        answers.passes.types[type] = {perType[type], first};
        first += perType[type];
    }
    for (std::size_t i = 0; i < count; ++i) {
        FrameBufferInfo& entry = answers.entries[i];
        entry.index = static_cast<miUint>(i + 1);
        entry.flags = kShadowed;
        entry.maxReflectionLevel = entry.maxRefractionLevel = 100;
        entry.lightValue = {1, 1, 1, 1};
        entry.slots = &answers.slots[2 * i];
    }
}

}  // namespace

extern "C" {

miBoolean mi_query(miQ_type code, miState*, miTag, void* result, ...) {
    if (code == miQ_FUNC_USERPTR) {
        void** slot = &answers.object;
        std::memcpy(result, &slot, sizeof slot);
        return miTRUE;
    }
    const miInteger answer = code == miQ_STAGE ? answers.stage : 0;
    std::memcpy(result, &answer, sizeof answer);
    return code == miQ_STAGE || code == miQ_FINALGATHER_STATE;
}

void* mi_shaderstate_get(miState*, const char* key, int* size) {
    const auto give = [size](void* value, std::size_t bytes) {
        if (size) *size = static_cast<int>(bytes);
        return value;
    };
    if (key[0] == 'v') return give(&answers.record, sizeof answers.record);
    if (answers.entries.empty()) return nullptr;
    if (key == answers.passKey) return give(&answers.passes, sizeof answers.passes);
    if (key == answers.frameKey) return give(&answers.frame, sizeof answers.frame);
    return give(answers.entries.data(), answers.entries.size() * sizeof(FrameBufferInfo));
}

miBoolean mi_instance_lightlist(int* count, miTag** lights, miState*) {
    *count = static_cast<int>(answers.lights.size());
    *lights = answers.lights.data();
    return miTRUE;
}

/// One sample from the front; the light's own passes stay as they are.
miBoolean mi_sample_light(miColor* color, miVector* direction, miScalar* cosine, miState*, miTag, int* samples) {
    if (*samples > 0) return miFALSE;
    *samples = 1;
    *color = answers.record.light.color = {1, 1, 1, 1};
    *direction = answers.toLight;
    *cosine = 0.8F;
    if (!answers.entries.empty()) answers.entries[0].flags &= ~kNotSetUp;
    return miTRUE;
}

miBoolean mi_compute_avg_radiance(miColor* result, miState*, miUchar, miIrrad_options*) {
    *result = {0, 0, 0, 0};
    return miTRUE;
}

void* mi_mem_int_allocate(const char*, int, unsigned size) { return std::calloc(1, static_cast<std::size_t>(size)); }

void mi_mem_int_release(const char*, int, void* memory) { std::free(memory); }

}  // extern "C"

namespace {

struct Lambert {
    void (*init)(miState*, lumo::LambertParameters*, miBoolean*) = nullptr;
    miBoolean (*call)(void*, miState*, lumo::LambertParameters*, void*) = nullptr;

    Lambert() {
        void* module = dlopen(LUMO_LIBRARY, RTLD_NOW);
        if (!module) {
            std::fprintf(stderr, "%s\n", dlerror());
            std::exit(1);
        }
        init = reinterpret_cast<decltype(init)>(dlsym(module, "lumoVexaLambert_init"));
        call = reinterpret_cast<decltype(call)>(dlsym(module, "lumoVexaLambert"));
        answers.passKey = *static_cast<const char**>(dlsym(module, "PASS_TYPE_INFO_KEY"));
        answers.frameKey = *static_cast<const char**>(dlsym(module, "FRAME_BUFFER_STATE_KEY"));
        const auto setHandle = reinterpret_cast<void (*)(void*)>(dlsym(module, "miSetModuleHandle"));
        setHandle(dlopen(nullptr, RTLD_NOW));
    }
};

void lambert(benchmark::State& run) {
    static const Lambert shader;
    answers.lights.assign(static_cast<std::size_t>(run.range(0)), 1);
    usePasses(static_cast<std::size_t>(run.range(1)));

    miOptions options{};
    miState state{};
    state.options = &options;
    state.type = miRAY_EYE;
    state.normal = state.normal_geom = {0, 0, 1};
    state.dir = {0, 0, -1};
    state.dot_nd = -1;
    miFunction function{};
    state.shader = &function;

    lumo::LambertParameters parameters{};
    parameters.header.passWriteMode = 1;
    parameters.header.passWriteWeight = 1;
    parameters.color = {0.5F, 0.5F, 0.5F, 1};
    parameters.matteOpacityMode = 2;
    parameters.matteOpacity = 1;
    parameters.diffuse = 0.8F;
    shader.init(&state, &parameters, nullptr);

    SurfaceShaderReturnType result;
    for (auto _ : run) {
        shader.call(&result, &state, &parameters, nullptr);
        benchmark::DoNotOptimize(result);
    }
    if (run.range(0) > 0 && result.color.r <= 0) run.SkipWithError("the surface is black");
}

BENCHMARK(lambert)->ArgsProduct({{0, 1, 8}, {0, 1, 12, 36}});

}  // namespace

BENCHMARK_MAIN();
