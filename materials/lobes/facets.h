/* Rough mirrors: surfaces of small facets with the GGX distribution, narrower along one axis than along the other. */
#pragma once

#include "math/vector.h"

namespace materials {

/*
 * Sources: Walter et al., "Microfacet Models for Refraction through Rough Surfaces", EGSR 2007; Heitz, "Understanding
 * the Masking-Shadowing Function", JCGT 3(2), 2014, and "Sampling the GGX Distribution of Visible Normals", JCGT 7(4),
 * 2018.
 */
class Facets {
public:
    /* Widths are above 0, at most 1. */
    Facets(const Frame& frame, miScalar widthU, miScalar widthV) : frame_(frame), u_(widthU), v_(widthV) {}

    /*
     * What the lobe sends to the viewer of light from `light`, with its cosine, times pi: as bright as a diffuse white
     * surface is, a light shines in it as its blurred mirror image does. Directions of unit length, away from the
     * surface. 0 where either is below it.
     */
    miScalar highlight(const miVector& view, const miVector& light) const;

    /* Normal of a facet that the viewer sees, from two numbers in [0, 1). */
    miVector facetNormal(const miVector& view, const double point[2]) const;

    const miVector& normal() const { return frame_.n; }

private:
    miScalar masking(const miVector& local) const;

    Frame frame_;
    miScalar u_, v_;
};

/*
 * Width of the facets' lobe for a gloss of 0 (as wide as a diffuse surface) to 1 (a mirror): 2^(-8 gloss). At 1 it is
 * what highlights have, about as wide as the sun.
 */
miScalar widthOfGloss(miScalar gloss);

}  // namespace materials
