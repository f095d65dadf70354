/* The light loop of surface materials: every light of the instance, from the front and where it matters from behind,
 * into the sums of the composition and, sample by sample, into the passes.
 */
#pragma once

#include <concepts>

#include "SDK/surface/surface_point.h"

namespace lumo {

/* Light times term: first with the light as sampled, second with the light before shadows. */
struct LitSums {
    miColor color[2] = {kBlack, kBlack};

    void add(const miColor& term, const miColor& light, const miColor& unshadowed) {
        color[0] = color[0] + term * light;
        color[1] = color[1] + term * unshadowed;
    }
    void scale(miScalar factor) {
        color[0] = color[0] * factor;
        color[1] = color[1] * factor;
    }
};

struct LightSample {
    miTag light = miNULLTAG;
    miColor color = kBlack;
    miVector direction = {0, 0, 0}; /* from the point to the light */
    miScalar cosine = 0;
};

/* Light as a component sees it that scatters it by its direction. */
struct LightFromDirection {
    miVector direction; /* from the point to the light, unit length */
    miScalar cosine;    /* with the normal; of an area light the integral over it */
    miScalar strength;  /* on a plane that faces the light: 1, or of an area light the integral over it */
};

/* One component for both terms of a material that scatters light by its direction. It has, besides values():
 *   miColor body(const Values&, const SurfacePoint&, const LightFromDirection&) const      in the place of diffuse
 *   miColor through(const Values&, const SurfacePoint&, const LightFromDirection&) const   of translucence
 *   miColor shine(const Values&, const SurfacePoint&, const LightFromDirection&) const     of specular
 * and the material's helper says by isLitAllAround() whether light from behind the normal counts as any other. */
template <class Diffuse, class Specular>
concept ScattersByDirection = std::same_as<Diffuse, Specular>;

/* Renderers ask no light from behind a surface. A hit that is not known has no such side. */
class NoSidesScope {
public:
    explicit NoSidesScope(miState* state) : state_(state), hit_(state->pri) { state_->pri = nullptr; }
    ~NoSidesScope() { state_->pri = hit_; }

    NoSidesScope(const NoSidesScope&) = delete;
    NoSidesScope& operator=(const NoSidesScope&) = delete;

private:
    miState* const state_;
    decltype(miState::pri) const hit_;
};

/* Turns the surface around while it lives. */
class BackSideScope {
public:
    explicit BackSideScope(miState* state) : state_(state) { turn(); }
    ~BackSideScope() { turn(); }

    BackSideScope(const BackSideScope&) = delete;
    BackSideScope& operator=(const BackSideScope&) = delete;

private:
    void turn() {
        mi_vector_neg(&state_->normal);
        mi_vector_neg(&state_->normal_geom);
    }

    miState* const state_;
};

template <class H, class Diffuse, class Specular>
class SurfaceLights {
public:
    SurfaceLights(const H& in, const SurfacePoint& point, const PassWriter& passes, const Diffuse& diffuse,
                  const Specular& specular)
        : in_(in),
          point_(point),
          data_(point.record->light),
          passes_(passes),
          diffuse_(diffuse),
          specular_(specular),
          specularValues_(specular.values(in, point)) {}

    void run() {
        int count = 0;
        miTag* lights = nullptr;
        mi_instance_lightlist(&count, &lights, point_.state);
        for (int i = 0; lights && i < count; ++i)
            if (lights[i] != miNULLTAG) lightBothSides(lights[i]);
    }

    /* Two colors each, as the composition takes them. */
    const miColor* direct() const { return direct_.color; }
    const miColor* specular() const { return specularSums_.color; }

    /* Share of the light that was blocked. */
    miScalar shadowRatio() const { return arrived_ > VEXA_EPS ? blocked_ / arrived_ : 0; }

private:
    /* Which samples of a run count. */
    enum class Take { kFront, kBehind, kAmbient };

    /* The sums of one run. */
    struct Run {
        LitSums direct, specular;
        miScalar facing = 0;
    };

    /* Whether a run had samples that count, and such that another run is for. */
    struct Found {
        bool samples = false, others = false;
    };

