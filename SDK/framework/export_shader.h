/* The functions by which the renderer reaches a shader. The macros at the end are the only place that writes them. */
#pragma once

#include <cstring>
#include <new>

#include "SDK/lumo.h"

#include "SDK/framework/renderer_access.h"
#include "SDK/framework/shader_object.h"

namespace lumo {

/* Runs a shader's code; nothing may be thrown into the renderer. */
template <class Code>
miBoolean withoutExceptions(Code&& code) noexcept {
    try {
        return code();
    } catch (...) {
        reportError("LumoShaderSDK(): Internal error, the shader call was given up.");
        return miFALSE;
    }
}

/* Where the renderer keeps the pointer to an instance's object; null when it cannot say. */
inline void** userPointerSlot(miState* state) {
    void** slot = nullptr;
    return mi_query(miQ_FUNC_USERPTR, state, miNULLTAG, &slot) ? slot : nullptr;
}

/* Storage comes from the renderer, `file` and `line` are for its book-keeping. */
template <class S>
S* createShader(miState* state, typename S::Parameters* parameters, const char* file, int line) {
    static_assert(alignof(S) <= alignof(void*));
    void* storage = mi_mem_int_allocate(file, line, sizeof(S));
    if (!storage) return nullptr;
    S* object = nullptr;
    withoutExceptions([&] {
        object = new (storage) S(typename S::Helper(state, parameters));
        return miTRUE;
    });
    if (!object) mi_mem_int_release(file, line, storage);
    return object;
}

template <class S>
void initShader(miState* state, typename S::Parameters* parameters, miBoolean* wantsInstanceInit, const char* file,
                int line) {
    if (!parameters) {
        *wantsInstanceInit = miTRUE;
        return;
    }
    if (void** slot = userPointerSlot(state)) *slot = createShader<S>(state, parameters, file, line);
}

template <class S>
void exitShader(miState* state, typename S::Parameters* parameters) {
    void** slot = parameters ? userPointerSlot(state) : nullptr;
    auto* object = slot ? static_cast<S*>(*slot) : nullptr;
    if (!object) return;
    object->leave(state, parameters);
    object->~S();
    mi_mem_int_release("sdk/lumoUtilities", 150, object);
    *slot = nullptr;
}

/* An instance whose object could not be built gives no result. */
template <class S>
miBoolean shadeWithObject(typename S::Result* result, miState* state, typename S::Parameters* parameters) {
    void** slot = userPointerSlot(state);
    const auto* object = slot ? static_cast<const S*>(*slot) : nullptr;
    if (!object) return miFALSE;
    return withoutExceptions([&] { return object->shade(result, typename S::Helper(state, parameters)); });
}

/* Shader-level init of a state shader: it keeps no object, and must run in its own role only. */
inline void initStateShader(miState* state, void* parameters, miBoolean* wantsInstanceInit, const char* complaint) {
    if (parameters) return;
    miInteger callType = miSHADER_COUNT;
    if (!mi_query(miQ_FUNC_CALLTYPE, state, miNULLTAG, &callType) || callType != miSHADER_STATE) reportError(complaint);
    *wantsInstanceInit = miFALSE;
}

/* The operation code as a number: an unknown one is told, and must not be read as an enumerator. */
inline int operationOf(const miState_shader_arg& argument) {
    int operation;
    std::memcpy(&operation, &argument.operation, sizeof operation);
    return operation;
}

template <class P>
miBoolean callStateShader(miBoolean (*function)(const ShaderHelper<P>&, const miState_shader_arg&), miState* state,
                          P* parameters, const miState_shader_arg* argument) {
    if (!argument) return miFALSE;
    return withoutExceptions([&] { return function(ShaderHelper<P>(state, parameters), *argument); });
}

/* `H` is the helper that the function takes: a ShaderHelper<P>, or what derives from it. */
template <class Result, class P, class H>
miBoolean callFunction(miBoolean (*function)(Result*, const H&), Result* result, miState* state, P* parameters) {
    return withoutExceptions([&] { return function(result, H(state, parameters)); });
}

/* `argument` is null where the renderer calls, and for callers that have none. */
template <class P>
miBoolean callShadowShader(miBoolean (*function)(miColor*, const ShaderHelper<P>&, const void*), miColor* result,
                           miState* state, P* parameters, const void* argument) {
    return withoutExceptions([&] { return function(result, ShaderHelper<P>(state, parameters), argument); });
}

}  // namespace lumo

#define LUMO_EXPORT_VERSION(name) \
    extern "C" LUMO_API int name##_version(void) { return ::lumo::kInterfaceVersion; }

/* A shader with an object: class Class, source file `source`. */
#define LUMO_EXPORT_SHADER(name, Class, source)                                                                \
    LUMO_EXPORT_VERSION(name)                                                                                  \
    extern "C" LUMO_API void name##_init(miState* state, Class::Parameters* parameters,                        \
                                         miBoolean* wantsInstanceInit) {                                       \
        ::lumo::initShader<Class>(state, parameters, wantsInstanceInit, source, __LINE__);                     \
    }                                                                                                          \
    extern "C" LUMO_API void name##_exit(miState* state, Class::Parameters* parameters) {                      \
        ::lumo::exitShader<Class>(state, parameters);                                                          \
    }                                                                                                          \
    extern "C" LUMO_API miBoolean name(Class::Result* result, miState* state, Class::Parameters* parameters) { \
        return ::lumo::shadeWithObject<Class>(result, state, parameters);                                      \
    }

/* A shader that is a function (Result*, const H&), H a helper of P, and keeps nothing. */
#define LUMO_EXPORT_FUNCTION_SHADER(name, function, Result, P)                          \
    LUMO_EXPORT_VERSION(name)                                                           \
    extern "C" LUMO_API miBoolean name(Result* result, miState* state, P* parameters) { \
        return ::lumo::callFunction<Result, P>(function, result, state, parameters);    \
    }

/* A shading engine: a function shader whose init leaves the instance-init request as it is. */
#define LUMO_EXPORT_ENGINE(name, function, Result, P)      \
    LUMO_EXPORT_FUNCTION_SHADER(name, function, Result, P) \
    extern "C" LUMO_API void name##_init(miState*, P*, miBoolean*) {}

/* A state shader: a function (const ShaderHelper<P>&, const miState_shader_arg&). */
#define LUMO_EXPORT_STATE_SHADER(name, function, P)                                                                \
    LUMO_EXPORT_VERSION(name)                                                                                      \
    extern "C" LUMO_API void name##_init(miState* state, P* parameters, miBoolean* wantsInstanceInit) {            \
        ::lumo::initStateShader(state, parameters, wantsInstanceInit,                                              \
                                #name                                                                              \
                                "(): Not invoked as state shader.\n"                                               \
                                "Could be a version mismatch. Re-export the .mi");                                 \
    }                                                                                                              \
    extern "C" LUMO_API miBoolean name(void*, miState* state, P* parameters, const miState_shader_arg* argument) { \
        return ::lumo::callStateShader<P>(function, state, parameters, argument);                                  \
    }

/* A shadow shader: a function (miColor*, const ShaderHelper<P>&, const void* argument). */
#define LUMO_EXPORT_SHADOW_SHADER(name, function, P)                                                           \
    LUMO_EXPORT_VERSION(name)                                                                                  \
    extern "C" LUMO_API miBoolean name(miColor* result, miState* state, P* parameters, const void* argument) { \
        return ::lumo::callShadowShader<P>(function, result, state, parameters, argument);                     \
    }
