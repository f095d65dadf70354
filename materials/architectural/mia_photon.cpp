#include "architectural/mia_photon.h"

#include "architectural/mia_levels.h"
#include "architectural/mia_reach.h"
#include "photons/scatter.h"

#include <optional>

namespace materials {

namespace {

miScalar meanOf(const miColor& color) { return (color.r + color.g + color.b) / 3; }

/* The layer whose lobe a photon takes, where both mirror. */
bool takesBase(miState* state, const MiaLevels& levels) {
    const miScalar base = meanOf(levels.baseReflection), top = meanOf(levels.reflection);
    return base > 0 && randomNumber(state) * static_cast<double>(base + top) < static_cast<double>(base);
}

/* A mirror's way is blurred where its gloss says so. */
miRay_type asGlossy(miRay_type way) {
    return way == miPHOTON_REFLECT_SPECULAR ? miPHOTON_REFLECT_GLOSSY : miPHOTON_TRANSMIT_GLOSSY;
}

}  // namespace

bool scatterPhoton(const MiaCall& call, miColor energy) {
    const auto& [state, p, x, in] = call;
    const miScalar opacity = in.share(p.cutout_opacity);
    if (!(randomNumber(state) < static_cast<double>(opacity))) return mi_photon_transparent(&energy, state), true;
    const HitScope hit(state);
    const MiaSurface surface(call);
    state->normal = surface.bumped;
    const MiaLevels levels(call, surface);
    const bool isSheet = in.isOn(p.thin_walled);
    if (isInside(state) && !isSheet) energy = energy * insideReach(call).transmission(state->dist);
    if (!isBlack(levels.diffuse) || !isBlack(levels.translucency)) mi_store_photon(&energy, state);

    miColor diffuse = levels.diffuse, translucent = levels.translucency, through = levels.refraction;
    miColor mirrored = levels.reflection + levels.baseReflection;
    if (!in.isOn(p.do_refractive_caustics) && state->type == miPHOTON_LIGHT) through = kBlack;
    const miRay_type way = mi_choose_simple_scatter_type(state, &diffuse, &translucent, &mirrored, &through);
    if (way == miPHOTON_REFLECT_DIFFUSE || way == miPHOTON_TRANSMIT_DIFFUSE)
        return ScatteredPhoton(state, surface.diffuse, nullptr, 1)
            .follow(energy * (way == miPHOTON_REFLECT_DIFFUSE ? diffuse : translucent), way);
    if (way == miPHOTON_ABSORB) return true;

    const bool reflects = way == miPHOTON_REFLECT_SPECULAR;
    const bool isBase = reflects && takesBase(state, levels);
    const miVector& normal = isBase ? surface.base : surface.bumped;
    const miScalar gloss = in.share(isBase ? x->refl_base_gloss : reflects ? p.refl_gloss : p.refr_gloss);
    const Facets lobe = facetsOf(call, normal, gloss);
    const miScalar ior = isSheet ? 1 : in.within(p.refr_ior, .01f, 100);
    return ScatteredPhoton(state, normal, &lobe, ior)
        .follow(energy * (reflects ? mirrored : through), gloss < 1 ? asGlossy(way) : way);
}

}  // namespace materials
