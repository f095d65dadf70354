// What a call of a base shader costs: the built module, with a renderer whose functions only return what was made ready,
// and counts how often it is asked. Google Benchmark; a table at the end sums up. Memory taken by a call is an error.
//
//     base_cost [--benchmark_filter=illum]
#include <benchmark/benchmark.h>
#include <shader.h>

#include <dlfcn.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

namespace {

/// How often the renderer was asked for something.
struct Asked {
    long queries = 0, pictures = 0, rays = 0, lights = 0, memory = 0;
} asked;

miTag oneLight[1] = {1};
miVector toLight = {0, 0.6F, 0.8F};
miState met{};

miBoolean seen(miColor* result, miState* state) {
    ++asked.rays;
    state->child = &met;
    *result = {0.5F, 0.5F, 0.5F, 1};
    return miTRUE;
}

}  // namespace

extern "C" {

miBoolean mi_query(miQ_type code, miState*, miTag, void* result, ...) {
    ++asked.queries;
    const miInteger count = 1;
    const miVector axis = {0, 0, -1};
    if (code == miQ_NUM_TEXTURES) return std::memcpy(result, &count, sizeof count), miTRUE;
    if (code == miQ_LIGHT_DIRECTION || code == miQ_LIGHT_NORMAL) return std::memcpy(result, &axis, sizeof axis), miTRUE;
    return miFALSE;
}

miBoolean mi_instance_lightlist(int* count, miTag** lights, miState*) {
    *count = 1;
    *lights = oneLight;
    return miTRUE;
}
miBoolean mi_inclusive_lightlist(int*, miTag**, miState*) { return miTRUE; }
miBoolean mi_exclusive_lightlist(int*, miTag**, miState*) { return miTRUE; }

miBoolean mi_sample_light(miColor* color, miVector* direction, miScalar* cosine, miState*, miTag, int* samples) {
    if (*samples > 0) return miFALSE;
    ++asked.lights;
    *samples = 1;
    *color = {1, 1, 1, 1};
    *direction = toLight;
    *cosine = 0.8F;
    return miTRUE;
}

miBoolean mi_sample(double* sample, int* taken, miState*, miUshort dimensions, const miUint* count) {
    for (miUshort k = 0; k < dimensions; ++k) sample[k] = 0.25;
    return !count || static_cast<miUint>((*taken)++) < *count;
}

miBoolean mi_lookup_color_texture(miColor* color, miState*, miTag, miVector* place) {
    ++asked.pictures;
    *color = {place->x, place->y, 0.5F, 1};
    return miTRUE;
}
miBoolean mi_trace_reflection(miColor* result, miState* state, const miVector*) { return seen(result, state); }
miBoolean mi_trace_refraction(miColor* result, miState* state, const miVector*) { return seen(result, state); }
miBoolean mi_trace_transparent(miColor* result, miState* state) { return seen(result, state); }
miBoolean mi_trace_continue(miColor* result, miState* state) { return seen(result, state); }
miBoolean mi_trace_environment(miColor* result, miState* state, const miVector*) { return seen(result, state); }
miBoolean mi_trace_probe(miState*, const miVector*, const miVector*) { return ++asked.rays, miFALSE; }
miBoolean mi_trace_shadow(miColor*, miState*) { return ++asked.rays, miTRUE; }
miBoolean mi_compute_avg_radiance(miColor* result, miState*, miUchar, miIrrad_options*) {
    *result = {0.1F, 0.1F, 0.1F, 1};
    return miTRUE;
}
miScalar mi_phong_specular(miScalar exponent, miState*, const miVector*) { return std::pow(0.9F, exponent); }
miScalar mi_unoise_3d(miVector* point) { return point->x - std::floor(point->x); }
miScalar mi_noise_3d(miVector* point) { return point->x - std::floor(point->x); }

// Spaces are all the same.
void mi_point_to_world(const miState*, miVector* to, const miVector* from) { *to = *from; }
void mi_point_to_camera(const miState*, miVector* to, const miVector* from) { *to = *from; }
void mi_point_to_object(const miState*, miVector* to, const miVector* from) { *to = *from; }
void mi_vector_to_world(const miState*, miVector* to, const miVector* from) { *to = *from; }
void mi_vector_to_camera(const miState*, miVector* to, const miVector* from) { *to = *from; }
void mi_vector_to_object(const miState*, miVector* to, const miVector* from) { *to = *from; }
void mi_vector_to_light(const miState*, miVector* to, const miVector* from) { *to = *from; }
void mi_normal_to_world(const miState*, miVector* to, const miVector* from) { *to = *from; }
void mi_normal_to_camera(const miState*, miVector* to, const miVector* from) { *to = *from; }
void mi_normal_to_object(const miState*, miVector* to, const miVector* from) { *to = *from; }
void mi_vector_from_world(const miState*, miVector* to, const miVector* from) { *to = *from; }

void* mi_mem_int_allocate(const char*, int, unsigned size) { return ++asked.memory, std::calloc(1, size); }
void mi_mem_int_release(const char*, int, void* memory) { std::free(memory); }

}  // extern "C"

