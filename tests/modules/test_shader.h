// What the test shaders are made of: entry points, values of parameters, arithmetic with colors, and facts.
#pragma once

#include "shader.h"

#include <cstdio>

/// The head of a shader and its version. Within it are result, state, paras, and the call's fourth argument.
#define TEST_SHADER(name, Parameters)                                                                      \
    extern "C" DLLEXPORT int name##_version() { return 1; }                                                \
    extern "C" DLLEXPORT miBoolean name([[maybe_unused]] miColor* result, [[maybe_unused]] miState* state, \
                                        [[maybe_unused]] Parameters* paras, [[maybe_unused]] void* argument)

/// A parameter, or what it is connected to.
#define VALUE(parameter) (*static_cast<decltype(paras->parameter)*>(mi_eval(state, &paras->parameter)))

/// Probes say what does not hold; the test fails with that.
#define HOLDS(condition) ((condition) ? void() : mi_error("probe: not so: %s", #condition))

inline miColor operator+(const miColor& a, const miColor& b) { return {a.r + b.r, a.g + b.g, a.b + b.b, a.a + b.a}; }
inline miColor operator*(const miColor& a, const miColor& b) { return {a.r * b.r, a.g * b.g, a.b * b.b, a.a * b.a}; }
inline miColor operator*(miScalar s, const miColor& c) { return {s * c.r, s * c.g, s * c.b, s * c.a}; }
inline miColor mixed(const miColor& a, const miColor& b, miScalar share) { return a + share * (b + -1 * a); }

/// A number that lives in the state under a name; made on first use.
inline int& numberInState(miState* state, const char* key, int lifetime = miSS_LIFETIME_EYERAY) {
    int zero = 0;
    if (!mi_shaderstate_get(state, key, nullptr)) mi_shaderstate_set(state, key, &zero, sizeof zero, lifetime);
    return *static_cast<int*>(mi_shaderstate_get(state, key, nullptr));
}

/// Where a shader of the scene has a name it tells of each call.
inline void tell(const char* what, miTag name, const miState* state) {
    if (!name) return;
    const miVector& d = state->dir;
    char shadow[100] = "";
    if (what[0] == 's')
        std::snprintf(shadow, sizeof shadow, " dot %.4f dir %.4f %.4f %.4f", double(state->dot_nd), double(d.x),
                      double(d.y), double(d.z));
    mi_info("probe: %s %s: type %d dist %.4f%s", what, static_cast<const char*>(mi_db_access(name)),
            static_cast<int>(state->type), state->dist, shadow);
    mi_db_unpin(name);
}
