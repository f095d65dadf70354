/* lumoVexaPhongE: glossy surface whose highlight has a definite size and an edge that is soft or hard, and a mirror.
 *
 * Parameters: those of lumoVexaLambert, the gloss parameters (SDK/surface/surface_gloss.h), and
 *   roughness      of the highlight: small values draw it together to a point, large ones make it a disc
 *   highlightSize  1 - cosine of the angle from the mirrored ray at which it ends
 *   whiteness      times specularColor
 * Formula, with u = 1 - cosine of light and mirrored ray and t = 1 - u / highlightSize:
 *   t roughness / (t^2 (roughness - 1) + 1), faded out where the light comes in at cosines below .1.
 *
 * Example:
 *   shader "lacquer" "lumoVexaPhongE" ( "color" .5 0 0, "roughness" .2, "highlightSize" .1 )
 */
#include "SDK/framework/export_shader.h"
#include "SDK/surface/surface_gloss.h"

#include <algorithm>
#include <cmath>

namespace lumo {
namespace {

struct PhongEParameters {
    LambertParameters surface;
    GlossParameters gloss;
    miScalar roughness, highlightSize;
    miColor whiteness;
};

class PhongEShaderHelper : public GlossHelper<PhongEParameters> {
public:
    using GlossHelper::GlossHelper;

    void shapeLobe(const SurfacePoint&, ReflectionSettings& settings) const {
        settings.lobe = kLobeSoft;
        settings.lobeWidth[0] = (*this)(&PhongEParameters::roughness);
        settings.lobeWidth[1] = (*this)(&PhongEParameters::highlightSize);
    }
};

template <class P, class H>
struct PhongESpecularComponent : StatelessComponent {
    using StatelessComponent::StatelessComponent;
    struct Values {
        Highlight highlight;
        miScalar roughness, highlightSize;
    };
    Values values(const H& in, const SurfacePoint&) const {
        Values values{Highlight(in), in(&P::roughness), in(&P::highlightSize)};
        values.highlight.color = values.highlight.color * in(&P::whiteness);
        return values;
    }

    miColor term(const Values& values, const SurfacePoint& point, miScalar cosine, const miVector& light) const {
        return values.highlight.seen(cosine, [&] {
            const miScalar s = intensity(values, point.mirror, cosine, light);
            return highlightOnRay(s, values.highlight.secondaryScale, point.state);
        });
    }

private:
    static miScalar intensity(const Values& values, const miVector& mirror, miScalar cosine, const miVector& light) {
        // Rounding may bring the cosine above 1, but even there a highlight without size ends.
        const miScalar u = std::max(1 - mi_vector_dot(&light, &mirror) / mi_vector_norm(&light), 0.0f);
        if (values.highlightSize <= u) return 0;
        const miScalar t = 1 - u / values.highlightSize;
        const miScalar q = t * t * (values.roughness - 1) + 1;
        const miScalar s = std::fabs(q) < VEXA_EPS ? 0 : t * values.roughness / q;
        // Towards the terminator it fades; what can hardly be seen anyway is left alone.
        return cosine < 0.1f && s > 0.001f ? s * cosine * 10 : s;
    }
};

using PhongE = GlossySurface<PhongEParameters, PhongEShaderHelper, PhongESpecularComponent>;

}  // namespace

LUMO_EXPORT_SHADER(lumoVexaPhongE, PhongE, "shaders/lumoPhongE")

}  // namespace lumo
