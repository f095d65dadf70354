/* Surface materials with highlights and mirrors: the parameters that they share, and the component of the mirror.
 *
 * A material of this kind is
 *   struct TheParameters { LambertParameters surface; GlossParameters gloss; ...its own };
 *   a helper that derives from GlossHelper<TheParameters> and has
 *       void shapeLobe(const SurfacePoint&, ReflectionSettings&) const    how its mirror blurs
 *   a component for its highlight, as a rule one for its mirror (that of the helper's lobe and reflectivity), and
 *   GlossySurface<TheParameters, TheHelper, TheSpecularComponent, TheReflectionComponent>.
 */
#pragma once

#include "SDK/surface/lobes.h"
#include "SDK/surface/surface.h"

namespace lumo {

struct GlossParameters {
    miColor specularColor;
    miScalar secondarySpecularScale; /* of highlights on rays that are no eye rays */
    miColor reflectedColor;
    miScalar reflectivity;
    miInteger reflectionLimit;
    miScalar reflectionBlur; /* 1 is as wide as the highlight */
    miInteger reflectionRays;
};

template <class P>
class GlossHelper : public SurfaceHelper<P> {
public:
    using SurfaceHelper<P>::SurfaceHelper;

    template <ParameterValue T>
    T gloss(T GlossParameters::* member) const {
        return (*this)(&P::gloss, member);
    }
    bool hasReflectionMap() const { return this->isConnectedAddress(&this->block()->gloss.reflectedColor); }

    /* A material whose reflectivity comes from elsewhere has one of its own. */
    miScalar reflectivity(const SurfacePoint&) const { return gloss(&GlossParameters::reflectivity); }
};

/* What is seen in the mirror, times color and reflectivity. */
template <class P, class H>
struct DefaultSpecularReflectionComponent : StatelessComponent {
    using StatelessComponent::StatelessComponent;
    miColor term(const H& in, SurfacePoint& point, const PassWriter& passes) const {
        ReflectionSettings settings{};
        settings.color = in.gloss(&GlossParameters::reflectedColor);
        settings.reflectivity = in.reflectivity(point);
        if (isBlack(settings.color) || !(settings.reflectivity > 0)) return kBlack;
        settings.colorIsMap = in.hasReflectionMap();
        settings.glowIntensity = point.glowIntensity;
        settings.normal = point.normal;
        settings.normalEye = point.normalEye;
        readBlur(in, point, settings);

        miColor color;
        const FrameBuffers buffers = passes.traced();
        compute_reflection(&color, point.state, &settings, buffers.passes, buffers.count(), buffers.entries.data());
        return color * (settings.color * settings.reflectivity);
    }

private:
    static void readBlur(const H& in, const SurfacePoint& point, ReflectionSettings& settings) {
        settings.reflectionLimit = in.gloss(&GlossParameters::reflectionLimit);
        settings.reflectionBlur = in.gloss(&GlossParameters::reflectionBlur);
        settings.reflectionRays = in.gloss(&GlossParameters::reflectionRays);
        if (settings.reflectionBlur > 0) in.shapeLobe(point, settings);
    }
};

/* Parameters of a highlight that are fixed for the point, and the frame of every specular component: light from behind
 * gives nothing; the model's number is tinted. */
struct Highlight {
    miColor color;
    miScalar secondaryScale;

    template <class H>
    explicit Highlight(const H& in)
        : color(in.gloss(&GlossParameters::specularColor)),
          secondaryScale(in.gloss(&GlossParameters::secondarySpecularScale)) {}

    template <class Model>
    miColor seen(miScalar cosine, Model model) const {
        return cosine <= 0 ? kBlack : tinted(model(), color);
    }
};

template <class P, class H, template <class, class> class Specular,
          template <class, class> class Reflection = DefaultSpecularReflectionComponent,
          template <class, class> class DiffuseMaterialColor = DefaultDiffuseMaterialColorComponent,
          template <class, class> class Scatter = DefaultScatterComponent>
using GlossySurface = Surface<P, SurfaceShaderReturnType, H, DefaultAmbientMaterialColorComponent<P, H>,
                              DefaultAmbientComponent<P, H>, DiffuseMaterialColor<P, H>, DefaultDiffuseComponent<P, H>,
                              Specular<P, H>, Reflection<P, H>, DefaultRefractionComponent<P, H>, Scatter<P, H>>;

}  // namespace lumo
