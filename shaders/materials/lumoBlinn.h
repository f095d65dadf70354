/* Highlights of facets, as lumoVexaBlinn has them, for parameter records with `eccentricity` and `specularRollOff`. */
#pragma once

#include "SDK/surface/surface_gloss.h"
#include "SDK/surface/lobes.h"

namespace lumo {

template <class P>
class FacetHelper : public GlossHelper<P> {
public:
    using GlossHelper<P>::GlossHelper;

    /* The squared distribution of the highlight is that of facets with slopes of this width. */
    void shapeLobe(const SurfacePoint& point, ReflectionSettings& settings) const {
        miVector across;
        settings.lobe = kLobeFacets;
        settings.lobeWidth[0] = settings.lobeWidth[1] = (*this)(&P::eccentricity);
        tangentsOf(point.normal, settings.lobeTangent, across);
    }
};

struct FacetHighlight : Highlight {
    template <class P>
    explicit FacetHighlight(const FacetHelper<P>& in)
        : Highlight(in), eccentricity(in(&P::eccentricity)), specularRollOff(in(&P::specularRollOff)) {}

    /* Not above 0 there is none. */
    miScalar strength(const SurfacePoint& point, miScalar cosine, const miVector& light) const {
        return compute_blinn_specular(cosine, point.normalEye, &light, eccentricity, specularRollOff, secondaryScale,
                                      &point.normal, point.state);
    }

    miScalar eccentricity, specularRollOff;
};

}  // namespace lumo
