// Probes of shader calls: state shaders, arguments, results, evaluation, init and exit, locks and arithmetic.
#include "test_shader.h"
#include "mi/camera.h"
#include "mi/options.h"

#include <xmmintrin.h>

#include <cstring>
#include <ctime>

static int numberFor(miState* state, miQ_type query) {
    int number = -1;
    mi_query(query, state, 0, &number);
    return number;
}

// ---- State shader and primary call: who is called when, with which result.

struct Bracket {
    const void* result;
    int inits, exits, calls, mismatches, open;
};

struct State {
    miBoolean refuse;  // answers state init with false
    miColor atExit;    // takes the place of the result where its alpha is set
};

TEST_SHADER(probe_state, State) {
    auto* bracket = static_cast<Bracket*>(mi_shaderstate_get(state, "probe.bracket", nullptr));
    const auto& call = *static_cast<miState_shader_arg*>(argument);
    if (call.operation == miSTATE_SHADER_STATE_INIT) {
        Bracket fresh = {};
        fresh.mismatches = bracket ? 1 : 0;  // the store of another state would still hold one
        mi_shaderstate_set(state, "probe.bracket", &fresh, sizeof fresh, miSS_LIFETIME_RECT);
        return !VALUE(refuse);
    }
    if (call.operation == miSTATE_SHADER_SAMPLE_INIT) {
        HOLDS(miTHREAD(mi_par_localvpu()) == state->thread && state->thread < mi_par_nthreads());
        bracket->mismatches += bracket->open;
        bracket->open = 1;
        bracket->result = result;
        ++bracket->inits;
    } else if (call.operation == miSTATE_SHADER_SAMPLE_EXIT) {
        bracket->mismatches += bracket->open != 1 || bracket->result != result || !call.shader_return;
        bracket->open = 0;
        ++bracket->exits;
        if (VALUE(atExit).a > 0) *result = VALUE(atExit);
    } else {
        HOLDS(call.operation == miSTATE_SHADER_STATE_EXIT);
        mi_info("probe: state %p of stage %d had inits %d exits %d calls %d mismatches %d", static_cast<void*>(state),
                numberFor(state, miQ_STAGE), bracket->inits, bracket->exits, bracket->calls,
                bracket->mismatches + bracket->open);
    }
    return miTRUE;
}

/// Lens and material: the outermost of both is the primary call.
TEST_SHADER(probe_primary, void) {
    auto* bracket = static_cast<Bracket*>(mi_shaderstate_get(state, "probe.bracket", nullptr));
    if (!state->parent) {
        ++bracket->calls;
        bracket->mismatches += bracket->open != 1 || bracket->result != result;
    }
    *result = {.25f, .5f, .75f, 1};
    const bool lens = numberFor(state, miQ_FUNC_CALLTYPE) == miSHADER_LENS;
    return lens ? mi_trace_eye(result, state, &state->org, &state->dir) : miTRUE;
}

// ---- Arguments, results and connected parameters.

/// A scalar result still has sixteen bytes behind it.
TEST_SHADER(probe_small, void) {
    HOLDS(!argument);
    HOLDS(result->r == 0 && result->g == 0 && result->b == 0 && result->a == 0);
    *result = {.5f, 9, 9, 9};
    return miTRUE;
}

constexpr int kLarge = 64;

TEST_SHADER(probe_large, void) {
    HOLDS(!argument && state->tex_list[0].x == .375f);
    for (int i = 0; i < kLarge; ++i) {
        miScalar& value = (&result->r)[i];
        HOLDS(value == 0);
        value = static_cast<miScalar>(i + 1);
    }
    return miTRUE;
}

TEST_SHADER(probe_counter, void) {
    *result = {static_cast<miScalar>(++numberInState(state, "probe.counter")), 0, 0, 1};
    return miTRUE;
}

struct AdaptedRecord {
    miScalar opacity;
    miColor specular;
    miVector normal;
    miColor diffuse, whole, behind;
};
struct Adapted {
    miColor color;
    miBoolean fails, mirrors;
    miScalar casts;
};

/// A material with outputs, of which half is a hole. In a shadow ray it lets a part of the light through. Its whole
/// color's alpha is how often it was called.
TEST_SHADER(probe_adapted, Adapted) {
    if (state->type == miRAY_SHADOW) {
        *result = VALUE(casts) * *result;
        return miTRUE;
    }
    const miColor color = VALUE(color);
    auto& record = *reinterpret_cast<AdaptedRecord*>(result);
    record = {.5f, .25f * color, {7, 7, 7}, .5f * color, {}, {.1f, .2f, .3f, 1}};
    if (miVector mirror; VALUE(mirrors)) {
        mi_reflection_dir(&mirror, state);
        mi_trace_reflection(&record.whole, state, &mirror);
        state->normal = {7, 7, 7};
    }
    record.whole = record.whole + .5f * (record.specular + record.diffuse) + record.behind;
    record.whole.a = static_cast<miScalar>(++numberInState(state, "probe.adapted"));
    return !VALUE(fails);
}

struct Called {
    miScalar scale;
};

/// Where there is an argument it is a number, which is doubled.
TEST_SHADER(probe_called, Called) {
    if (argument) *static_cast<int*>(argument) *= 2;
    *result = {VALUE(scale), static_cast<miScalar>(numberFor(state, miQ_FUNC_CALLTYPE)), argument ? 1.f : 0, 1};
    return argument != nullptr;
}

struct Calls {
    miScalar small;
    miColor large, first, second, plain;
    miTag to;
};

