/* lumoVexaBlinn: surface of small facets, as of metal, with a highlight that grows at grazing angles, and a mirror.
 *
 * Parameters: those of lumoVexaLambert, the gloss parameters (SDK/surface_gloss.h), and
 *   eccentricity     width of the highlight, 0 to 1
 *   specularRollOff  share of the light that is reflected head on; at grazing angles all is
 * Formula: compute_blinn_specular (SDK/specular.cpp).
 *
 * Example:
 *   shader "brass" "lumoVexaBlinn" ( "color" .4 .3 .1, "specularColor" 1 .8 .4, "eccentricity" .25 )
 */
#include "SDK/export_shader.h"
#include "SDK/surface_gloss.h"
#include "SDK/tangents.h"

namespace lumo {
namespace {

struct BlinnParameters {
    LambertParameters surface;
    GlossParameters gloss;
    miScalar eccentricity, specularRollOff;
};

class BlinnShaderHelper : public GlossHelper<BlinnParameters> {
public:
    using GlossHelper::GlossHelper;

    /* The squared distribution of the highlight is that of facets with slopes of this width. */
    void shapeLobe(const SurfacePoint& point, ReflectionSettings& settings) const
    {
        miVector across;
        settings.lobe = kLobeFacets;
        settings.lobeWidth[0] = settings.lobeWidth[1] = (*this)(&BlinnParameters::eccentricity);
        tangentsOf(point.normal, settings.lobeTangent, across);
    }
};

template <class P, class H>
struct BlinnSpecularComponent : StatelessComponent {
    using StatelessComponent::StatelessComponent;
    struct Values {
        Highlight highlight;
        miScalar eccentricity, specularRollOff;
    };
    Values values(const H& in, const SurfacePoint&) const
    {
        return {Highlight(in), in(&P::eccentricity), in(&P::specularRollOff)};
    }

    miColor term(const Values& values, const SurfacePoint& point, miScalar cosine, const miVector& light) const
    {
        return values.highlight.seen(cosine, [&] {
            return compute_blinn_specular(cosine, point.normalEye, &light, values.eccentricity, values.specularRollOff,
                                          values.highlight.secondaryScale, &point.normal, point.state);
        });
    }
};

using Blinn = GlossySurface<BlinnParameters, BlinnShaderHelper, BlinnSpecularComponent>;

} // namespace

LUMO_EXPORT_SHADER(lumoVexaBlinn, Blinn, "shaders/lumoBlinn")

} // namespace lumo
