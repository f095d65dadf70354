// Indirect light for shaders.
#include "support/messages.h"

#include "shader.h"

namespace {

miBoolean noIndirectLight(miColor* result, const miState* state) {
    *result = {0, 0, 0, 0};
    const miOptions* options = state->options;
    if (options->finalgather || options->globillum || options->caustic)
        lumorender::warning("API", "indirect light is not supported yet: shaders get none");
    return miFALSE;
}

}  // namespace

extern "C" {

miBoolean mi_compute_irradiance(miColor* result, miState* state) {
    return noIndirectLight(result, state);
}

miBoolean mi_compute_irradiance_backside(miColor* result, miState* state) {
    return noIndirectLight(result, state);
}

miBoolean mi_compute_avg_radiance(miColor* result, miState* state, miUchar, miIrrad_options*) {
    return noIndirectLight(result, state);
}

miBoolean mi_finalgather_store(miColor* irradiance, miState* state, int) {
    return noIndirectLight(irradiance, state);
}

}  // extern "C"
