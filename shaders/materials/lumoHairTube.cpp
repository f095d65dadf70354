/* lumoVexaHairTubeShader: hair and fibres that are modelled as thin tubes. Two highlights run around the tube, one of
 * the light that the surface mirrors and a tinted one of light that went through the fibre and was mirrored inside.
 *
 * Parameters: those of lumoVexaLambert, the gloss parameters (SDK/surface/surface_gloss.h; specularColor is the first
 * highlight's), and
 *   tubeDirection                             the surface's u (0) or v (1) leads from the root to the tip
 *   specularPower, specularShift              of the first highlight: how narrow, and how far towards the tip
 *   secondSpecularColor, ...Power, ...Shift   of the second
 *   tipColor                                  times color at the tip
 *   tipFade                                   share of the length over which the tip becomes clear
 * Formula: compute_hairtubeshader_specular of the directions to the light and of the eye's ray: 1 where light and eye
 * make the same angle with the fibre, as J. T. Kajiya and T. L. Kay found ("Rendering Fur with Three Dimensional
 * Textures", 1989). The shifts tilt the tangent towards the normal, after T. Scheuermann, "Practical Real-Time Hair
 * Rendering and Shading", 2004; the two highlights stand for those of S. R. Marschner et al., "Light Scattering from
 * Human Hair Fibers", 2003.
 *
 * Example:
 *   shader "fur" "lumoVexaHairTubeShader" ( "color" .3 .2 .1, "specularColor" .3 .3 .3, "secondSpecularColor" .3 .2 .1
 * )
 */
#include "SDK/framework/export_shader.h"
#include "SDK/surface/surface_gloss.h"
#include "shaders/materials/fibre.h"

#include <algorithm>

namespace lumo {
namespace {

struct HairTubeShaderParameters {
    LambertParameters surface;
    GlossParameters gloss;
    miInteger tubeDirection;
    miScalar specularPower, specularShift;
    miColor secondSpecularColor;
    miScalar secondSpecularPower, secondSpecularShift;
    miColor tipColor;
    miScalar tipFade;
};

class HairTubeShaderHelper : public GlossHelper<HairTubeShaderParameters> {
public:
    using GlossHelper::GlossHelper;
    using P = HairTubeShaderParameters;

    bool runsAlongV() const { return (*this)(&P::tubeDirection) != 0; }

    /* Where on the tube: 0 root, 1 tip. Without texture coordinates all of it is root. */
    miScalar along() const {
        const miVector* place = state()->tex_list;
        if (!place) return 0;
        return std::clamp(runsAlongV() ? place->y : place->x, 0.0f, 1.0f);
    }

    /* Share of the surface that is still there, so close to the tip. */
    miScalar presence() const {
        const miScalar fade = (*this)(&P::tipFade);
        return fade > 0 ? std::clamp((1 - along()) / fade, 0.0f, 1.0f) : 1;
    }

    miColor transparency() const {
        const miColor t = GlossHelper::transparency();
        const miScalar here = presence();
        return {1 - (1 - t.r) * here, 1 - (1 - t.g) * here, 1 - (1 - t.b) * here, t.a};
    }
    miScalar reflectivity(const SurfacePoint& point) const { return GlossHelper::reflectivity(point) * presence(); }

    /* The mirror of a tube is too small for a shape of its own. */
    void shapeLobe(const SurfacePoint&, ReflectionSettings& settings) const { settings.lobe = kLobeCone; }

    miVector tangent(const SurfacePoint& point) const {
        miVector u, v;
        get_derivs(point.state, &u, &v);
        return runsAlongV() ? v : u;
    }
};

/* Becomes the tip's color on the way there. */
template <class P, class H>
struct HairTubeDiffuseMaterialColorComponent : StatelessComponent {
    using StatelessComponent::StatelessComponent;
    miColor term(const H& in, const SurfacePoint& point) const {
        const miColor tip = in(&P::tipColor), &c = point.color;
        const miScalar t = in.along();
        return {c.r * (1 + t * (tip.r - 1)), c.g * (1 + t * (tip.g - 1)), c.b * (1 + t * (tip.b - 1)), c.a};
    }
};

template <class P, class H>
struct HairTubeSpecularComponent : StatelessComponent {
    using StatelessComponent::StatelessComponent;
    struct Band {
        miColor color;
        miScalar power;
        miVector tangent;
    };
    struct Values {
        miScalar secondaryScale;
        Band bands[2];
    };
    Values values(const H& in, const SurfacePoint& point) const {
        const miVector tangent = in.tangent(point);
        const miScalar here = in.presence();
        const miColor first = in.gloss(&GlossParameters::specularColor) * here;
        const miColor second = in(&P::secondSpecularColor) * here;
        const miVector& n = point.normal;
        return {in.gloss(&GlossParameters::secondarySpecularScale),
                {{first, in(&P::specularPower), tiltedTangent(tangent, n, in(&P::specularShift))},
                 {second, in(&P::secondSpecularPower), tiltedTangent(tangent, n, in(&P::secondSpecularShift))}}};
    }

    miColor term(const Values& values, const SurfacePoint& point, miScalar cosine, const miVector& light) const {
        miColor sum = kBlack;
        if (cosine <= 0) return sum;
        for (const Band& band : values.bands) {
            const miScalar s = compute_hairtubeshader_specular(band.power, &light, &point.state->dir, &band.tangent);
            sum = sum + tinted(highlightOnRay(s, values.secondaryScale, point.state), band.color);
        }
        return sum;
    }
};

/* Light comes out of a fibre in the color that it has there. */
template <class P, class H>
struct HairTubeScatterComponent : DefaultScatterComponent<P, H> {
    using DefaultScatterComponent<P, H>::DefaultScatterComponent;
    miColor term(const H& in, const SurfacePoint& point, ScatterCache*& cache) const {
        SurfacePoint inside = point;
        inside.color = point.diffuseMaterial;
        return DefaultScatterComponent<P, H>::term(in, inside, cache);
    }
};

/* The mirror of a tube, as far as the tube is there. */
template <class P, class H>
struct HairTubeReflectionComponent : DefaultSpecularReflectionComponent<P, H> {
    using DefaultSpecularReflectionComponent<P, H>::DefaultSpecularReflectionComponent;
};

using HairTube =
    GlossySurface<HairTubeShaderParameters, HairTubeShaderHelper, HairTubeSpecularComponent,
                  HairTubeReflectionComponent, HairTubeDiffuseMaterialColorComponent, HairTubeScatterComponent>;

}  // namespace

LUMO_EXPORT_SHADER(lumoVexaHairTubeShader, HairTube, "shaders/lumoHairTube")

}  // namespace lumo