    /* A light behind the surface is rejected by the renderer before its shader is called, so the surface is turned
     * around for it: when light shines through, when the sample lights both sides, and for ambient light, which knows
     * no sides. That light is asked without shadows, or the surface itself would cast one; what kind of light it is
     * only its shader tells. */
    void lightBothSides(miTag light) {
        if constexpr (ScattersByDirection<Diffuse, Specular>) {
            if (in_.isLitAllAround()) {
                const NoSidesScope scope(point_.state);
                sampleLight<Take::kFront>(light);
                return;
            }
        }
        const bool bothSides = point_.translucence != 0 || point_.record->lightsBackSide;
        const Found front = sampleLight<Take::kFront>(light);
        if (!bothSides && front.samples) return;
        const BackSideScope turned(point_.state);
        const bool mayBeAmbient = !bothSides || sampleLight<Take::kBehind>(light).others;
        if (mayBeAmbient && !front.samples) sampleLight<Take::kAmbient>(light);
    }

    template <Take take>
    Found sampleLight(miTag light) {
        data_ = LightData{};
        data_.flipsCosine = take != Take::kFront;
        data_.withoutSampleTerms = !point_.composition.perSample || take == Take::kAmbient;
        const bool onlyThrough = take == Take::kBehind && !point_.record->lightsBackSide;

        Run run;
        Found found;
        LightSample sample;
        sample.light = light;
        int samples = 0;
        passes_.beginLight();
        while (mi_sample_light(&sample.color, &sample.direction, &sample.cosine, point_.state, light, &samples)) {
            passes_.takeForeignLight(sample.color, light);
            if (take != Take::kFront && (take == Take::kAmbient) != (data_.isAmbient != 0)) {
                found.others = true;
                continue;
            }
            // Seen from behind, the cosine is that of the turned normal.
            if (data_.flipsCosine) sample.cosine = -sample.cosine;
            found.samples = true;
            if (onlyThrough)
                addThrough(sample, run);
            else
                addSample(sample, run);
        }
        // A run that met the kind of light that another run is for has nothing to write.
        const bool counts = found.samples || (take != Take::kAmbient && !found.others);
        passes_.endLight(counts ? samples : 0);
        if (counts && samples > 0) fold(run, samples);
        return found;
    }

    void fold(Run& run, int samples) {
        const miScalar share = 1 / static_cast<miScalar>(samples);
        if (samples > 1) {
            run.direct.scale(share);
            run.specular.scale(share);
        }
        const miUint bits[2][2] = {{kTermDirect, kTermSpecular}, {kTermDirectNoShadow, kTermSpecularNoShadow}};
        for (int k = 0; k < 2; ++k) {
            if (point_.wants(bits[k][0])) direct_.color[k] = direct_.color[k] + run.direct.color[k];
            if (point_.wants(bits[k][1])) specularSums_.color[k] = specularSums_.color[k] + run.specular.color[k];
        }
        passes_.writeScalar(kPassLightScalar, run.facing * share);
    }

    void addSample(LightSample& sample, Run& run) {
        miColor body = data_.isAmbient ? addAmbient(sample, run) : kBlack;
        if (data_.emitsDiffuse) addIrradiance(sample);
        if (point_.wants(kTermShadowRatio)) addShadow(sample.cosine);
        if (data_.emitsDiffuse) body = body + addDiffuse(sample, diffuseTerm(sample), run);
        run.facing += (sample.cosine + 1) / 2;
        const miColor shine = data_.emitsSpecular ? addSpecular(sample, run) : kBlack;
        addWhole(body * (1 - point_.transparency) + shine);
    }

    /* Translucence alone. All other terms have the front's light, which for an area light may be that of both sides. */
    void addThrough(LightSample& sample, Run& run) {
        if (data_.emitsDiffuse && data_.corners) sample.cosine = areaCosine();
        if (point_.wants(kTermShadowRatio)) addShadow(sample.cosine);
        const miColor body = data_.emitsDiffuse ? addDiffuse(sample, kBlack, run) : kBlack;
        run.facing += (sample.cosine + 1) / 2;
        addWhole(body * (1 - point_.transparency));
    }

    miColor addAmbient(const LightSample& sample, Run& run) {
        const miColor& color = point_.diffuseMaterial;
        run.direct.add(color, sample.color, data_.color);
        if (!passes_.isOpen()) return color;
        passes_.addLit(kPassAmbientIrradiance, WHITE);
        passes_.addLit(kPassAmbient, color);
        return color;
    }

    /* An area light's cosine is that of all its points. The normal is the unturned one: from behind it is negative. */
    miScalar areaCosine() const {
        return arealight_lambertian_reflect(&point_.state->point, &point_.normal, data_.corners);
    }

