/* Light that passes through a surface on its way to another one. */
#pragma once

#include <algorithm>
#include <cmath>
#include <span>

#include "SDK/color/color.h"
#include "SDK/passes/frame_buffers.h"
#include "SDK/surface/surface_parameters.h"

namespace lumo {

/* Networks that are evaluated for a shadow ray see next to no footprint: nobody looks at the occluder. The six values
 * of the eye's hit are back afterwards. */
class ShadowFootprint {
public:
    explicit ShadowFootprint(Vexabase& record) : footprint_(record.footprint), before_(footprint_) {
        // The cross terms are 0, not next to 0.
        footprint_ = {1e-8f, 1e-8f, 0, 1e-8f, 1e-8f, 0};
    }
    ~ShadowFootprint() { footprint_ = before_; }

    ShadowFootprint(const ShadowFootprint&) = delete;
    ShadowFootprint& operator=(const ShadowFootprint&) = delete;

private:
    Footprint& footprint_;
    const Footprint before_;
};

/* How much of the light passes. `Source` has transparency(), shadowAttenuation() and transparencyDepth(), which are
 * read only when needed. In segmented mode dot_nd comes with the state, and `dist` is the way that ends here. */
template <class Source>
miColor shadowTransmission(miState* state, Vexabase& record, const Source& source) {
    const ShadowFootprint footprint(record);
    const bool segmented = state->options->shadow == 's';
    miColor t = source.transparency();
    if (!segmented) state->dot_nd = mi_vector_dot(&state->normal, &state->dir);

    // Less at grazing angles.
    const miScalar f = 1 - (1 - std::fabs(state->dot_nd)) * source.shadowAttenuation();
    scaleRgb(t, f < 0 ? 0 : f);

    // Where the ray leaves the object its way inside is known: only a way of the full depth takes the full tint.
    if (!segmented || !(state->dot_nd < 0)) return t;
    const miScalar depth = source.transparencyDepth();
    if (depth == 0) return t;
    const miScalar k = static_cast<miScalar>(state->dist) / depth;
    for (miScalar* channel : {&t.r, &t.g, &t.b}) {
        if (k < 1) *channel = *channel * k + (1 - k);
        if (*channel > 1) *channel = 1;
    }
    return t;
}

/* Whether less than this is left of the light, for the picture and for every pass that has shadows. */
inline bool isDimmer(const miColor& light, std::span<const FrameBufferInfo> entries, miScalar least) {
    const auto isDim = [least](const miColor& c) { return c.r < least && c.g < least && c.b < least; };
    constexpr miUint kCounts = kEntryShadowed | kEntryLightContributes;
    return isDim(light) && std::all_of(entries.begin(), entries.end(), [&](const FrameBufferInfo& entry) {
               return (entry.flags & kCounts) != kCounts || isDim(entry.shadowValue);
           });
}

/* A surface's share in a shadow ray: `result`, the light so far, and the passes' shadow values are attenuated. In
 * segmented mode the rest of the ray is traced from here, unless the caller does it. Returns whether light is left for
 * the picture or for some pass. A source with leastLight() takes less than that for none: it stands behind many of its
 * kind. */
template <class Source>
miBoolean passShadow(miColor* result, miState* state, Vexabase& record, const Source& source, bool continuesSegment) {
    const bool segment = continuesSegment && state->options->shadow == 's';
    if (state->dist == 0) {
        if (segment) {
            state->refraction_volume = miNULLTAG;
            mi_trace_shadow_seg(result, state);
        }
        return !isBlack(*result);
    }

    const FrameBuffers buffers = currentFrameBuffers(state);
    FrameBufferInfo* const entries = buffers.entries.data();
    const miUint count = buffers.count();
    const miColor t = shadowTransmission(state, record, source);
    if (isBlack(t)) {
        *result = kBlack;
        return applyShadowTransparencyToFrameBuffers(count, entries, &t, miFALSE, state);
    }
    if (segment) {
        state->refraction_volume = state->volume;
        mi_trace_shadow_seg(result, state);
    }
    result->r *= t.r;
    result->g *= t.g;
    result->b *= t.b;
    const bool passesLit = applyShadowTransparencyToFrameBuffers(count, entries, &t, miFALSE, state);
    if constexpr (requires { source.leastLight(); }) {
        if (!segment && isDimmer(*result, {entries, count}, source.leastLight())) {
            *result = kBlack;
            return applyShadowTransparencyToFrameBuffers(count, entries, &kBlack, miFALSE, state);
        }
    }
    return passesLit || !isBlack(*result);
}

/* The shadow of a surface material, when it serves as its own shadow shader. False ends the ray, which only materials
 * with a least light do. */
template <class H>
miBoolean castShadow(miColor* result, const H& in, Vexabase& record) {
    struct Source {
        const H& in;
        miColor transparency() const { return in.transparency(); }
        miScalar shadowAttenuation() const { return in.common(&LambertParameters::shadowAttenuation); }
        miScalar transparencyDepth() const { return in.common(&LambertParameters::transparencyDepth); }
        miScalar leastLight() const { return H::kLeastLight; }
    };
    miState* state = in.state();
    if (!in.common(&LambertParameters::hideSource)) {
        const miBoolean isLit = passShadow(result, state, record, Source{in}, true);
        return H::kLeastLight > 0 ? isLit : miTRUE;
    }
    if (state->options->shadow == 's') {
        state->refraction_volume = state->volume;
        mi_trace_shadow_seg(result, state);
    }
    return miTRUE;
}

}  // namespace lumo
