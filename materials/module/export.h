/* How a shader of this module is made known to the renderer. */
#pragma once

#include "shader.h"

/*
 * Exports shader NAME, which is `bool function(Result& result, miState* state, Parameters& parameters)`. The function
 * must not throw. There are no NAME_version functions: scenes bring declarations of many versions of these shaders,
 * which differ in what stands at the end of their lists.
 */
#define MATERIALS_SHADER(NAME, RESULT, PARAMETERS, FUNCTION)                                        \
    extern "C" {                                                                                    \
    __attribute__((visibility("default"))) miBoolean NAME(RESULT*, miState*, PARAMETERS*) noexcept; \
    miBoolean NAME(RESULT* result, miState* state, PARAMETERS* parameters) noexcept {               \
        return FUNCTION(*result, state, *parameters) ? miTRUE : miFALSE;                            \
    }                                                                                               \
    }

namespace materials {

/* Is the shader called to shade a surface, and not to let light or photons through or to move the surface? */
inline bool shadesSurface(const miState* state) {
    const miRay_type type = state->type;
    return type != miRAY_SHADOW && type != miRAY_LIGHT && type != miRAY_DISPLACE && !miRAY_PHOTON(type);
}

}  // namespace materials