TEST_SHADER(probe_calls, Calls) {
    HOLDS(!argument);
    HOLDS(VALUE(small) == .5f);
    // The list of texture coordinates is the shader's to change, and shows in what is connected.
    state->tex_list[0] = {.375f, 0, 0};
    const miScalar* large = &VALUE(large).r;
    HOLDS(large[0] == 1 && large[kLarge - 1] == kLarge);
    // Who wants all floats of a larger result asks for its size first. Questions about elements need no state.
    int size = 0;
    miTag connected = miGhostTag(state, &paras->large), item = 0, declaration = 0;
    HOLDS(mi_query(miQ_FUNC_RESULT_SIZE, state, connected, &size) && size == kLarge * 4);
    HOLDS(mi_query(miQ_INST_ITEM, nullptr, state->instance, &item) && mi_db_type(item) == miSCENE_OBJECT);
    HOLDS(mi_query(miQ_FUNC_DECL, nullptr, connected, &declaration));
    HOLDS(mi_db_type(declaration) == miSCENE_FUNCTION_DECL);
    HOLDS(!mi_query(miQ_NONE, state, 0, &size));

    int& count = numberInState(state, "probe.counter");
    HOLDS(VALUE(first).r == 1 && VALUE(first).r == 1);  // remembered
    HOLDS(VALUE(second).r == 2);                        // another parameter, though connected to the same shader
    HOLDS(static_cast<miColor*>(mi_phen_call(state, &paras->first))->r == 3);
    mi_flush_cache(state);
    HOLDS(VALUE(first).r == 4);
    HOLDS(&VALUE(plain) == &paras->plain && count == 4);

    const miTag to = VALUE(to);
    const miFunction* const self = state->shader;
    int number = 21;
    miColor color = {};
    HOLDS(mi_call_shader_x(&color, miSHADER_SHADOW, state, to, &number) && number == 42);
    HOLDS(color.r == .75f && color.g == static_cast<miScalar>(miSHADER_SHADOW) && color.b == 1);
    HOLDS(!mi_call_shader(&color, miSHADER_TEXTURE, state, to));  // what it returns comes back
    HOLDS(color.g == static_cast<miScalar>(miSHADER_TEXTURE) && color.b == 0);
    HOLDS(!mi_call_shader_x(&color, miSHADER_TEXTURE, state, miNULLTAG, &number) && number == 42);
    HOLDS(state->shader == self);
    *result = VALUE(plain);
    return miTRUE;
}

// ---- Init and exit.

struct Lifecycle {
    miColor color;
};

static void tellOccasion(const char* what, const miState* state, const void* paras) {
    mi_info("probe: %s of %s: width %d depth %d data %s", what, paras ? "instance" : "shader",
            state->camera->x_resolution, state->options->trace_depth, state->camera->userdata ? "yes" : "no");
}

extern "C" DLLEXPORT void probe_lifecycle_init(miState* state, Lifecycle* paras, miBoolean* wantsInstances) {
    tellOccasion("init", state, paras);
    if (!paras) *wantsInstances = miTRUE;
    // Nobody holds the renderer's lock meanwhile, and nothing that an init may call takes it.
    mi_lock(state->global_lock);
    auto* forgotten = static_cast<char*>(mi_mem_allocate(1000));
    mi_unlock(state->global_lock);
    void** user = nullptr;
    if (paras && mi_query(miQ_FUNC_USERPTR, state, 0, &user)) *user = forgotten;
    forgotten[999] = 7;
}

extern "C" DLLEXPORT void probe_lifecycle_exit(miState* state, Lifecycle* paras) { tellOccasion("exit", state, paras); }

TEST_SHADER(probe_lifecycle, Lifecycle) {
    void** user = nullptr;
    HOLDS(mi_query(miQ_FUNC_USERPTR, state, 0, &user) && static_cast<char*>(*user)[999] == 7);
    *result = VALUE(color);
    return miTRUE;
}

/// Half a minute of work that nobody can interrupt.
static void work() {
    while (std::clock() < 30 * CLOCKS_PER_SEC) continue;
}

extern "C" DLLEXPORT void probe_busy_init(miState*, void*, miBoolean*) { work(); }

TEST_SHADER(probe_busy, void) { return miTRUE; }

TEST_SHADER(probe_endless, void) {
    work();
    return miTRUE;
}

// ---- Locks, stack and arithmetic.

static int useStack(int blocks) {
    volatile char block[65536];
    for (std::size_t i = 0; i < sizeof block; i += 512) block[i] = static_cast<char>(blocks);
    return blocks > 1 ? useStack(blocks - 1) + block[512] - static_cast<char>(blocks) : 1;
}

/// Denormal numbers are how small integers look as floats.
static bool keepsDenormals() {
    volatile float tiny = 1e-40f;
    return tiny * 1.0f > 0 && tiny + tiny > tiny && (_mm_getcsr() & 0x8040) == 0;
}

TEST_SHADER(probe_thread, Lifecycle) {
    HOLDS(keepsDenormals());
    miColor bits, behind = {};
    miUint words[4] = {1, 0x7FFFFF, 0x00800001, 0x80000003};
    std::memcpy(&bits, words, sizeof bits);
    // Everything that a shader does it may do while it holds the renderer's lock.
    mi_lock(state->global_lock);
    mi_mem_release(mi_mem_allocate(100));
    *result = VALUE(color);
    mi_shaderstate_set(state, "probe.locked", words, sizeof words, miSS_LIFETIME_EYERAY);
    mi_trace_transparent(&behind, state);
    HOLDS(mi_fb_put(state, 1, &bits));
    mi_unlock(state->global_lock);
    *result = *result + behind;
    HOLDS(keepsDenormals());
    HOLDS(useStack(240) == 1);  // 15 MB
    HOLDS((state->scanline != 0) == (state->options->scanline == 'r') && state->child && !state->child->scanline);
    return miTRUE;
}
