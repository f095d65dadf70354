/* What all lights bring to a point, found before the surface is shaded and without a trace in the passes. */
#pragma once

#include "SDK/color/color.h"
#include "SDK/surface/surface_lights.h"

namespace lumo {

struct ArrivingLight {
    miColor diffuse = kBlack; /* light times cosine, with shadows */
    miColor whole = kBlack;   /* light alone: as if nothing were in the way, and all of it came in straight */
    miScalar cosines = 0, luminances = 0;

    /* Of normal and light, -1 to 1, weighted by what the lights emit. Without light it is -1. */
    miScalar meanCosine() const { return luminances > VEXA_EPS ? cosines / luminances : -1; }

    void add(const ArrivingLight& other, miScalar share) {
        diffuse = diffuse + other.diffuse * share;
        whole = whole + other.whole * share;
        cosines += other.cosines * share;
        luminances += other.luminances * share;
    }
};

class LightMeter {
public:
    LightMeter(const SurfacePoint& point, bool shadows) : point_(point), shadows_(shadows) {}

    ArrivingLight measure() {
        const InUseGuard closed(publishedFrameBuffers(point_.state).entries);
        int count = 0;
        miTag* lights = nullptr;
        mi_instance_lightlist(&count, &lights, point_.state);
        for (int i = 0; lights && i < count; ++i) {
            if (lights[i] == miNULLTAG || sampleLight(lights[i], false)) continue;
            // Renderers reject lights behind a surface, so it is turned around for them.
            const BackSideScope turned(point_.state);
            sampleLight(lights[i], true);
        }
        return sum_;
    }

private:
    /* Returns whether the light gave samples. */
    bool sampleLight(miTag light, bool fromBehind) {
        LightData& data = point_.record->light;
        data = LightData{};
        data.flipsCosine = fromBehind;
        data.withoutSampleTerms = fromBehind || !shadows_ || !point_.composition.perSample;
        ArrivingLight here;
        miColor color = kBlack;
        miVector direction;
        miScalar cosine = 0;
        int samples = 0;
        bool hasSamples = false;
        while (mi_sample_light(&color, &direction, &cosine, point_.state, light, &samples)) {
            addSample(data, color, fromBehind ? -cosine : cosine, here);
            hasSamples = true;
        }
        if (hasSamples && samples > 0) sum_.add(here, 1 / static_cast<miScalar>(samples));
        return hasSamples;
    }

    void addSample(const LightData& data, const miColor& color, miScalar cosine, ArrivingLight& here) const {
        // Lights of other libraries do not tell what they emit.
        const miColor emitted = isBlack(data.color) ? color : data.color;
        if (data.isAmbient) {
            here.diffuse = here.diffuse + color;
            here.whole = here.whole + emitted;
        }
        if (!data.emitsDiffuse) return;
        if (data.corners) cosine = arealight_lambertian_reflect(&point_.state->point, &point_.normal, data.corners);
        if (cosine > 0) here.diffuse = here.diffuse + color * cosine;
        here.whole = here.whole + emitted;
        here.cosines += luminance(emitted) * cosine;
        here.luminances += luminance(emitted);
    }

    const SurfacePoint& point_;
    const bool shadows_;
    ArrivingLight sum_;
};

inline ArrivingLight measureLight(const SurfacePoint& point, bool shadows) {
    return LightMeter(point, shadows).measure();
}

}  // namespace lumo
