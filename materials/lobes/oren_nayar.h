/* Rough diffuse surfaces. */
#pragma once

#include "math/vector.h"

#include <algorithm>

namespace materials {

/*
 * Light that a rough matte surface sends to the viewer, for light from `light`, with its cosine; Lambert's cosine at
 * roughness 0. Source: Oren and Nayar, "Generalization of Lambert's Reflectance Model", SIGGRAPH 1994, without the
 * light between facets.
 */
class OrenNayar {
public:
    /* view: towards the viewer; all vectors of unit length. roughness: slope of the facets, radians */
    OrenNayar(miScalar roughness, const miVector& normal, const miVector& view)
        : normal_(normal),
          cosView_(std::clamp(dot(normal, view), 1e-4f, 1.0f)),
          viewInPlane_(view - normal * dot(normal, view)) {
        const miScalar squared = roughness * roughness;
        a_ = 1 - .5f * squared / (squared + .33f);
        b_ = .45f * squared / (squared + .09f);
    }

    miScalar operator()(const miVector& light) const {
        const miScalar cosLight = dot(normal_, light);
        if (!(cosLight > 0)) return 0;
        if (b_ == 0) return cosLight;
        /* cos(dphi) sin(light) sin(view), which sin(max) tan(min) makes of it by the larger of the two cosines */
        const miScalar turned = dot(viewInPlane_, light);
        return cosLight * (a_ + b_ * std::max(0.0f, turned) / std::max(cosLight, cosView_));
    }

private:
    miVector normal_;
    miScalar cosView_;
    miVector viewInPlane_;
    miScalar a_, b_;
};

}  // namespace materials
