// Ambient occlusion for shaders.
#include "gathering/ambient_occlusion.h"

#include "shader.h"

extern "C" miScalar mi_ambient_occlusion(miState* state, miAmboccl_options* options, miVector* bent_normal) {
    return lumorender::ambientOcclusion(state, options, bent_normal);
}
