/* Photons that a surface sends on. */
#pragma once

#include "rays/hit_scope.h"
#include "rays/reflections.h"
#include "rays/transmission.h"

namespace materials {

/* A number in [0, 1): another one with each call. */
inline double randomNumber(miState* state) {
    double number = .5;
    mi_sample(&number, nullptr, state, 1, nullptr);
    return number;
}

/* What the roulette has chosen for a photon, and where that leads. Directions stay on their side of the true surface. */
class ScatteredPhoton {
public:
    /* lobe: of glossy ways; null where the surface has none. ior: of the solid; 1 is a sheet */
    ScatteredPhoton(miState* state, const miVector& normal, const Facets* lobe, miScalar ior)
        : state_(state), normal_(normal), lobe_(lobe), ior_(ior) {}

    bool follow(miColor energy, miRay_type way) {
        const HitScope hit(state_);
        state_->normal = normal_;
        miVector dir = state_->dir;
        switch (way) {
            case miPHOTON_REFLECT_DIFFUSE:
                mi_reflection_dir_diffuse(&dir, state_);
                return mi_photon_reflection_diffuse(&energy, state_, &dir);
            case miPHOTON_TRANSMIT_DIFFUSE:
                return mi_transmission_dir_diffuse(&dir, state_) &&
                       mi_photon_transmission_diffuse(&energy, state_, &dir);
            case miPHOTON_REFLECT_SPECULAR: return reflect(energy, normal_, false);
            case miPHOTON_REFLECT_GLOSSY: return reflect(energy, facet(), true);
            case miPHOTON_TRANSMIT_SPECULAR: return transmit(energy, normal_, false);
            case miPHOTON_TRANSMIT_GLOSSY: return transmit(energy, facet(), true);
            default: return false;
        }
    }

private:
    miVector facet() const {
        double point[2] = {.5, .5};
        mi_sample(point, nullptr, state_, 2, nullptr);
        return lobe_ ? lobe_->facetNormal(-state_->dir, point) : normal_;
    }

    bool reflect(miColor& energy, const miVector& facet, bool isGlossy) {
        miVector dir = aboveSurface(state_, mirrored(state_->dir, facet));
        return isGlossy ? mi_photon_reflection_glossy(&energy, state_, &dir)
                        : mi_photon_reflection_specular(&energy, state_, &dir);
    }

    bool transmit(miColor& energy, const miVector& facet, bool isGlossy) {
        miVector dir = state_->dir;
        if (ior_ == 1)
            dir = mirrored(mirrored(dir, facet), normal_);
        else if (!refracted(dir, state_->dir, facet, isInside(state_) ? ior_ : 1 / ior_))
            return reflect(energy, facet, isGlossy);
        if (dot(dir, state_->normal_geom) > 0) dir = mirrored(dir, state_->normal_geom);
        return isGlossy ? mi_photon_transmission_glossy(&energy, state_, &dir)
                        : mi_photon_transmission_specular(&energy, state_, &dir);
    }

    miState* state_;
    const miVector normal_;
    const Facets* lobe_;
    miScalar ior_;
};

}  // namespace materials
