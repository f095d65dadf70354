/* compute_reflection: what a surface mirrors. */
#include "SDK/lumo.h"

#include "SDK/color/color.h"
#include "SDK/passes/level_filters.h"
#include "SDK/surface/secondary_rays.h"

namespace lumo {
namespace {

miVector turnedToEye(miVector normal, const miState* state) {
    if (mi_vector_dot(&normal, &state->dir) > 0) mi_vector_neg(&normal);
    return normal;
}

/* The side of the true surface that the ray came from; of the shading normal where nothing else is known. */
miVector sideOf(const miState* state, const ReflectionSettings& settings) {
    const miVector& normal = state->normal_geom;
    return turnedToEye(mi_vector_dot(&normal, &state->dir) != 0 ? normal : settings.normal, state);
}

/* Bumps and smooth normals would send some rays into the surface: those are mirrored by it once more. */
miVector outward(const miVector& dir, const miVector& side) {
    return mi_vector_dot(&dir, &side) < 0 ? mirrored(dir, side) : dir;
}

Lobe lobeOf(const miState* state, const ReflectionSettings& settings) {
    Lobe lobe{settings.lobe, {settings.lobeWidth[0], settings.lobeWidth[1]}, settings.reflectionBlur};
    lobe.normal = turnedToEye(settings.normal, state);
    lobe.tangent = settings.lobeTangent;
    lobe.dir = state->dir;
    return lobe;
}

/* Where no ray goes: a picture of the surroundings if the material has one, else the environment. */
bool mirrorSurroundings(miColor* result, miState* state, const ReflectionSettings& settings, const miVector& dir) {
    if (settings.colorIsMap) {
        *result = WHITE;
        return true;
    }
    const HitScope hit(state);
    return mi_trace_environment(result, state, &dir);
}

}  // namespace
}  // namespace lumo

miBoolean compute_reflection(miColor* result, miState* state, const ReflectionSettings* settings, PassState* passes,
                             miUint count, FrameBufferInfo* entries) {
    using namespace lumo;
    *result = kBlack;
    const FrameBuffers buffers{passes, {entries, count}};
    const miVector side = sideOf(state, *settings);
    const miVector dir = outward(mirrored(state->dir, settings->normal), side);
    miColor weight = settings->color * settings->reflectivity;
    weight.a = 1;
    if (mayTrace(state, RayKind::kReflection, settings->reflectionLimit)) {
        const RayBundle bundle = {RayKind::kReflection, dir, side, lobeOf(state, *settings), settings->reflectionRays};
        *result = traceBundle(state, buffers, bundle, weight, RayKind::kReflection);
        return miTRUE;
    }
    if (mirrorSurroundings(result, state, *settings, dir)) {
        depositUntraced(buffers, state, *result * weight);
        return miTRUE;
    }
    *result = kBlack;
    return miFALSE;
}
