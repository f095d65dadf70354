/* What surfaces do to photons: the twins of materials, for the slot `photon`. */
#include "lobes/fresnel.h"
#include "module/export.h"
#include "photons/scatter.h"
#include "physics/dgs.h"
#include "physics/dielectric.h"

namespace materials {

namespace {

struct PhotonBasic {
    miColor diffuse, specular, transp;
    miScalar ior_frac;
};

struct Nothing {};

/* Light stays only where something of it is seen. */
void leave(const miColor& energy, miState* state, const miColor& diffuse) {
    miColor arriving = energy;
    if (!isBlack(diffuse)) mi_store_photon(&arriving, state);
}

bool photonBasic(miColor& energy, miState* state, PhotonBasic& p) {
    if (!miRAY_PHOTON(state->type)) return false;
    const Parameters in(state);
    const HitScope hit(state);
    state->normal = unit(state->normal, state->normal_geom);
    miColor diffuse = in.reflectance(p.diffuse), specular = in.reflectance(p.specular),
            transp = in.reflectance(p.transp);
    leave(energy, state, diffuse);
    const miRay_type way = mi_choose_simple_scatter_type(state, &diffuse, nullptr, &specular, &transp);
    if (way == miPHOTON_ABSORB) return true;
    const miColor chosen = way == miPHOTON_REFLECT_DIFFUSE    ? diffuse
                           : way == miPHOTON_REFLECT_SPECULAR ? specular
                                                              : transp;
    const miScalar given = in(p.ior_frac), ratio = given > 0 ? clamped(given, .01f, 100) : 1;
    /* The ratio is that of what is entered by what is left, whichever side is hit. */
    const miScalar ior = isInside(state) ? 1 / ratio : ratio;
    ScatteredPhoton(state, state->normal, nullptr, ior).follow(energy * chosen, way);
    return true;
}

bool dgsPhoton(miColor& energy, miState* state, Dgs& p) {
    if (!miRAY_PHOTON(state->type)) return false;
    const Parameters in(state);
    const HitScope hit(state);
    state->normal = unit(state->normal, state->normal_geom);
    DgsSurface surface = surfaceOf(in, p);
    leave(energy, state, surface.diffuse);
    const miRay_type way =
        mi_choose_scatter_type(state, surface.transp, &surface.diffuse, &surface.glossy, &surface.specular);
    if (way == miPHOTON_ABSORB) return true;
    const bool isDiffuse = way == miPHOTON_REFLECT_DIFFUSE || way == miPHOTON_TRANSMIT_DIFFUSE;
    const bool isGlossy = way == miPHOTON_REFLECT_GLOSSY || way == miPHOTON_TRANSMIT_GLOSSY;
    const Facets lobe = surface.lobe(state);
    ScatteredPhoton(state, state->normal, &lobe, surface.ior)
        .follow(energy * (isDiffuse  ? surface.diffuse
                          : isGlossy ? surface.glossy
                                     : surface.specular),
                way);
    return true;
}

/* A photon goes one way or the other, as often as light does. */
bool dielectricPhoton(miColor& energy, miState* state, Dielectric& p) {
    if (!miRAY_PHOTON(state->type)) return false;
    const Parameters in(state);
    const HitScope hit(state);
    state->normal = unit(state->normal, state->normal_geom);
    const DielectricSide side(state, in, p);
    energy = energy * side.clear;
    const miScalar share = dielectricFresnel(clamped(std::fabs(dot(state->normal, state->dir)), 0, 1), side.ior);
    miVector dir = state->dir;
    const bool goesThrough =
        randomNumber(state) >= static_cast<double>(share) && refracted(dir, state->dir, state->normal, 1 / side.ior);
    if (goesThrough) {
        mi_photon_transmission_specular(&energy, state, &dir);
    } else {
        dir = aboveSurface(state, mirrored(state->dir, state->normal));
        mi_photon_reflection_specular(&energy, state, &dir);
    }
    return true;
}

bool transparentHullPhoton(miColor& energy, miState* state, Nothing&) {
    if (!miRAY_PHOTON(state->type)) return false;
    mi_photon_transparent(&energy, state);
    return true;
}

}  // namespace

MATERIALS_SHADER(mib_photon_basic, miColor, PhotonBasic, photonBasic)
MATERIALS_SHADER(dgs_material_photon, miColor, Dgs, dgsPhoton)
MATERIALS_SHADER(dielectric_material_photon, miColor, Dielectric, dielectricPhoton)
MATERIALS_SHADER(transmat_photon, miColor, Nothing, transparentHullPhoton)

}  // namespace materials
