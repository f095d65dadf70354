/* lumoVexaPhong: glossy surface with a round highlight, and a mirror.
 *
 * Parameters: those of lumoVexaLambert, the gloss parameters (SDK/surface/surface_gloss.h), and cosinePower: the
 * higher, the smaller the highlight.
 * Formula: compute_phong_specular (SDK/surface/specular.cpp).
 *
 * Example:
 *   shader "plastic" "lumoVexaPhong" ( "color" .1 .1 .8, "specularColor" .6 .6 .6, "cosinePower" 40 )
 */
#include "SDK/framework/export_shader.h"
#include "SDK/surface/surface_gloss.h"

namespace lumo {
namespace {

struct PhongParameters {
    LambertParameters surface;
    GlossParameters gloss;
    miScalar cosinePower;
};

class SpecularShaderHelper : public GlossHelper<PhongParameters> {
public:
    using GlossHelper::GlossHelper;

    void shapeLobe(const SurfacePoint&, ReflectionSettings& settings) const {
        settings.lobe = kLobePower;
        settings.lobeWidth[0] = (*this)(&PhongParameters::cosinePower);
    }
};

template <class P, class H>
struct PhongSpecularComponent : StatelessComponent {
    using StatelessComponent::StatelessComponent;
    struct Values {
        Highlight highlight;
        miScalar cosinePower;
    };
    Values values(const H& in, const SurfacePoint&) const { return {Highlight(in), in(&P::cosinePower)}; }

    miColor term(const Values& values, const SurfacePoint& point, miScalar cosine, const miVector& light) const {
        return values.highlight.seen(cosine, [&] {
            return compute_phong_specular(&point.mirror, values.cosinePower, values.highlight.secondaryScale, &light,
                                          point.state);
        });
    }
};

using Phong = GlossySurface<PhongParameters, SpecularShaderHelper, PhongSpecularComponent>;

}  // namespace

LUMO_EXPORT_SHADER(lumoVexaPhong, Phong, "shaders/lumoPhong")

}  // namespace lumo
