// Probes of rays: shader-state entries, frame buffers, lens rays, levels, lights and probing rays.
#include "test_shader.h"
#include "mi/camera.h"
#include "mi/options.h"
#include "mi_shader_if.h"

#include <atomic>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>

static int bufferIndex(const miState* state, const char* name) {
    const mi::shader::Access_fb buffers(state->camera->buffertag);
    std::size_t index = 0;
    return buffers.is_valid() && buffers->get_index(name, index) ? static_cast<int>(index) : -1;
}

template <class Value>
static void put(miState* state, const char* name, Value value) {
    mi_fb_put(state, bufferIndex(state, name), &value);
}

static bool has(miState* state, const char* key) { return mi_shaderstate_get(state, key, nullptr); }

static void enter(miState* state, const char* key, int lifetime, int value = 1) {
    mi_shaderstate_set(state, key, &value, sizeof value, lifetime);
}

// ---- Shader-state entries.

static miBoolean addNumbers(void* sum, char* key, void* value, int size, int lifetime) {
    if (std::strncmp(key, "probe.number", 12) == 0 && size == sizeof(int) && lifetime == miSS_LIFETIME_EYERAY)
        *static_cast<int*>(sum) += *static_cast<int*>(value);
    return miTRUE;
}

/// The eye ray's surface makes entries and looks at them again after the surface behind has made its own.
TEST_SHADER(probe_entries, void) {
    if (state->type != miRAY_EYE) {
        *result = {has(state, "probe.forSubRays") ? 1.f : 0, 0, 0, 1};
        enter(state, "probe.childRay", miSS_LIFETIME_RAY);
        enter(state, "probe.childEye", miSS_LIFETIME_EYERAY);
        return miTRUE;
    }
    HOLDS(!has(state, "probe.text"));  // the last sample's are gone
    char text[20] = "nineteen characters";
    int size = 0, sum = 0;
    HOLDS(mi_shaderstate_set(state, "probe.text", text, 20, miSS_LIFETIME_EYERAY));
    auto* stored = static_cast<char*>(mi_shaderstate_get(state, "probe.text", &size));
    HOLDS(stored && stored != text && size == 20 && std::memcmp(stored, text, 20) == 0);
    HOLDS(reinterpret_cast<std::uintptr_t>(stored) % 16 == 0);
    for (int i = 0; i < 64; ++i) enter(state, ("probe.number" + std::to_string(i)).c_str(), miSS_LIFETIME_EYERAY, i);
    mi_shaderstate_enumerate(state, addNumbers, &sum);
    HOLDS(sum == 64 * 63 / 2);
    text[0] = 'N';
    mi_shaderstate_set(state, "probe.text", text, 20, miSS_LIFETIME_EYERAY);
    HOLDS(mi_shaderstate_get(state, "probe.text", nullptr) == stored && stored[0] == 'N');
    mi_shaderstate_set(state, "probe.number63", nullptr, 0, miSS_LIFETIME_EYERAY);
    char key[] = "probe.number1";  // one memory for two names
    HOLDS(numberInState(state, key) == 1);
    key[12] = '2';
    HOLDS(numberInState(state, key) == 2);
    HOLDS(!has(state, "probe.number63") && numberInState(state, "probe.number62") == 62);

    miColor behind = {};
    enter(state, "probe.forSubRays", miSS_LIFETIME_RAY);
    mi_trace_transparent(&behind, state);
    HOLDS(behind.r == 1);
    HOLDS(!has(state, "probe.childRay") && has(state, "probe.childEye"));
    *result = {1, 1, static_cast<miScalar>(++numberInState(state, "probe.samples", miSS_LIFETIME_RECT)), 1};
    return miTRUE;
}

// ---- Frame buffers.

/// A buffer is empty at first, and holds what was put last.
template <class Value>
static void checkBuffer(miState* state, const char* name, Value value) {
    const int index = bufferIndex(state, name);
    Value held;
    const Value zero = {};
    std::memset(&held, 0x55, sizeof held);
    HOLDS(index >= 1);
    HOLDS(mi_fb_get(state, index, &held) && std::memcmp(&held, &zero, sizeof zero) == 0);
    HOLDS(mi_fb_put(state, index, &value));
    HOLDS(mi_fb_get(state, index, &held) && std::memcmp(&held, &value, sizeof value) == 0);
}

/// Buffers of old scenes have numbers, "frame buffer 0" and "frame buffer 2".
TEST_SHADER(probe_numbered, void) {
    const miColor color = {.25F, .5F, 1, .75F};
    miColor held = {};
    miScalar number = 7;
    HOLDS(mi_fb_put(state, 0, const_cast<miColor*>(&color)) && mi_fb_get(state, 0, &held) && held.b == 1);
    HOLDS(mi_fb_put(state, 2, &number) && !mi_fb_put(state, 1, &held) && !mi_fb_put(state, 3, &held));
    *result = {0, 0, 0, 1};
    return miTRUE;
}

struct Interrupt {
    miScalar below;
    miColor color;
};

