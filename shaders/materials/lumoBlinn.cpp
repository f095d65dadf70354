/* lumoVexaBlinn: surface of small facets, as of metal, with a highlight that grows at grazing angles, and a mirror.
 *
 * Parameters: those of lumoVexaLambert, the gloss parameters (SDK/surface/surface_gloss.h), and
 *   eccentricity     width of the highlight, 0 to 1
 *   specularRollOff  share of the light that is reflected head on; at grazing angles all is
 * Formula: compute_blinn_specular (SDK/surface/specular.cpp).
 *
 * Example:
 *   shader "brass" "lumoVexaBlinn" ( "color" .4 .3 .1, "specularColor" 1 .8 .4, "eccentricity" .25 )
 */
#include "SDK/framework/export_shader.h"
#include "shaders/materials/lumoBlinn.h"

namespace lumo {
namespace {

struct BlinnParameters {
    LambertParameters surface;
    GlossParameters gloss;
    miScalar eccentricity, specularRollOff;
};

using BlinnShaderHelper = FacetHelper<BlinnParameters>;

template <class P, class H>
struct BlinnSpecularComponent : StatelessComponent {
    using StatelessComponent::StatelessComponent;
    using Values = FacetHighlight;
    Values values(const H& in, const SurfacePoint&) const { return Values(in); }

    miColor term(const Values& values, const SurfacePoint& point, miScalar cosine, const miVector& light) const {
        return values.seen(cosine, [&] { return values.strength(point, cosine, light); });
    }
};

/* The mirror of the facets: blurred it is as wide as their highlight. */
template <class P, class H>
struct BlinnReflectionComponent : DefaultSpecularReflectionComponent<P, H> {
    using DefaultSpecularReflectionComponent<P, H>::DefaultSpecularReflectionComponent;
};

using Blinn = GlossySurface<BlinnParameters, BlinnShaderHelper, BlinnSpecularComponent, BlinnReflectionComponent>;

}  // namespace

LUMO_EXPORT_SHADER(lumoVexaBlinn, Blinn, "shaders/lumoBlinn")

}  // namespace lumo
