// Indirect light for shaders.
#include "gathering/final_gather.h"
#include "photons/photon_irradiance.h"

#include "shader.h"

#include <cmath>

using namespace lumorender;

namespace {

/// Gathered light, and what photons bring beside it: caustics always, and what is left of all light where nothing was
/// gathered. The ends of gathering rays take photons in place of gathering on.
miBoolean averageOf(miColor* result, miState* state, miUchar face, const miIrrad_options* options) {
    const RenderScene& scene = *contextOf(state).scene;
    if (!scene.gather && !scene.photons) {
        *result = {0, 0, 0, 0};
        return miFALSE;
    }
    const auto side = static_cast<char>(face);
    const bool gathered = !photonsEndGathering(state) && averageRadiance(result, state, side, options);
    if (!gathered) *result = {0, 0, 0, 0};
    miColor irradiance = {0, 0, 0, 0};
    if (!addPhotonIrradiance(irradiance, state, side, options, !gathered)) return gathered;
    constexpr auto kShare = static_cast<miScalar>(M_1_PI);
    *result = {result->r + kShare * irradiance.r, result->g + kShare * irradiance.g, result->b + kShare * irradiance.b,
               1};
    return miTRUE;
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
