/* compute_reflection: what a surface mirrors. */
#include "lumo.h"

#include "color.h"
#include "secondary_rays.h"

miBoolean compute_reflection(miColor* result, miState* state, const ReflectionSettings* settings, PassState* passes,
                             miUint count, FrameBufferInfo* entries)
{
    using namespace lumo;
    *result = kBlack;
    if (!mayTrace(state, RayKind::kReflection, settings->reflectionLimit))
        return miFALSE;

    // A normal that turns away from the ray (a strong bump) would send the mirrored ray into the surface.
    miVector side = settings->normal;
    if (settings->normalEye < 0)
        mi_vector_neg(&side);
    miColor weight = settings->color * settings->reflectivity;
    weight.a = 1;
    const RayBundle bundle = {RayKind::kReflection, mirrored(state->dir, settings->normal), side,
                              settings->reflectionBlur, settings->reflectionRays};
    *result = traceBundle(state, {passes, {entries, count}}, bundle, weight, RayKind::kReflection);
    return miTRUE;
}
