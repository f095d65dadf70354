// Rays that shaders send.
#include "tracing/pixel_footprint.h"
#include "tracing/tracing.h"

#include "shader.h"

using namespace lumorender;

extern "C" {

miBoolean mi_trace_eye(miColor* result, miState* state, const miVector* origin, const miVector* dir) {
    return traceEye(result, state, *origin, *dir);
}

void mi_ray_differential_transform(miState* state, const miMatrix matrix) { turnFootprints(state, matrix); }

miBoolean mi_trace_reflection(miColor* result, miState* state, const miVector* dir) {
    return traceReflection(result, state, *dir);
}

miBoolean mi_trace_refraction(miColor* result, miState* state, const miVector* dir) {
    return traceRefraction(result, state, *dir);
}

miBoolean mi_trace_transparent(miColor* result, miState* state) { return traceTransparent(result, state); }

miBoolean mi_trace_continue(miColor* result, miState* state) { return traceContinue(result, state); }

miBoolean mi_trace_environment(miColor* result, miState* state, const miVector* dir) {
    return traceEnvironment(result, state, *dir);
}

miBoolean mi_trace_probe(miState* state, const miVector* dir, const miVector* origin) {
    return traceProbe(state, *dir, *origin, RayVisibility::Reflection);
}

miBoolean mi_trace_probe_x(miState* state, const miVector* dir, const miVector* origin, miUint flag) {
    // What any of these trace flags shows; without one of them the probe is as the plain one.
    constexpr miUint kShown = miTRACE_VISIBLE | miTRACE_SHADOW_CAST | miTRACE_REFLECTION_CAST |
                              miTRACE_REFRACTION_CAST | miTRACE_TRANSPARENCY_CAST | miTRACE_FINALGATHER;
    const miUint shown = flag & kShown;
    return traceProbe(state, *dir, *origin, shown ? static_cast<RayVisibility>(shown) : RayVisibility::Reflection);
}

void mi_opacity_set(miState* state, const miColor* opacity) {
    ThreadContext& context = contextOf(state);
    context.opacity = *opacity;
    context.opacityIsSet = true;
}

miBoolean mi_opacity_get(miState* state, miColor* opacity) {
    const ThreadContext& context = contextOf(state);
    if (context.opacityIsSet) *opacity = context.opacity;
    return context.opacityIsSet;
}

}  // extern "C"
