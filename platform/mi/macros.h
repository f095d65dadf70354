/* Macros of the shader call: parameters that may be connected to other shaders, and memory with its origin. */
#pragma once

#include <string.h>

#include "function.h"
#include "state.h"

/* Word that belongs to a parameter in the shadow copy of the block; meaningful when ghost_offs is not 0. */
miINLINE miTag miGhostTag(const miState* state, const void* parameter) {
    miTag ghost;
    memcpy(&ghost, (const char*)parameter + state->shader->ghost_offs, sizeof ghost);
    return ghost;
}

/* True when the value comes from another shader or from a phenomenon's interface. */
miINLINE miBoolean miParameterIsConnected(const miState* state, const void* parameter) {
    miTag ghost;
    if (state->shader->has_connections != 1) return miFALSE;
    ghost = miGhostTag(state, parameter);
    return ghost != miNULLTAG && ghost != miPARAMTAG;
}

/* True when the scene gives the parameter a value, directly or by connection. */
miINLINE miBoolean miParameterIsSet(const miState* state, const void* parameter) {
    return state->shader->ghost_offs != 0 && miGhostTag(state, parameter) != miNULLTAG;
}

/*
 * Address of a parameter's value: the parameter itself, or the result of the shader it is connected to. The address
 * must lie in the original block of the running function, and is evaluated twice. A macro, so that code which resolves
 * mi_phen_eval by other means than linking gets its own one.
 */
#define mi_eval(state, parameter) \
    (miParameterIsConnected((state), (parameter)) ? mi_phen_eval((state), (void*)(parameter)) : (void*)(parameter))

/* The same with a type, for the variable `state` at the place of use. */
#define mi_eval_boolean(parameter) ((miBoolean*)mi_eval(state, (parameter)))
#define mi_eval_integer(parameter) ((miInteger*)mi_eval(state, (parameter)))
#define mi_eval_scalar(parameter) ((miScalar*)mi_eval(state, (parameter)))
#define mi_eval_vector(parameter) ((miVector*)mi_eval(state, (parameter)))
#define mi_eval_color(parameter) ((miColor*)mi_eval(state, (parameter)))
#define mi_eval_transform(parameter) ((miMatrix*)mi_eval(state, (parameter)))
#define mi_eval_tag(parameter) ((miTag*)mi_eval(state, (parameter)))

/* Memory of the renderer's allocator; it reports leaks and failures with the file and line of the request. */
#define mi_mem_allocate(size) mi_mem_int_allocate(__FILE__, __LINE__, (size))
#define mi_mem_allocate_sizet(size) mi_mem_int_allocate_sizet(__FILE__, __LINE__, (size))
#define mi_mem_test_allocate(size) mi_mem_int_test_allocate(__FILE__, __LINE__, (size))
#define mi_mem_reallocate(memory, size) mi_mem_int_reallocate(__FILE__, __LINE__, (memory), (size))
#define mi_mem_reallocate_sizet(memory, size) mi_mem_int_reallocate_sizet(__FILE__, __LINE__, (memory), (size))
#define mi_mem_test_reallocate(memory, size) mi_mem_int_test_reallocate(__FILE__, __LINE__, (memory), (size))
#define mi_mem_release(memory) mi_mem_int_release(__FILE__, __LINE__, (memory))
#define mi_mem_strdup(string) mi_mem_int_strdup(__FILE__, __LINE__, (string))
#define mi_mem_blkcreate(size) mi_mem_int_blkcreate(__FILE__, __LINE__, (size))
