/* The default components of the surface template: one class per term, over the material's parameters and helper. A
 * material replaces those that differ by classes of the same shape:
 *
 *   explicit TheComponent(const H& in)                              captures parameters for the instance, if any
 *   miColor term(const H& in, SurfacePoint& point) const            most terms
 *   miColor term(const H&, const SurfacePoint&, const miColor& color, miScalar cosine) const       diffuse
 *   Values values(const H&, const SurfacePoint&) const              specular: parameters, once per call
 *   miColor term(const Values&, const SurfacePoint&, miScalar cosine, const miVector& light) const
 *
 * Diffuse and specular terms are free of light: the light loop multiplies them by what each pass receives.
 */
#pragma once

#include "SDK/surface/contribution_weight.h"
#include "SDK/surface/surface_parameters.h"
#include "SDK/surface/surface_point.h"

namespace lumo {

struct StatelessComponent {
    template <class H>
    explicit StatelessComponent(const H&) {}
};

template <class P, class H>
struct DefaultAmbientMaterialColorComponent : StatelessComponent {
    using StatelessComponent::StatelessComponent;
    miColor term(const H& in, const SurfacePoint&) const { return in.common(&LambertParameters::ambientColor); }
};

template <class P, class H>
struct DefaultAmbientComponent : StatelessComponent {
    using StatelessComponent::StatelessComponent;
    miColor term(const H&, const SurfacePoint& point) const { return point.ambientMaterial * point.color; }
};

template <class P, class H>
struct DefaultDiffuseMaterialColorComponent : StatelessComponent {
    using StatelessComponent::StatelessComponent;
    miColor term(const H&, const SurfacePoint& point) const { return point.color; }
};

/* Lambert's law. */
template <class P, class H>
struct DefaultDiffuseComponent : StatelessComponent {
    using StatelessComponent::StatelessComponent;
    miColor term(const H&, const SurfacePoint& point, const miColor& color, miScalar cosine) const {
        return cosine < 0 ? kBlack : color * cosine * point.diffuse;
    }
};

template <class P, class H>
struct DefaultSpecularComponent : StatelessComponent {
    using StatelessComponent::StatelessComponent;
    static constexpr bool kIsBlack = true; /* the loop need not look for a direction */
    struct Values {};
    Values values(const H&, const SurfacePoint&) const { return {}; }
    miColor term(const Values&, const SurfacePoint&, miScalar, const miVector&) const { return kBlack; }
};

template <class P, class H>
struct DefaultReflectionComponent : StatelessComponent {
    using StatelessComponent::StatelessComponent;
    miColor term(const H&, SurfacePoint&, const PassWriter&) const { return kBlack; }
};

template <class P, class H>
struct DefaultRefractionComponent : StatelessComponent {
    using StatelessComponent::StatelessComponent;
    miColor term(const H& in, SurfacePoint& point, const PassWriter& passes) const {
        point.refractionTraced = false;
        if (point.hideSource || !in.common(&LambertParameters::refractions)) return kBlack;
        RefractionSettings settings{};
        settings.refractions = miTRUE;
        settings.transparency = point.transparency;
        readRest(in, point, settings);

        miColor color;
        // A composition that leaves refraction out looks straight through the surface: passes take what that shows.
        const FrameBuffers buffers = point.wants(kTermRefraction) ? passes.traced() : FrameBuffers{};
        point.refractionTraced =
            compute_refraction(&color, point.state, &settings, buffers.passes, buffers.count(), buffers.entries.data());
        return color;
    }

private:
    static void readRest(const H& in, const SurfacePoint& point, RefractionSettings& settings) {
        settings.refractiveIndex = in.common(&LambertParameters::refractiveIndex);
        settings.refractionDepth = point.wants(kTermRefraction) ? in.common(&LambertParameters::refractionDepth) : 0;
        settings.lightAbsorbance = in.common(&LambertParameters::lightAbsorbance);
        settings.surfaceThickness = in.common(&LambertParameters::surfaceThickness);
        settings.shadowAttenuation = in.common(&LambertParameters::shadowAttenuation);
        settings.transparencyDepth = in.common(&LambertParameters::transparencyDepth);
        settings.chromaticAberration = in.common(&LambertParameters::chromaticAberration);
        settings.refractionBlur = in.common(&LambertParameters::refractionBlur);
        settings.refractionLimit = in.common(&LambertParameters::refractionLimit);
        settings.refractionRays = in.common(&LambertParameters::refractionRays);
    }
};

template <class P, class H>
struct DefaultScatterComponent : StatelessComponent {
    using StatelessComponent::StatelessComponent;
    miColor term(const H& in, SurfacePoint& point, ScatterCache*& cache) const {
        const miScalar radius = in.common(&LambertParameters::scatterRadius);
        if (!(radius > 0)) return kBlack;
        ScatterSettings settings{};
        settings.scatterRadius = radius;
        settings.scatterColor = in.common(&LambertParameters::scatterColor);
        settings.scatterAccuracy = in.common(&LambertParameters::scatterAccuracy);
        settings.scatterFalloff = in.common(&LambertParameters::scatterFalloff);
        settings.scatterLimit = in.common(&LambertParameters::scatterLimit);
        settings.scatterCache = in.common(&LambertParameters::scatterCache);
        settings.diffuse = point.diffuse;
        settings.color = point.color;
        settings.translucence = point.translucence;
        settings.translucenceFocus = point.translucenceFocus;
        settings.translucenceDepth = point.translucenceDepth;
        settings.normalCamera = in.commonAddress(&LambertParameters::normalCamera);
        settings.irradiance = in.commonAddress(&LambertParameters::irradiance);
        settings.irradianceColor = in.commonAddress(&LambertParameters::irradianceColor);
        miColor color;
        compute_scatter(&color, point.state, &settings, &cache);
        return color;
    }
};

template <class P, class H>
struct DefaultIndirectComponent : StatelessComponent {
    using StatelessComponent::StatelessComponent;
    miColor term(const H& in, SurfacePoint& point) const {
        miColor color;
        const miColor* irradiance = in.commonAddress(&LambertParameters::irradiance);
        const miColor* irradianceColor = in.commonAddress(&LambertParameters::irradianceColor);
        compute_irradiance(&color, irradianceColor, point.diffuse, &point.color, &point.transparency,
                           point.glowIntensity, irradiance, point.state);
        return color;
    }
};

template <class P, class H>
struct DefaultIncandescenceComponent : StatelessComponent {
    using StatelessComponent::StatelessComponent;
    miColor term(const H& in, SurfacePoint&) const { return in.common(&LambertParameters::incandescence); }
};

/* Shapes the surface before anything else is known of it, by the state's normal and what it leaves in the helper, and
 * adds further outputs once the result is composed. One that has `miScalar displacement(const H&) const` makes the
 * material a displacement shader, too. */
template <class P, class Return, class H>
struct DefaultCustomComponent : StatelessComponent {
    using StatelessComponent::StatelessComponent;
    void prepare(const H&, const Vexabase&) const {}
    void write(const H&, const SurfacePoint&, const PassWriter&, Return&) const {}
};

}  // namespace lumo