    void addIrradiance(LightSample& sample) {
        if (data_.corners) sample.cosine = areaCosine();
        if (!(sample.cosine > 0) || !passes_.isOpen()) return;
        const miColor cosine = {sample.cosine, sample.cosine, sample.cosine, 1};
        for (const PassType type : {kPassDirectIrradiance, kPassDirectIrradianceNoShadow, kPassShadowIrradiance})
            passes_.addLit(type, cosine);
        passes_.addLitLuminance(kPassShadowCosine, cosine);
    }

    void addShadow(miScalar cosine) {
        const miScalar light = luminance(data_.color);
        arrived_ += light;
        if (cosine > 0) blocked_ += light * data_.shadowFraction;
    }

    /* What the surface scatters back, and what shines through it. */
    miColor addDiffuse(const LightSample& sample, const miColor& scattered, Run& run) {
        miColor through = kBlack;
        if (point_.translucence != 0) {
            through = translucence(sample);
            passes_.addLit(kPassTranslucence, through);
            passes_.addLit(kPassTranslucenceNoShadow, through);
        }
        const miColor diffuse = scattered + through;
        run.direct.add(diffuse, sample.color, data_.color);
        if (!passes_.isOpen()) return diffuse;
        passes_.addLit(kPassDiffuse, diffuse);
        passes_.addLit(kPassDiffuseNoShadow, diffuse);
        return diffuse;
    }

    miColor addSpecular(const LightSample& sample, Run& run) {
        const miColor specular = specularTerm(sample);
        run.specular.add(specular, sample.color, data_.color);
        if (!passes_.isOpen()) return specular;
        passes_.addLit(kPassSpecular, specular);
        passes_.addLit(kPassSpecularNoShadow, specular);
        return specular;
    }

    miColor diffuseTerm(const LightSample& sample) const {
        if constexpr (ScattersByDirection<Diffuse, Specular>)
            return specular_.body(specularValues_, point_, fromDirection(sample));
        else
            return diffuse_.term(in_, point_, point_.diffuseMaterial, sample.cosine);
    }

    miColor translucence(const LightSample& sample) const {
        if constexpr (ScattersByDirection<Diffuse, Specular>)
            return specular_.through(specularValues_, point_, fromDirection(sample));
        else
            return point_.color * compute_lambert_translucence(point_.state, sample.cosine, &sample.direction,
                                                               point_.translucence, point_.translucenceFocus,
                                                               point_.translucenceDepth, data_.corners);
    }

    LightFromDirection fromDirection(const LightSample& sample) const {
        LightFromDirection light = {sample.direction, sample.cosine, 1};
        mi_vector_normalize(&light.direction);
        if (data_.corners)
            light.strength = arealight_lambertian_reflect(&point_.state->point, &light.direction, data_.corners);
        return light;
    }

    miColor specularTerm(const LightSample& sample) const {
        if constexpr (requires { Specular::kIsBlack; }) {
            return kBlack;
        } else if constexpr (ScattersByDirection<Diffuse, Specular>) {
            return specular_.shine(specularValues_, point_, fromDirection(sample));
        } else {
            if (!data_.corners) return specular_.term(specularValues_, point_, sample.cosine, sample.direction);
            // A light that lies wholly behind the surface has no highlight, though the mirror may see its edge.
            const miScalar whole = data_.emitsDiffuse ? sample.cosine : areaCosine();
            if (!(whole > 0)) return kBlack;
            // The point of an area light that the mirror shows best stands for the whole light.
            miVector direction;
            const miScalar weight = arealight_max_phong_spec_dir(&point_.state->point, &point_.mirror, data_.corners,
                                                                 sample.light, &direction);
            const miScalar cosine = mi_vector_dot(&point_.mirror, &direction);
            return specular_.term(specularValues_, point_, cosine, direction) * weight;
        }
    }

    /* Everything that this sample shows of the surface. */
    void addWhole(const miColor& color) {
        if (!passes_.isOpen()) return;
        passes_.addLit(kPassShadow, color);
        passes_.addLitLuminance(kPassShadowLuminance, color);
        if (point_.hideSource) return;
        passes_.addLit(kPassBeauty, color);
        passes_.addLit(kPassBeautyNoShadow, color);
    }

    const H& in_;
    const SurfacePoint& point_;
    LightData& data_;
    const PassWriter& passes_;
    const Diffuse& diffuse_;
    const Specular& specular_;
    const typename Specular::Values specularValues_;

    LitSums direct_, specularSums_;
    miScalar arrived_ = 0, blocked_ = 0;
};

}  // namespace lumo
