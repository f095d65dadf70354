/* Objects that shaders make before the render, one for each use of a shader in the scene. */
#pragma once

#include "shader.h"

#include <new>

namespace materials {

/* Where the renderer keeps the pointer to the running shader's object. */
inline void** objectSlot(miState* state) {
    void** slot = nullptr;
    return mi_query(miQ_FUNC_USERPTR, state, miNULLTAG, &slot) ? slot : nullptr;
}

/* Null where none could be made. */
template <class Object>
const Object* objectOf(miState* state) {
    void** slot = objectSlot(state);
    return slot ? static_cast<const Object*>(*slot) : nullptr;
}

/* Objects are made by Object(state, parameters), and need no destructor. */
template <class Object, class Parameters>
void makeObject(miState* state, Parameters* parameters, miBoolean* wantsInstances) {
    if (!parameters) {
        *wantsInstances = miTRUE;
        return;
    }
    void** slot = objectSlot(state);
    void* storage = slot ? mi_mem_allocate(static_cast<miUint>(sizeof(Object))) : nullptr;
    if (storage) *slot = new (storage) Object(state, *parameters);
}

inline void dropObject(miState* state, const void* parameters) {
    void** slot = parameters ? objectSlot(state) : nullptr;
    if (!slot || !*slot) return;
    mi_mem_release(*slot);
    *slot = nullptr;
}

}  // namespace materials

/* Beside MATERIALS_SHADER: the object is there before the first call, and read-only from then on. */
#define MATERIALS_OBJECT(NAME, PARAMETERS, OBJECT)                                                       \
    extern "C" {                                                                                         \
    __attribute__((visibility("default"))) void NAME##_init(miState*, PARAMETERS*, miBoolean*) noexcept; \
    __attribute__((visibility("default"))) void NAME##_exit(miState*, PARAMETERS*) noexcept;             \
    void NAME##_init(miState* state, PARAMETERS* parameters, miBoolean* wants) noexcept {                \
        makeObject<OBJECT>(state, parameters, wants);                                                    \
    }                                                                                                    \
    void NAME##_exit(miState* state, PARAMETERS* parameters) noexcept { dropObject(state, parameters); } \
    }
