/* A renderer that offers only a few functions, and no evaluation of parameters. */
#include <shader.h>

extern "C" {

DLLEXPORT void* mi_shaderstate_get(miState* state, const char*, int*) { return state->user; }

DLLEXPORT miBoolean mi_query(miQ_type, miState*, miTag, void*, ...) { return miFALSE; }
}
