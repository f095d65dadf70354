// What a call of a surface material costs: the built module, with a renderer whose functions only return what was made
// ready. Google Benchmark; names end in lights/passes. A table at the end sums up: one light without passes, what each
// pass adds, and both as multiples of what lumoVexaLambert takes.
//
//     material_cost [--benchmark_filter=Lambert]
#include "SDK/lumo.h"
#include "SDK/surface/surface_gloss.h"
#include "SDK/framework/vexabase.h"

#include <benchmark/benchmark.h>
#include <shader.h>

#include <dlfcn.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace {

/// The pass types of a material in the order in which a compositor asks for them: more passes repeat them.
constexpr std::array kTypes = {0, 5, 6, 34, 3, 12, 4, 7, 8, 10, 11, 22};

/// Of materials of other libraries, in bytes: the architectural one's.
constexpr miInteger kOtherResult = 372;

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
    if (code == miQ_HAIR_NUM_TEXTURES) return miFALSE;
    if (code == miQ_FUNC_USERPTR) {
        void** slot = &answers.object;
        std::memcpy(result, &slot, sizeof slot);
        return miTRUE;
    }
    if (code == miQ_FUNC_CALLTYPE) return miFALSE;
    const bool isSize = code == miQ_FUNC_RESULT_SIZE;
    const miInteger answer = code == miQ_STAGE ? answers.stage : isSize ? kOtherResult : 0;
    if (code == miQ_DECL_PARAM) return miFALSE;
    std::memcpy(result, &answer, sizeof answer);
    return code == miQ_STAGE || code == miQ_FINALGATHER_STATE || isSize;
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

/// A material of another library, which takes no time.
miBoolean mi_call_shader_x(miColor* result, miShader_type, miState*, miTag, void*) {
    *result = {0.5F, 0.5F, 0.5F, 1};
    return miTRUE;
}

miBoolean mi_sample(double* sample, int*, miState*, miUshort dimensions, const miUint*) {
    for (miUshort k = 0; k < dimensions; ++k) sample[k] = 0.25;
    return miTRUE;
}

void mi_point_to_world(const miState*, miVector* to, const miVector* from) { *to = *from; }
void mi_vector_to_world(const miState*, miVector* to, const miVector* from) { *to = *from; }

void mi_info(const char*, ...) {}

miBoolean mi_compute_avg_radiance(miColor* result, miState*, miUchar, miIrrad_options*) {
    *result = {0, 0, 0, 0};
    return miTRUE;
}

void* mi_mem_int_allocate(const char*, int, unsigned size) { return std::calloc(1, static_cast<std::size_t>(size)); }

void mi_mem_int_release(const char*, int, void* memory) { std::free(memory); }

}  // extern "C"

