/* What the light shaders have in common: parameters, the texture coordinate, shadows, and what a light tells the
 * material. A light computes its color; the rest is here.
 *
 *   const LightCall call(in.state(), "vexa_pointlight(): Internal state error.");
 *   if (!call) return miFALSE;
 *   if (... nothing of it gets here ...) return giveNothing(call, *result);
 *   const miScalar intensity = intensityAtPoint(call, in, in(&P::emission, &EmissionParameters::intensity));
 *   return giveLight(call, *result, in, intensity, {ShadowEmitter::kRadius, in(&P::lightRadius)});
 */
#pragma once

#include <cmath>

#include "SDK/color/color.h"
#include "SDK/passes/frame_buffers.h"
#include "SDK/framework/renderer_access.h"
#include "SDK/framework/parameters.h"

#include "shaders/lights/lumoVexaLightShadow.h"

namespace lumo {

/* Parameters in the order in which lights have them, most of them behind `lightRadius` and `decayRate`. */
struct EmissionParameters {
    miBoolean useDepthMapShadows;
    miBoolean emitDiffuse, emitSpecular;
    miColor color;
    miScalar intensity;
};

struct ShadowParameters {
    miBoolean useRayTraceShadows;
    miColor shadowColor;
    miInteger shadowRays;
    miInteger rayDepthLimit;
};

struct FogParameters {
    miScalar fogRadius;
    miInteger fogType; /* 0 thins out with the decay rate, 1 and 2 are denser around the light */
    miScalar fogIntensity;
    miTag lightProfile;
};

/* One call of a light shader: its records, fetched once. */
class LightCall {
public:
    /* Warns, and is false, when the integration placed no per-sample record. Otherwise the passes that the light
     * contributes to are settled. */
    LightCall(miState* state, const char* warning);

    explicit operator bool() const { return record_ != nullptr; }
    miState* state() const { return state_; }
    Vexabase& record() const { return *record_; }

    /* A surface asks for light. Otherwise a ray looks at the light itself. */
    bool isLightRay() const { return state_->type == miRAY_LIGHT; }

    /* Nobody would see the shadow: the sample counts too little, the material asked for none, or what is lit is an
     * occluder in a shadow ray. */
    bool wantsShadow() const;

    /* Whether the scene and the ray's levels allow for shadow rays. */
    bool tracesShadow(miInteger shadowRays, miInteger rayDepthLimit) const;

    /* Fills the passes, and turns `result`, the color before shadows, into the color that arrives. */
    void leaveUnshadowed(const miColor& result) const;
    void shadowFromMaps(miColor& result, const miColor& shadowColor) const;
    void shadowFromRays(miColor& result, const miColor& shadowColor, const ShadowEmitter& emitter,
                        miInteger shadowRays) const;

    /* For light rays, at last. Flat emitters leave their corners in the record themselves. */
    void describe(bool isAmbient, bool emitsDiffuse, bool emitsSpecular) const;

    /* For all other rays: what is seen is opaque, and lights nothing. */
    void showEmitter(miColor& result) const;

private:
    void shadow(miColor& result, const miColor& shadowColor, const Transmission& t) const;
    miUint rayCount(miInteger shadowRays) const;

    miState* const state_;
    Vexabase* const record_;
    FrameBufferInfo* entries_ = nullptr;
    miUint count_ = 0;
};

/* Where a light's shadows come from. */
struct ShadowSource {
    bool usesMaps;
    miScalar intensity; /* shadow colors of shadow maps are scaled by it */
    ShadowEmitter emitter;
};

/* The same; black where a channel is not a number or not finite, so that a broken parameter darkens one light only. */
inline miColor finiteOrBlack(const miColor& c) {
    return std::isfinite(c.r) && std::isfinite(c.g) && std::isfinite(c.b) ? c : BLACK;
}

/* The shadow of one sample, of a light with `ShadowParameters shadow`. */
template <class P>
void castShadows(const LightCall& call, miColor& result, const ShaderHelper<P>& in, const ShadowSource& source) {
    const auto shadow = [&in](auto member) { return in(&P::shadow, member); };
    LightData& data = call.record().light;
    data.shadowFraction = 0;
    data.color = result;
    if (!call.wantsShadow()) return call.leaveUnshadowed(result);

    if (source.usesMaps && call.state()->options->use_shadow_maps) {
        miColor color = shadow(&ShadowParameters::shadowColor);
        scaleRgb(color, source.intensity);
        return call.shadowFromMaps(result, finiteOrBlack(color));
    }
    if (!shadow(&ShadowParameters::useRayTraceShadows)) return call.leaveUnshadowed(result);
    const miInteger rays = shadow(&ShadowParameters::shadowRays);
    if (!call.tracesShadow(rays, shadow(&ShadowParameters::rayDepthLimit))) return call.leaveUnshadowed(result);
    call.shadowFromRays(result, finiteOrBlack(shadow(&ShadowParameters::shadowColor)), source.emitter, rays);
}

/* The end of a call, of a light with `EmissionParameters emission` too: its color times `intensity`, and its shadow. */
template <class P>
miBoolean giveLight(const LightCall& call, miColor& result, const ShaderHelper<P>& in, miScalar intensity,
                    const ShadowEmitter& emitter) {
    const auto emission = [&in](auto member) { return in(&P::emission, member); };
    result = emission(&EmissionParameters::color);
    scaleRgb(result, intensity);
    result = finiteOrBlack(result);
    if (!call.isLightRay()) {
        call.showEmitter(result);
        return miTRUE;
    }
    castShadows(call, result, in, {emission(&EmissionParameters::useDepthMapShadows) != 0, intensity, emitter});
    call.describe(false, emission(&EmissionParameters::emitDiffuse) != 0,
                  emission(&EmissionParameters::emitSpecular) != 0);
    return miTRUE;
}

/* The end of a call when nothing of the light gets to the point, or a ray looks at its dark side. */
miBoolean giveNothing(const LightCall& call, miColor& result);

/* The first texture coordinate while it lives, for textures that are connected to the light's parameters. */
class LightTexture {
public:
    LightTexture(miState* state, const miVector& coordinate) : LightTexture(state, [&] { return coordinate; }) {}

    /* Calls `coordinate` only where something is connected that could look at it. */
    template <class Coordinate>
    LightTexture(miState* state, const Coordinate& coordinate) {
        if (state->shader && state->shader->has_connections) place(state, coordinate());
    }
    ~LightTexture();

    LightTexture(const LightTexture&) = delete;
    LightTexture& operator=(const LightTexture&) = delete;

private:
    void place(miState* state, const miVector& coordinate);

    miState* state_ = nullptr;
    miVector* list_ = nullptr;
    miVector own_; /* for a state without texture coordinates; else the first one, to be put back */
};

/* The state's point, in the light's space. */
miVector pointInLight(miState* state);

/* The way that the light takes: the state's ray is that itself, or looks at the light the other way. */
miVector lightDirection(const LightCall& call);

/* Directions around the light, unrolled: longitude, latitude (0 to 1 each) and the z of the point itself. */
miVector sphericalCoordinate(const miVector& pointInLightSpace);

}  // namespace lumo