namespace {

union Word {
    miScalar scalar;
    miInteger integer;

    constexpr Word(double value) : scalar(static_cast<miScalar>(value)) {}
    constexpr Word(int value) : integer(value) {}
};

struct Shader {
    const char* name;
    miRay_type ray;
    std::vector<Word> block;
};

/// Colors, each of three or four words, and other words behind each other.
std::vector<Word> words(std::initializer_list<std::vector<Word>> parts) {
    std::vector<Word> all;
    for (const auto& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
}

const std::vector<Word> kGray = {.5, .5, .5, 1.}, kWhite = {1., 1., 1., 1.}, kNone = {0, 0, 0, 0};
/// The lights of the instance.
const std::vector<Word> kLights = {4, 0, 0, 0};

/// A block of the architectural material: a varnished surface with its default curve, under the lights of the instance.
std::vector<Word> architectural() {
    std::vector<Word> block(96, Word(0));
    const std::map<std::size_t, Word> given = {{0, 1.},  {1, .5},  {2, .5},  {3, .5},  {4, 1.},  {6, .6},  {7, 1.},
                                               {8, 1.},  {9, 1.},  {10, 1.}, {11, 1.}, {12, 8},  {31, 1.}, {33, -1},
                                               {35, .2}, {36, 1.}, {37, 5.}, {38, 1},  {84, 1.}, {85, 1.}, {92, 4}};
    for (const auto& [place, word] : given) block[place] = word;
    return block;
}

const std::array kShaders = {
    Shader{"mib_illum_lambert", miRAY_EYE, words({kGray, kGray, kGray, kLights})},
    Shader{"mib_illum_phong", miRAY_EYE, words({kGray, kGray, kGray, kGray, {20.}, kLights})},
    Shader{"mib_light_point", miRAY_LIGHT, words({kWhite, {1, .25, 1, 1., 20.}})},
    Shader{"mib_light_spot", miRAY_LIGHT, words({kWhite, {1, .25, 1, 1., 20., .9}})},
    Shader{"mib_light_infinite", miRAY_LIGHT, words({kWhite, {1, .25}})},
    Shader{"mia_physicalsun", miRAY_LIGHT,
           words({{1, 1.}, kWhite, {1., 0., 1., 0., 0., 1}, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0.}})},
    Shader{"mia_physicalsky", miRAY_EYE,
           words({{1, 1.},
                  kWhite,
                  {1., 0., 1., 0., .1},
                  kGray,
                  kNone,
                  {.5, .5, .7, 0, 1., 4., 1., 0, 0, 0., 1, 0, 0},
                  {0., 0., 0., 0., 0., 0., 0.}})},
    Shader{"mib_shadow_transparency", miRAY_SHADOW, words({kWhite, kGray, {0, 0, 0, 0}})},
    Shader{"mib_texture_vector", miRAY_EYE, {0, 0, 0, 0}},
    Shader{"mib_texture_remap", miRAY_EYE,
           words({{.5, .5, 0.},
                  std::vector<Word>(16, Word(0)),
                  {4., 4., 1., 1, 0, 0, 1, 1, 0, 0., 0., 0., 1., 1., 1., 0., 0., 0.}})},
    Shader{"mib_texture_lookup", miRAY_EYE, {1, .5, .5, 0.}},
    Shader{"mib_lightmap_sample", miRAY_EYE, {1, .5, .5, 0., 0}},
    Shader{"mib_texture_checkerboard", miRAY_EYE,
           words({{.5, .5, 0., .5, .5, .5}, kGray, kGray, kGray, kGray, kGray, kGray, kGray, kGray})},
    Shader{"mib_lookup_spherical", miRAY_EYE, {0., 0., 0., 0., 1}},
    Shader{
        "mib_passthrough_bump_map", miRAY_EYE, {1., 0., 0., 0., 1., 0., .5, .5, 0., .01, .01, 0., 1., 0, 0, 0, 1, 0}},
    Shader{"mib_color_mix", miRAY_EYE,
           words({{1, 4, 0, 0, 0, 0, 0, 0, 0, 1., 0., 0., 0., 0., 0., 0., 0.},
                  kGray,
                  kGray,
                  kGray,
                  kGray,
                  kGray,
                  kGray,
                  kGray,
                  kGray,
                  kGray})},
    Shader{"mib_reflect", miRAY_EYE, words({kGray, kGray, {0}})},
    Shader{"mib_refract", miRAY_EYE, words({kGray, kGray, {1.5}})},
    Shader{"mib_transparency", miRAY_EYE, words({kGray, kGray})},
    Shader{"mib_volume", miRAY_EYE, words({kGray, {20., 1}})},
    Shader{"dgs_material", miRAY_EYE, words({kGray, kGray, kNone, {20., 0., 0., 0., 1., 0, 0, 0, 4}})},
    Shader{"dielectric_material", miRAY_EYE, words({kGray, {1.5}, kNone, {1., 0, 50., 0, 0, 0, 4}})},
    Shader{"mia_material", miRAY_EYE, architectural()},
};

void* symbol(const char* name) {
    static void* module = dlopen(LUMO_MATERIALS, RTLD_LAZY);  // which calls many more functions than these
    void* found = module ? dlsym(module, name) : nullptr;
    if (!found) {
        std::fprintf(stderr, "%s\n", dlerror());
        std::exit(1);
    }
    return found;
}

std::map<std::string, Asked> perCall;

void shader(benchmark::State& run, const Shader& what) {
    const auto call = reinterpret_cast<miBoolean (*)(void*, miState*, void*, void*)>(symbol(what.name));
    miOptions options{};
    miCamera camera{};
    options.shadow = '1';
    options.trace = miTRUE;
    camera.x_resolution = camera.y_resolution = 100;
    miState state{};
    state.options = &options;
    state.camera = &camera;
    state.type = what.ray;
    state.importance = 1;
    state.normal = state.normal_geom = {0, 0, 1};
    state.dir = {0, 0, -1};
    state.dot_nd = -1;
    state.light_instance = 1;
    const bool isVolume = std::strcmp(what.name, "mib_volume") == 0;
    state.dist = what.ray == miRAY_EYE && !isVolume ? 0 : 5;
    std::array<miVector, 5> derivatives = {{{1, 0, 0}, {0, 1, 0}}};
    miVector place = {0.5F, 0.5F, 0};
    state.derivs = derivatives.data();
    state.tex_list = &place;
    miFunction function{};
    state.shader = &function;

    std::vector<Word> block = what.block;
    block.resize(block.size() + 16, Word(0));
    std::array<miScalar, 16> result{};
    asked = {};
    call(result.data(), &state, block.data(), nullptr);
    const Asked once = asked;
    perCall[what.name] = once;
    if (once.memory > 0) run.SkipWithError("the call takes memory");
    for (auto _ : run) {
        call(result.data(), &state, block.data(), nullptr);
        benchmark::DoNotOptimize(result);
    }
}

void printAsked() {
    std::printf("\n%-28s %8s %9s %6s %7s\n", "asked of the renderer", "queries", "pictures", "rays", "lights");
    for (const auto& [name, what] : perCall)
        std::printf("%-28s %8ld %9ld %6ld %7ld\n", name.c_str(), what.queries, what.pictures, what.rays, what.lights);
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    for (const Shader& what : kShaders) benchmark::RegisterBenchmark(what.name, shader, what);
    benchmark::RunSpecifiedBenchmarks();
    printAsked();
}
