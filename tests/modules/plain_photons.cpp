// Shaders of photons, and what reads them in volumes.
#include "test_shader.h"

struct Emitter {
    miColor share;
    miVector dir;
};

/// A share of the light's energy, all in one direction; nothing without a direction.
TEST_SHADER(plain_emitter, Emitter) {
    const miColor share = VALUE(share);
    const miBoolean isCaustic = state->type == miPHOTON_EMIT_CAUSTIC;
    int called = -1;
    mi_query(miQ_FUNC_CALLTYPE, state, miNULLTAG, &called);
    HOLDS(called == miSHADER_PHOTON_EMITTER && (isCaustic || state->type == miPHOTON_EMIT_GLOBILLUM));
    HOLDS(state->light_instance && mi_vector_dot(&state->dir, &state->dir) > .999f);
    *result = {result->r * share.r, result->g * share.g, result->b * share.b, 1};
    state->dir = VALUE(dir);
    return mi_photon_light(result, state);
}

struct Place {
    miVector point;
};

TEST_SHADER(plain_volume_photons, Place) {
    state->point = VALUE(point);
    return mi_compute_volume_irradiance(result, state);
}
