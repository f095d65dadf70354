/* dielectric_material and its photons. */
#pragma once

#include "lights/light_list.h"
#include "rays/transmission.h"

namespace materials {

struct Dielectric {
    miColor col;
    miScalar ior;
    miColor col_out;
    miScalar ior_out;
    miBoolean ignore_normals;
    miScalar phong_coef;
    LightArray lights;
    miInteger mode;
};

/* A surface of it, as a ray or a photon meets it. */
struct DielectricSide {
    bool inside;
    miScalar ratio; /* index inside by that outside */
    miScalar ior;   /* of what lies behind by that of what the ray is in */
    miColor clear;  /* what the way here has left of the light */

    DielectricSide(const miState* state, const Parameters& in, const Dielectric& p)
        : inside(isRayInside(state, in.isOn(p.ignore_normals))) {
        ratio = indexOf(in(p.ior)) / indexOf(in(p.ior_out));
        ior = inside ? 1 / ratio : ratio;
        clear = afterWay(state, in.reflectance(inside ? p.col : p.col_out));
    }

private:
    static miScalar indexOf(miScalar given) { return given > 0 ? clamped(given, .01f, 100) : 1; }

    /* Every surface that is passed leads in or out: where normals cannot be trusted the ray counts them. */
    static bool isRayInside(const miState* state, bool ignoresNormals) {
        if (!ignoresNormals) return isInside(state);
        bool inside = false;
        for (const miState* ray = state; ray && ray->type != miRAY_EYE && ray->type != miPHOTON_LIGHT;
             ray = ray->parent)
            if (ray->type == miRAY_REFRACT || ray->type == miPHOTON_TRANSMIT_SPECULAR) inside = !inside;
        return inside;
    }

    /* A medium leaves `given` of light on a unit of its way; a black one means a clear one. */
    static miColor afterWay(const miState* state, const miColor& given) {
        if (isBlack(given)) return kWhite;
        const miColor color = {std::min(given.r, 1.0f), std::min(given.g, 1.0f), std::min(given.b, 1.0f), 1};
        return state->dist > 0 ? power(color, static_cast<miScalar>(std::min(state->dist, 1e6))) : kWhite;
    }
};

}  // namespace materials
