// Photons for shaders.
#include "photons/photon_irradiance.h"
#include "photons/photon_tracing.h"
#include "support/quasi_random.h"

#include "shader.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <span>

using namespace lumorender;

namespace {

double randomNumber(miState* state) { return scrambledSobol(state->qmc_instance, 0, takeSeed(*state)); }

/// A way that a photon may take, with the color that it then has.
struct Way {
    miRay_type type;
    miColor* color;
    double share;  ///< of photons that are not swallowed, before anything else is known
};

double meanOf(const miColor* color) {
    if (!color) return 0;
    const double mean =
        (static_cast<double>(color->r) + static_cast<double>(color->g) + static_cast<double>(color->b)) / 3;
    return std::isfinite(mean) ? std::max(mean, 0.0) : 0;
}

/// One of the ways in proportion to `share` times the mean of its color, or none. Colors that give back more than comes
/// in leave no photon to be swallowed. The chosen color is divided by its probability, without `share`.
miRay_type choose(miState* state, std::span<const Way> ways) {
    double sum = 0;
    for (const Way& way : ways) sum += way.share * meanOf(way.color);
    const double scale = sum > 1 ? 1 / sum : 1;
    double left = randomNumber(state);
    const Way* last = nullptr;
    for (const Way& way : ways) {
        const double probability = scale * way.share * meanOf(way.color);
        if (!(probability > 0)) continue;
        last = &way;
        left -= probability;
        if (left < 0) break;
    }
    // Rounding may leave a little where nothing is swallowed.
    if (!last || (left >= 0 && sum < 1)) return miPHOTON_ABSORB;
    const auto factor = static_cast<float>(1 / (scale * meanOf(last->color)));
    *last->color = {last->color->r * factor, last->color->g * factor, last->color->b * factor, last->color->a};
    return last->type;
}

miVector onSphere(double cosine, double turn) {
    const double sine = std::sqrt(std::max(0.0, 1 - cosine * cosine));
    const double angle = 2 * M_PI * turn;
    return narrow(V3d{sine * std::cos(angle), sine * std::sin(angle), cosine});
}

}  // namespace

extern "C" {

miBoolean mi_photon_light(miColor* energy, miState* state) { return emitPhoton(*energy, state); }

miBoolean mi_photon_reflection_specular(miColor* energy, miState* state, miVector* dir) {
    return tracePhoton(*energy, state, *dir, miPHOTON_REFLECT_SPECULAR);
}

miBoolean mi_photon_reflection_glossy(miColor* energy, miState* state, miVector* dir) {
    return tracePhoton(*energy, state, *dir, miPHOTON_REFLECT_GLOSSY);
}

miBoolean mi_photon_reflection_diffuse(miColor* energy, miState* state, miVector* dir) {
    return tracePhoton(*energy, state, *dir, miPHOTON_REFLECT_DIFFUSE);
}

miBoolean mi_photon_transmission_specular(miColor* energy, miState* state, miVector* dir) {
    return tracePhoton(*energy, state, *dir, miPHOTON_TRANSMIT_SPECULAR);
}

miBoolean mi_photon_transmission_glossy(miColor* energy, miState* state, miVector* dir) {
    return tracePhoton(*energy, state, *dir, miPHOTON_TRANSMIT_GLOSSY);
}

miBoolean mi_photon_transmission_diffuse(miColor* energy, miState* state, miVector* dir) {
    return tracePhoton(*energy, state, *dir, miPHOTON_TRANSMIT_DIFFUSE);
}

miBoolean mi_photon_transparent(miColor* energy, miState* state) {
    return tracePhoton(*energy, state, state->dir, miPHOTON_TRANSPARENT);
}

miBoolean mi_photon_volume_scattering(miColor* energy, miState* state, miVector* dir) {
    return tracePhoton(*energy, state, *dir, miPHOTON_SCATTER_VOLUME);
}

miBoolean mi_store_photon(miColor* energy, miState* state) { return storePhoton(*energy, state); }

miBoolean mi_store_volume_photon(miColor* energy, miState* state) { return storeVolumePhoton(*energy, state); }

miRay_type mi_choose_scatter_type(miState* state, miScalar transp, miColor* diffuse, miColor* glossy,
                                  miColor* specular) {
    const double through = transp > 0 ? std::min(static_cast<double>(transp), 1.0) : 0;
    const std::array<Way, 6> ways = {{{miPHOTON_REFLECT_DIFFUSE, diffuse, 1 - through},
                                      {miPHOTON_REFLECT_GLOSSY, glossy, 1 - through},
                                      {miPHOTON_REFLECT_SPECULAR, specular, 1 - through},
                                      {miPHOTON_TRANSMIT_DIFFUSE, diffuse, through},
                                      {miPHOTON_TRANSMIT_GLOSSY, glossy, through},
                                      {miPHOTON_TRANSMIT_SPECULAR, specular, through}}};
    return choose(state, ways);
}

miRay_type mi_choose_simple_scatter_type(miState* state, miColor* diffuse_reflection, miColor* diffuse_transmission,
                                         miColor* specular_reflection, miColor* specular_transmission) {
    const std::array<Way, 4> ways = {{{miPHOTON_REFLECT_DIFFUSE, diffuse_reflection, 1},
                                      {miPHOTON_TRANSMIT_DIFFUSE, diffuse_transmission, 1},
                                      {miPHOTON_REFLECT_SPECULAR, specular_reflection, 1},
                                      {miPHOTON_TRANSMIT_SPECULAR, specular_transmission, 1}}};
    return choose(state, ways);
}

miScalar mi_scattering_pathlength(miState* state, miScalar k) {
    if (!(k > 0)) return miHUGE_SCALAR;
    return static_cast<miScalar>(-std::log1p(-randomNumber(state)) / static_cast<double>(k));
}

void mi_scattering_dir_diffuse(miVector* dir, miState* state) { mi_scattering_dir_directional(dir, state, 0); }

/* Light that a medium lets through unchanged. */
void mi_scattering_dir_specular(miVector* dir, miState* state) { *dir = state->dir; }

/* By the phase function (1 - k^2) / (4 pi (1 - k c)^2), c being the cosine between both directions. C. Schlick's, in P.
   Blasi et al., "A Rendering Algorithm for Discrete Volume Density Objects", Computer Graphics Forum 12(3), 1993. */
void mi_scattering_dir_directional(miVector* dir, miState* state, miScalar directionality) {
    const double k = std::clamp(std::isfinite(directionality) ? static_cast<double>(directionality) : 0.0, -1.0, 1.0);
    const std::uint32_t seed = takeSeed(*state);
    const double u = scrambledSobol(state->qmc_instance, 0, seed), v = scrambledSobol(state->qmc_instance, 1, seed);
    const double divisor = 1 + k * (2 * u - 1);
    const double cosine = divisor > 0 ? std::clamp((2 * u - 1 + k) / divisor, -1.0, 1.0) : -1.0;
    const Frame frame = frameAround(state->dir);
    const miVector local = onSphere(cosine, v);
    *dir = unit(frame.toWorld(local.x, local.y, local.z));
}

miBoolean mi_compute_volume_irradiance(miColor* result, miState* state) { return volumeIrradiance(result, state); }

}  // extern "C"