namespace {

/// What the materials' records hold: the common parameters, those of highlights and mirrors, and words of their own.
union Word {
    miScalar scalar;
    miInteger integer;
};

struct Parameters {
    lumo::LambertParameters surface;
    lumo::GlossParameters gloss;
    std::array<Word, 56> own;
};
static_assert(sizeof(Parameters) ==
              sizeof(lumo::LambertParameters) + sizeof(lumo::GlossParameters) + 56 * sizeof(Word));

/// A matt gray with a highlight and no mirror: every material of the frame takes it with the same common parameters.
Parameters surface(std::initializer_list<miScalar> own) {
    Parameters p{};
    p.surface.header.passWriteMode = 1;
    p.surface.header.passWriteWeight = 1;
    p.surface.color = {0.5F, 0.5F, 0.5F, 1};
    p.surface.matteOpacityMode = 2;
    p.surface.matteOpacity = 1;
    p.surface.diffuse = 0.8F;
    p.gloss.specularColor = {0.5F, 0.5F, 0.5F, 1};
    p.gloss.secondarySpecularScale = 1;
    p.gloss.reflectedColor = {1, 1, 1, 1};
    std::size_t k = 0;
    for (const miScalar value : own) p.own[k++].scalar = value;
    return p;
}

/// Blinn with ramps of one entry: of color by the light angle, of incandescence by the facing angle, and of highlights.
Parameters ramps() {
    Parameters p = surface({0.3F, 0.7F});
    p.own[3].integer = 1;
    for (const std::size_t ramp : {4, 20, 28}) {
        p.own[ramp + 1].integer = 1;
        for (std::size_t k = 3; k < 7; ++k) p.own[ramp + k].scalar = 0.5F;
    }
    return p;
}

/// What fibres have behind the common parameters: gray from root to tip, opaque, and a white highlight; words of their own.
Parameters fibre(std::initializer_list<miScalar> own) {
    Parameters p = surface({});
    p.surface.translucence = 0.5F;
    std::vector<miScalar> words(12, 1);
    words.insert(words.end(), {0.4F, 0.5F, 1, 1, 1, 1, 1});
    words.insert(words.end(), own);
    std::memcpy(&p.gloss, words.data(), words.size() * sizeof(miScalar));
    return p;
}

/// The sea as declared, sharp: all of its waves count.
Parameters ocean() {
    Parameters p = surface({0.02F, 0, 0, 0, 0, 0});
    constexpr std::array<miScalar, 16> kWaves = {1, 0, 64, 0, 0.1F, 100, 0, 10, 1e5F, 0, 30, 0, 0, 0.5F, 0.2F, 0.8F};
    for (std::size_t k = 0; k < kWaves.size(); ++k) p.own[k + 7].scalar = kWaves[k];
    p.own[9].integer = 64;
    p.own[10].integer = p.own[13].integer = 0;
    p.own[38].scalar = 1;
    p.surface.refractiveIndex = 1.33F;
    return p;
}

/// One even ball around the eye, of which lights are asked at six points.
Parameters volume() {
    std::vector<Word> block(66, Word{.integer = 0});
    const auto put = [&block](std::size_t first, std::initializer_list<miScalar> values) {
        for (const miScalar value : values) block[first++] = Word{.scalar = value};
    };
    block[1] = Word{.integer = 1};
    put(20, {1, 0.5F, 0.5F, 0.5F, 0, 1, 1, 1, 0});
    put(37, {1, 0, 1, 0.5F});
    Parameters p{};
    std::memcpy(&p, block.data(), block.size() * sizeof(Word));
    return p;
}

/// A color operation, which begins with the header and the pass mode.
Parameters operation(miInteger passMode, std::initializer_list<Word> words) {
    Parameters p{};
    std::vector<Word> block = {{.integer = 1}, {.integer = 0}, {.scalar = 1}, {.integer = passMode}};
    block.insert(block.end(), words);
    std::memcpy(&p, block.data(), block.size() * sizeof(Word));
    return p;
}

constexpr Word one{.scalar = 1}, half{.scalar = 0.5F}, none{.integer = 0};

constexpr Word two{.integer = 2}, other{.integer = 5};

/// One asset and no names.
Parameters binder() {
    Parameters p{};
    constexpr std::array<Word, 3> kBlock = {none, Word{.integer = 1}, other};
    std::memcpy(&p, kBlock.data(), sizeof kBlock);
    return p;
}

struct Material {
    const char* name;
    bool lit;
    Parameters parameters;
};

const std::array kMaterials = {
    Material{"lumoVexaLambert", true, surface({})},
    Material{"lumoVexaPhong", true, surface({20})},
    Material{"lumoVexaPhongE", true, surface({0.5F, 0.5F, 1, 1, 1, 1})},
    Material{"lumoVexaBlinn", true, surface({0.3F, 0.7F})},
    Material{"lumoVexaRampShader", true, ramps()},
    Material{"lumoVexaAnisotropic", true, surface({30, 4, 1, 0.7F, 6})},
    Material{"lumoVexaOceanShader", true, ocean()},
    Material{"lumoVexaHairTubeShader", true, surface({0, 40, -0.05F, 0.25F, 0.25F, 0.25F, 1, 15, 0.1F, 1, 1, 1, 1})},
    Material{"lumoVexaFur", true, fibre({30, 0, 1, 0.01F, 0.01F, 30, 0})},
    Material{"lumoVexaHairShader", true, fibre({1, 1, 1, 1, 0.25F, 0.35F, 3, 1.55F})},
    Material{"lumoVexaVolumeEngine", true, volume()},
    // Two layers without shaders behind them: what remains is the layering itself, of the color and of each pass.
    Material{"lumoVexaLayeredShader", false, operation(1, {none, none, Word{.integer = 2},  //
                                                           half, half, half,
                                                           one,  half, half,
                                                           half, one,  none,
                                                           none, none, none,  //
                                                           half, half, half,
                                                           one,  none, none,
                                                           none, none, none,
                                                           none, none, none})},
    Material{"lumoVexaSurfaceShader", false,
             operation(3, {half, half, half, one, none, none, none, none, none, none, none, none, one, one, one, one})},
    // Over a known plate; a surface without a map; other libraries' shaders that take no time: what remains is the frame.
    Material{"lumoVexaUseBackground", false,
             operation(1, {half, half, half, one,  one,  none, none, none, none, none, none,
                           none, none, none, none, none, none, none, none, two,  one,  none})},
    Material{"lumoVexaShadingMap", false, operation(1, {half, half, half, one, none, none, none, none, one, one})},
    Material{"lumoVexaAssetBinder", false, binder()},
    Material{"lumoVexaMiaMaterialXAdapter", false, operation(other.integer, {two, one})},
};

struct Module {
    void* handle = dlopen(LUMO_LIBRARY, RTLD_NOW);

