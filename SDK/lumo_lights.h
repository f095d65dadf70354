/* Part of SDK/lumo.h: what materials, lights and shadows tell each other, pass by pass. */
#ifndef LUMO_SDK_LUMO_LIGHTS_H
#define LUMO_SDK_LUMO_LIGHTS_H

#include "lumo_passes.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Lights and shadows ---------------------------------------------------------------------------------------- */

/* How a material, the light shaders and the shadow shaders exchange light pass by pass. `count` and `entries` are those
 * of getFrameBufferInfo; with a count of 0 nothing happens, but that shadows are still traced.
 *
 *   the material, per light   sampleLightBegin
 *                             while (mi_sample_light(...)) {
 *                                 handleNonLumoLights
 *                                 its terms times each entry's lightValue go to the entry's lightSum
 *                             }
 *                             sampleLightEnd
 *   a light shader            setupLightContributions, then one of
 *                             traceShadow | setLightIrradiance | traceShadowAccumulateBegin, ...Accumulate, ...End
 *   a shadow shader           applyShadowTransparencyToFrameBuffers
 */

/* What a light tells the material besides its color, in 12 words of the per-sample record. A material sets them to
 * these values before each light:
 *   0     1 ambient light         1, 2  light goes to diffuse, to specular terms    3    share that was blocked, 0 to 1
 *   4-7   color before shadows    8, 9  address of an area light's four corners     10   the cosine is to be negated
 *   11    set by the material: no shadows are traced */
LUMO_API extern const miUint defaultLightDataArray[12]; /* 0 1 1 0 0 0 0 0 0 0 0 0 */

/* Opens a light: clears the sums. */
LUMO_API void sampleLightBegin(miUint count, FrameBufferInfo* entries);

/* Call after each sample. A light of another library knows nothing of passes: its color then becomes the lightValue of
 * all entries that the pass mask of `light`, the light's instance, lets through; of the others it is BLACK. */
LUMO_API void handleNonLumoLights(miUint count, FrameBufferInfo* entries, const miColor* color, miTag light,
                                  miState* state);

/* Closes a light: writes the mean of `samples` samples, as mi_sample_light counted them, by passWriteColor. Nothing is
 * written when there was none. */
LUMO_API void sampleLightEnd(miState* state, miUint count, FrameBufferInfo* entries, miInteger samples,
                             const miUint* mode, const miCBoolean* flags, const miScalar* weight);

/* To be called first by a light shader: asks the light instance's pass mask which entries the light contributes to. */
LUMO_API void setupLightContributions(miUint count, FrameBufferInfo* entries, miState* state);

/* Traces the shadow ray of a light shader's state, and sets what arrives and what is shadowed for each entry.
 *   result       out: transmission, 1 is clear
 *   lightColor   where nothing is in the way
 *   shadowColor  where nothing gets through
 *   single       1: `result` serves all entries. 0: each has its own transmission, of those occluders alone whose pass
 *                masks include it
 * Returns 0 when the light is fully blocked. */
LUMO_API miBoolean traceShadow(miUint count, FrameBufferInfo* entries, miColor* result, const miColor* lightColor,
                               const miColor* shadowColor, miCBoolean single, miState* state);

/* For light without shadow. */
LUMO_API void setLightIrradiance(miUint count, FrameBufferInfo* entries, const miColor* irradiance);

/* For lights that trace several shadow rays: begin, once per ray accumulate, end. Each ray is that of the state, which
 * the light sets up. `result` and the returned value are those of traceShadow. */
LUMO_API void traceShadowAccumulateBegin(miUint count, FrameBufferInfo* entries);
LUMO_API miBoolean traceShadowAccumulate(miUint count, FrameBufferInfo* entries, miColor* result, miState* state);
/* Means over `samples` rays; with 0 the plain sums are used. */
LUMO_API void traceShadowAccumulateEnd(miUint count, FrameBufferInfo* entries, miUint samples,
                                       const miColor* lightColor, const miColor* shadowColor);

/* An occluder in a shadow ray, the hit instance of a shadow shader's state, of transparency T.
 *   accumulateOnly  0: attenuates shadowValue. 1: attenuates lightValue; entries that record blocked light add what is
 *                   taken away
 * Returns whether some entry with shadows still gets light. */
LUMO_API miBoolean applyShadowTransparencyToFrameBuffers(miUint count, FrameBufferInfo* entries,
                                                         const miColor* transparency, miCBoolean accumulateOnly,
                                                         miState* state);

/* Lights that are flat quadrilaterals, given by four corners in order around it. All vectors in internal space.
 * Null corners give 0. */

/* Stands for the cosine, of the whole light; not above 0 when it lies behind the surface. `normal` has unit length. */
LUMO_API miScalar arealight_lambertian_reflect(const miVector* point, const miVector* normal, const miVector* corners);

/* The direction, from the point to the light and of unit length, that comes closest to the reflected ray; the weight of
 * a highlight there: 1 where the ray hits the light, else the cosine of the two directions, not below 0. */
LUMO_API miScalar arealight_max_phong_spec_dir(const miVector* point, const miVector* reflection,
                                               const miVector* corners, miTag light, miVector* direction);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif
