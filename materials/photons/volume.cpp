/* parti_volume_photon: what fog does to photons. */
#include "lights/light_list.h"
#include "module/export.h"
#include "photons/scatter.h"
#include "volumes/dust.h"

namespace materials {

namespace {

struct PartiVolumePhoton {
    miInteger mode;
    miColor scatter;
    miScalar extinction, r, g1, g2, height, nonuniform, min_step_len, max_step_len, light_dist;
    miInteger min_level;
    miBoolean no_globil_where_direct;
    LightArray lights;
};

/*
 * Distance to the next particle, below `end`, which may be infinite; -1: there is none. Steps through a medium that is as
 * thick everywhere as at its densest, of whose particles only so many exist as the place has. E. Woodcock et al.,
 * "Techniques used in the GEM code for Monte Carlo neutronics calculations", 1965.
 */
double nextParticle(miState* state, const Dust& dust, double end) {
    constexpr int kMostSteps = 100000;
    double way = 0;
    for (int i = 0; i < kMostSteps && dust.extinction() > 0; ++i) {
        way += static_cast<double>(mi_scattering_pathlength(state, dust.extinction() * dust.densest()));
        if (!(way < end)) break;
        const miVector place = state->org + state->dir * static_cast<miScalar>(way);
        if (dust.isAbove(place)) continue;
        const miScalar share = dust.densityAt(state, place) / dust.densest();
        if (share >= 1 || randomNumber(state) < static_cast<double>(share)) return way;
    }
    return -1;
}

/* A particle sends what it does not swallow in one of two lobes. */
void scatterAt(double way, miColor energy, miState* state, const Dust& dust, PartiVolumePhoton& p) {
    const Parameters in(state);
    const HitScope hit(state);
    const miColor albedo = dust.scatter() * (1 / dust.extinction());
    energy = energy * miColor{std::min(albedo.r, 1.0f), std::min(albedo.g, 1.0f), std::min(albedo.b, 1.0f), 1};
    state->point = state->org + state->dir * static_cast<miScalar>(way);
    state->dist = way;
    mi_store_volume_photon(&energy, state);
    const miScalar alive = (std::min(albedo.r, 1.0f) + std::min(albedo.g, 1.0f) + std::min(albedo.b, 1.0f)) / 3;
    if (!(randomNumber(state) < static_cast<double>(alive))) return;
    energy = energy * (1 / alive);
    const bool isFirst = randomNumber(state) < static_cast<double>(in.share(p.r));
    miVector dir;
    mi_scattering_dir_directional(&dir, state, in.within(isFirst ? p.g1 : p.g2, -.999f, .999f));
    mi_photon_volume_scattering(&energy, state, &dir);
}

/* True where the photon comes through to the surface that it goes to. */
bool partiVolumePhoton(miColor& energy, miState* state, PartiVolumePhoton& p) {
    if (!miRAY_PHOTON(state->type)) return false;
    const Parameters in(state);
    const double end = state->dist > 0 ? state->dist : std::numeric_limits<double>::infinity();
    const Dust dust(in, p);
    const double way = nextParticle(state, dust, end);
    if (way < 0) return true;
    scatterAt(way, energy, state, dust, p);
    return false;
}

}  // namespace

MATERIALS_SHADER(parti_volume_photon, miColor, PartiVolumePhoton, partiVolumePhoton)

}  // namespace materials