    Module() {
        if (!handle) {
            std::fprintf(stderr, "%s\n", dlerror());
            std::exit(1);
        }
        answers.passKey = *static_cast<const char**>(symbol("PASS_TYPE_INFO_KEY"));
        answers.frameKey = *static_cast<const char**>(symbol("FRAME_BUFFER_STATE_KEY"));
        const auto setHandle = reinterpret_cast<void (*)(void*)>(symbol("miSetModuleHandle"));
        setHandle(dlopen(nullptr, RTLD_NOW));
    }

    void* symbol(const std::string& name) const {
        void* found = dlsym(handle, name.c_str());
        if (!found) {
            std::fprintf(stderr, "The module has no %s.\n", name.c_str());
            std::exit(1);
        }
        return found;
    }
};

void material(benchmark::State& run, const Material& what) {
    static const Module module;
    const std::string name = what.name;
    const auto init = reinterpret_cast<void (*)(miState*, Parameters*, miBoolean*)>(module.symbol(name + "_init"));
    const auto exit = reinterpret_cast<void (*)(miState*, Parameters*)>(module.symbol(name + "_exit"));
    const auto call = reinterpret_cast<miBoolean (*)(void*, miState*, Parameters*, void*)>(module.symbol(name));
    answers.lights.assign(static_cast<std::size_t>(run.range(0)), 1);
    usePasses(static_cast<std::size_t>(run.range(1)));

    miOptions options{};
    miState state{};
    state.options = &options;
    state.type = miRAY_EYE;
    state.normal = state.normal_geom = {0, 0, 1};
    state.dir = {0, 0, -1};
    state.dot_nd = -1;
    std::array<miVector, 2> derivatives = {{{1, 0, 0}, {0, 1, 0}}};
    miVector place = {0.5F, 0.5F, 0};
    state.derivs = derivatives.data();
    state.tex_list = &place;
    miFunction function{};
    state.shader = &function;

    Parameters parameters = what.parameters;
    answers.object = nullptr;
    init(&state, &parameters, nullptr);
    struct {
        SurfaceShaderReturnType surface;
        std::array<miScalar, 16> more; /* of materials with further outputs */
    } result{};
    for (auto _ : run) {
        call(&result, &state, &parameters, nullptr);
        benchmark::DoNotOptimize(result);
    }
    if ((run.range(0) > 0 || !what.lit) && result.surface.color.r <= 0) run.SkipWithError("the surface is black");
    exit(&state, &parameters);
}

/// Keeps what was measured, for the table.
class Summary : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs)
            if (!run.error_occurred && run.run_type == Run::RT_Iteration)
                times_[run.benchmark_name()] = run.GetAdjustedCPUTime();
        ConsoleReporter::ReportRuns(runs);
    }

    void print() const {
        std::printf("\n%-24s %10s %9s %10s %9s\n", "ns per call, one light", "no passes", "x Lambert", "per pass",
                    "x Lambert");
        const auto [lambert, lambertPass] = costOf(kMaterials[0].name);
        for (const Material& what : kMaterials)
            if (const auto [call, pass] = costOf(what.name); call > 0)
                std::printf("%-24s %10.1f %9.2f %10.2f %9.2f\n", what.name, call, lambert > 0 ? call / lambert : 0,
                            pass, lambertPass > 0 ? pass / lambertPass : 0);
    }

private:
    /// Nanoseconds of a call with one light and no passes, and of each pass of 36. 0 where it was not measured.
    std::pair<double, double> costOf(const std::string& name) const {
        const auto bare = times_.find(name + "/1/0"), full = times_.find(name + "/1/36");
        if (bare == times_.end()) return {0, 0};
        return {bare->second, full == times_.end() ? 0 : (full->second - bare->second) / 36};
    }

    std::map<std::string, double> times_;
};

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    for (const Material& what : kMaterials)
        benchmark::RegisterBenchmark(what.name, material, what)->ArgsProduct({{0, 1, 8}, {0, 1, 12, 36}});
    Summary summary;
    benchmark::RunSpecifiedBenchmarks(&summary);
    summary.print();
}
