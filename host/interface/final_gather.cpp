// Indirect light for shaders.
#include "gathering/final_gather.h"
#include "support/messages.h"

#include "shader.h"

#include <atomic>
#include <cmath>

using namespace lumorender;

namespace {

miBoolean averageOf(miColor* result, miState* state, miUchar face, const miIrrad_options* options) {
    const miOptions& scene = *state->options;
    static std::atomic<bool> told{false};
    if ((scene.globillum || scene.caustic) && !told.exchange(true))
        warning("API", "photons are not supported: indirect light comes from final gathering only");
    return averageRadiance(result, state, static_cast<char>(face), options);
}

/// Light from all over a hemisphere, weighted by the cosine, is pi times its average.
void scaleToIrradiance(miColor& color) {
    constexpr auto kPi = static_cast<miScalar>(M_PI);
    color = {kPi * color.r, kPi * color.g, kPi * color.b, color.a};
}

}  // namespace

extern "C" {

miBoolean mi_compute_irradiance(miColor* result, miState* state) {
    const miBoolean ok = averageOf(result, state, 'f', nullptr);
    scaleToIrradiance(*result);
    return ok;
}

miBoolean mi_compute_irradiance_backside(miColor* result, miState* state) {
    const miBoolean ok = averageOf(result, state, 'b', nullptr);
    scaleToIrradiance(*result);
    return ok;
}

miBoolean mi_compute_avg_radiance(miColor* result, miState* state, miUchar face, miIrrad_options* options) {
    return averageOf(result, state, face, options);
}

miBoolean mi_finalgather_store(miColor* irradiance, miState* state, int mode) {
    constexpr int kCompute = 1, kSet = 2;
    if (mode == kSet) return storeIrradiance(*irradiance, state);
    if (mode != kCompute) return miFALSE;
    const miBoolean ok = gatherAnew(irradiance, state);
    scaleToIrradiance(*irradiance);
    return ok;
}

}  // extern "C"