/// Stops the program as a user does, in rows below this one.
TEST_SHADER(probe_interrupt, Interrupt) {
    static std::atomic_flag done;
    if (state->raster_y < VALUE(below) && !done.test_and_set()) std::raise(SIGINT);
    *result = VALUE(color);
    return miTRUE;
}

TEST_SHADER(probe_buffers, void) {
    const miScalar x = state->raster_x, y = state->raster_y;
    checkBuffer(state, "filtered", miColor{x, y, 1, 0});
    checkBuffer(state, "number", x + 100 * y);
    checkBuffer(state, "vector", miVector{x, y, -1});
    checkBuffer(state, "label", 0xDEADBEEFU);
    HOLDS(bufferIndex(state, "nobody") == -1);
    HOLDS(!mi_fb_put(state, 1000, result) && !mi_fb_put(state, -1, result) && !mi_fb_get(state, 1000, result));
    *result = {1, .5f, .25f, 1};
    return miTRUE;
}

struct Number {
    miScalar from, value;
};

/// The same value in a color, a number and a vector; no number in pixels from a column on.
TEST_SHADER(probe_value, Number) {
    const miScalar none = std::numeric_limits<miScalar>::quiet_NaN();
    const miScalar v = state->raster_x > VALUE(from) ? none : VALUE(value);
    put(state, "number", v);
    put(state, "vector", miVector{v, v, 1});
    *result = {v, v, v, 1};
    return miTRUE;
}

// ---- Eye rays and levels.

TEST_SHADER(probe_lens, void) {
    const miBoolean ok = mi_trace_eye(result, state, &state->org, &state->dir);
    put(state, "vector", miVector{state->instance ? 1.f : 0, state->point.z, static_cast<miScalar>(state->dist)});
    if (state->instance) put(state, "normal", state->normal);
    return ok;
}

TEST_SHADER(probe_levels, void) {
    miColor color = {};
    miVector back;
    mi_reflection_dir(&back, state);
    const miVector point = state->point;
    const double dist = state->dist;
    const auto levels = [state](int reflection, int refraction) {
        return state->child->reflection_level == reflection && state->child->refraction_level == refraction;
    };
    HOLDS(mi_trace_transparent(&color, state) && levels(0, 1));
    HOLDS(state->child->type == miRAY_TRANSPARENT && state->child->parent == state);
    state->point = point;  // traces may leave what they met
    HOLDS(mi_trace_reflection(&color, state, &back) && levels(1, 0));
    HOLDS(state->child->type == miRAY_REFLECT);
    state->point = point;
    HOLDS(mi_trace_environment(&color, state, &back) && levels(0, 0));

    // A lowered level is taken as it is: by the depth test, and by the child, one higher.
    for (const int lowered : {-1, -7}) {
        state->refraction_level = lowered;
        state->point = point;
        HOLDS(mi_trace_transparent(&color, state) && levels(0, lowered + 1));
    }
    state->refraction_level = state->options->refraction_depth;
    HOLDS(!mi_trace_transparent(&color, state));
    state->refraction_level = 0;

    state->point = point;
    state->dist = dist;
    HOLDS(mi_trace_continue(&color, state) && levels(0, 0));
    HOLDS(state->child->parent == state && state->child->type == state->type);
    *result = color;  // of the surface behind
    return miTRUE;
}

// ---- Lights and probing rays.

struct Lit {
    miBoolean bothSides;  // takes the hit record away: no facing test
};

/// The sum of the light, cosine in alpha; the direction goes to "vector", 10 samples + calls of lights to "number".
TEST_SHADER(probe_lit, Lit) {
    miRc_intersection* const hit = state->pri;
    miTag* lights = nullptr;
    int n = 0;
    numberInState(state, "probe.lightCalls") = 0;
    if (VALUE(bothSides)) state->pri = nullptr;
    mi_instance_lightlist(&n, &lights, state);
    for (int i = 0; i < n; ++i) {
        miColor color;
        miVector dir = {0, 0, 0};
        int samples = 0;
        while (mi_sample_light(&color, &dir, &color.a, state, lights[i], &samples)) {
            *result = *result + color;
            put(state, "vector", dir);
        }
        put(state, "number", static_cast<miScalar>(10 * samples + numberInState(state, "probe.lightCalls")));
    }
    state->pri = hit;
    return miTRUE;
}

/// Behind the surface comes one that casts shadows only, then one that mirrors show, then one that eyes see.
TEST_SHADER(probe_probes, void) {
    const auto reach = [state](miUint flag) {
        const bool hit = flag ? mi_trace_probe_x(state, &state->dir, &state->point, flag)
                              : mi_trace_probe(state, &state->dir, &state->point);
        return hit ? std::lround(1e4 * state->child->dist) : 0;
    };
    HOLDS(reach(0) == 20000);
    HOLDS(state->child->type == miRAY_PROBE && state->child->material != 0);
    HOLDS(reach(miTRACE_SHADOW_CAST) == 10000);
    HOLDS(reach(miTRACE_VISIBLE) == 30000);
    HOLDS(reach(miTRACE_VISIBLE | miTRACE_REFLECTION_CAST) == 20000);
    *result = {1, 1, 1, 1};
    return miTRUE;
}
