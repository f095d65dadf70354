// Probes of shader calls: arguments, results, evaluation, init and exit, state shaders, locks and arithmetic.
#include "facts.h"
#include "mi/camera.h"
#include "mi/options.h"

#include <xmmintrin.h>

#include <cstring>

extern "C" {

// ---- State shader and primary call: who is called when, with which result.

struct Bracket {
    const void* result;
    int inits, exits, calls, mismatches, open;
};

static Bracket* bracketOf(miState* state) {
    return static_cast<Bracket*>(mi_shaderstate_get(state, "probe.bracket", nullptr));
}

static int stageOf(miState* state) {
    int stage = 0;
    return mi_query(miQ_STAGE, state, 0, &stage) ? stage : -1;
}

struct probe_state_parameters {
    miBoolean refuse;  // answers state init with false
    miColor atExit;    // takes the place of the result where its alpha is set
};

DLLEXPORT int probe_state_version() { return 1; }

DLLEXPORT miBoolean probe_state(miColor* result, miState* state, probe_state_parameters* paras,
                                miState_shader_arg* argument) {
    const miColor atExit = *mi_eval_color(&paras->atExit);
    Bracket* bracket = bracketOf(state);
    switch (argument->operation) {
        case miSTATE_SHADER_STATE_INIT: {
            Bracket fresh = {};
            fresh.mismatches = bracket ? 1 : 0;  // the store of another state would still hold one
            mi_shaderstate_set(state, "probe.bracket", &fresh, sizeof fresh, miSS_LIFETIME_RECT);
            return !*mi_eval_boolean(&paras->refuse);
        }
        case miSTATE_SHADER_SAMPLE_INIT:
            if (bracket->open != 0) ++bracket->mismatches;
            bracket->open = 1;
            bracket->result = result;
            ++bracket->inits;
            return miTRUE;
        case miSTATE_SHADER_SAMPLE_EXIT:
            if (bracket->open != 1 || bracket->result != result || !argument->shader_return) ++bracket->mismatches;
            bracket->open = 0;
            ++bracket->exits;
            if (atExit.a > 0) *result = atExit;
            return miTRUE;
        case miSTATE_SHADER_STATE_EXIT:
            mi_info("probe: state exit: stage %d inits %d exits %d calls %d mismatches %d", stageOf(state),
                    bracket->inits, bracket->exits, bracket->calls, bracket->mismatches + bracket->open);
            return miTRUE;
    }
    mi_error("probe: not so: the operation %d exists", static_cast<int>(argument->operation));
    return miFALSE;
}

DLLEXPORT int probe_primary_version() { return 1; }

/// Lens and material: the outermost of both is the primary call.
DLLEXPORT miBoolean probe_primary(miColor* result, miState* state, void*, void*) {
    Bracket* bracket = bracketOf(state);
    int role = -1;
    mi_query(miQ_FUNC_CALLTYPE, state, 0, &role);
    if (!state->parent) {
        ++bracket->calls;
        if (bracket->open != 1 || bracket->result != result) ++bracket->mismatches;
    }
    if (role == miSHADER_LENS) return mi_trace_eye(result, state, &state->org, &state->dir);
    miColorSet(result, .25f, .5f, .75f, 1);
    return miTRUE;
}

// ---- Arguments and results.

DLLEXPORT int probe_small_version() { return 1; }

/// A scalar result still has sixteen bytes behind it.
DLLEXPORT miBoolean probe_small(miScalar* result, miState*, void*, void* fourth) {
    Facts facts;
    HOLDS(fourth == nullptr);
    HOLDS(result[0] == 0 && result[1] == 0 && result[2] == 0 && result[3] == 0);
    result[0] = facts.holding == facts.checked ? .5f : -1;
    result[1] = result[2] = result[3] = 9;
    return miTRUE;
}

constexpr int kLarge = 64;

DLLEXPORT int probe_large_version() { return 1; }

DLLEXPORT miBoolean probe_large(miScalar* result, miState* state, void*, void* fourth) {
    Facts facts;
    HOLDS(fourth == nullptr);
    for (int i = 0; i < kLarge; ++i)
        if (result[i] != 0) facts.check(false, "a fresh result holds zeros only");
    HOLDS(state->tex_list[0].x == .375f);
    for (int i = 0; i < kLarge; ++i) result[i] = facts.holding == facts.checked ? static_cast<miScalar>(i + 1) : -1;
    return miTRUE;
}

struct probe_arguments_parameters {
    miScalar small;
    miColor large;
};

DLLEXPORT int probe_arguments_version() { return 1; }

DLLEXPORT miBoolean probe_arguments(miColor* result, miState* state, probe_arguments_parameters* paras, void* fourth) {
    Facts facts;
    HOLDS(fourth == nullptr);
    HOLDS(*mi_eval_scalar(&paras->small) == .5f);

    // The list of texture coordinates is the shader's to change, and shows in what is connected.
    miVector mine = {.375f, 0, 0};
    state->tex_list[0] = mine;
    const miScalar* large = reinterpret_cast<miScalar*>(mi_eval_color(&paras->large));
    HOLDS(large[0] == 1 && large[3] == 4);

    // Who wants all floats of a larger result asks for its size first.
    int size = 0;
    miTag connected = miGhostTag(state, &paras->large);
    HOLDS(mi_query(miQ_FUNC_RESULT_SIZE, state, connected, &size) && size == kLarge * 4);
    HOLDS(large[kLarge - 1] == kLarge);

    // Questions about elements need no state.
    miTag item = 0, declaration = 0;
    HOLDS(mi_query(miQ_INST_ITEM, nullptr, state->instance, &item) && mi_db_type(item) == miSCENE_OBJECT);
    HOLDS(mi_query(miQ_FUNC_DECL, nullptr, connected, &declaration) &&
          mi_db_type(declaration) == miSCENE_FUNCTION_DECL);
    int nothing = 0;
    HOLDS(!mi_query(miQ_NONE, state, 0, &nothing));
    facts.tell(result);
    return miTRUE;
}

// ---- Evaluation of connected parameters.

DLLEXPORT int probe_counter_version() { return 1; }

DLLEXPORT miBoolean probe_counter(miColor* result, miState* state, void*, void*) {
    const int n = ++numberInState(state, "probe.counter", miSS_LIFETIME_EYERAY);
    miColorSet(result, static_cast<miScalar>(n), 0, 0, 1);
    return miTRUE;
}

struct probe_cache_parameters {
    miColor first;
    miColor second;
    miColor plain;
};

DLLEXPORT int probe_cache_version() { return 1; }

DLLEXPORT miBoolean probe_cache(miColor* result, miState* state, probe_cache_parameters* paras, void*) {
    Facts facts;
    int& count = numberInState(state, "probe.counter", miSS_LIFETIME_EYERAY);
    count = 0;
    HOLDS(mi_eval_color(&paras->first)->r == 1);
    HOLDS(mi_eval_color(&paras->first)->r == 1);   // remembered
    HOLDS(mi_eval_color(&paras->second)->r == 2);  // another parameter, though connected to the same shader
    HOLDS(static_cast<miColor*>(mi_phen_call(state, &paras->first))->r == 3);
    mi_flush_cache(state);
    HOLDS(mi_eval_color(&paras->first)->r == 4);
    HOLDS(mi_eval_color(&paras->plain) == &paras->plain && count == 4);
    facts.tell(result);
    return miTRUE;
}

// ---- Init and exit.

struct probe_lifecycle_parameters {
    miColor color;
};

static void tellOccasion(const char* what, const miState* state, const void* paras) {
    mi_info("probe: %s of %s: width %d depth %d data %s", what, paras ? "instance" : "shader",
            state->camera ? state->camera->x_resolution : -1, state->options ? state->options->trace_depth : -1,
            state->camera && state->camera->userdata ? "yes" : "no");
}

DLLEXPORT int probe_lifecycle_version() { return 1; }

DLLEXPORT void probe_lifecycle_init(miState* state, probe_lifecycle_parameters* paras, miBoolean* wantsInstances) {
    tellOccasion("init", state, paras);
    if (!paras) *wantsInstances = miTRUE;

    // Nobody holds the renderer's lock meanwhile, and nothing that an init may call takes it.
    mi_lock(state->global_lock);
    void* forgotten = mi_mem_allocate(1000);
    static_cast<char*>(forgotten)[999] = 1;
    mi_unlock(state->global_lock);
}

DLLEXPORT void probe_lifecycle_exit(miState* state, probe_lifecycle_parameters* paras) {
    tellOccasion("exit", state, paras);
}

DLLEXPORT miBoolean probe_lifecycle(miColor* result, miState* state, probe_lifecycle_parameters* paras, void*) {
    *result = *mi_eval_color(&paras->color);
    return miTRUE;
}

// ---- Locks, stack, arithmetic, messages.

struct probe_lock_parameters {
    miColor color;
};

DLLEXPORT int probe_lock_version() { return 1; }

/// Does everything that a shader does while it holds the renderer's lock.
DLLEXPORT miBoolean probe_lock(miColor* result, miState* state, probe_lock_parameters* paras, void*) {
    miColor behind = {0, 0, 0, 0};
    int number = 5;
    mi_lock(state->global_lock);
    mi_mem_release(mi_mem_allocate(100));
    *result = *mi_eval_color(&paras->color);
    mi_shaderstate_set(state, "probe.locked", &number, sizeof number, miSS_LIFETIME_EYERAY);
    mi_trace_transparent(&behind, state);
    mi_fb_put(state, 1, result);
    mi_unlock(state->global_lock);
    miColorAddScaled(result, &behind, 1);
    return miTRUE;
}

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

DLLEXPORT int probe_thread_version() { return 1; }

DLLEXPORT miBoolean probe_thread(miColor* result, miState* state, void*, void*) {
    Facts facts;
    HOLDS(keepsDenormals());
    miColor behind = {0, 0, 0, 0};
    mi_trace_transparent(&behind, state);
    HOLDS(keepsDenormals());
    HOLDS(useStack(240) == 1);  // 15 MB
    HOLDS(state->scanline == miFALSE);
    HOLDS(state->child && state->child->scanline == miFALSE);

    const miUint words[4] = {1, 0x7FFFFF, 0x00800001, 0x80000003};
    miColor bits;
    std::memcpy(&bits, words, sizeof bits);
    HOLDS(mi_fb_put(state, 1, &bits));
    facts.tell(result);
    return miTRUE;
}

struct probe_message_parameters {
    miTag text;
};

DLLEXPORT int probe_message_version() { return 1; }

DLLEXPORT miBoolean probe_message(miColor* result, miState* state, probe_message_parameters* paras, void*) {
    const miTag text = *mi_eval_tag(&paras->text);
    mi_warning("probe: says %s", static_cast<const char*>(mi_db_access(text)));
    mi_db_unpin(text);
    miColorSet(result, 0, 0, 0, 1);
    return miTRUE;
}

}  // extern "C"
