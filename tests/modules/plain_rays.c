/*
 * A surface that sends one ray on: result = own + tint * what came back, or own + otherwise where the ray was refused.
 * mode: 0 transparent, 1 reflection, 2 refraction (ior), 3 continue, 4 environment in the mirror direction.
 */
#include "shader.h"

struct plain_rays {
    miInteger mode;
    miColor own;
    miColor tint;
    miColor otherwise;
    miScalar ior;
};

DLLEXPORT int plain_rays_version(void);
DLLEXPORT miBoolean plain_rays(miColor* result, miState* state, struct plain_rays* paras);

/* The surface normal faces the ray; inv_normal tells that the ray is on its way out. */
static miBoolean refracted(miColor* behind, miState* state, miScalar ior) {
    const miScalar in = state->inv_normal ? ior : 1, out = state->inv_normal ? 1 : ior;
    miVector dir;
    if (!mi_refraction_dir(&dir, state, in, out)) return miFALSE;
    return mi_trace_refraction(behind, state, &dir);
}

static miBoolean traced(miColor* behind, miState* state, int mode, miScalar ior) {
    miVector dir;
    switch (mode) {
        case 0: return mi_trace_transparent(behind, state);
        case 1: mi_reflection_dir(&dir, state); return mi_trace_reflection(behind, state, &dir);
        case 2: return refracted(behind, state, ior);
        case 3: return mi_trace_continue(behind, state);
        default: mi_reflection_dir(&dir, state); return mi_trace_environment(behind, state, &dir);
    }
}

DLLEXPORT int plain_rays_version(void) { return 1; }

DLLEXPORT miBoolean plain_rays(miColor* result, miState* state, struct plain_rays* paras) {
    const miColor* tint = mi_eval_color(&paras->tint);
    miColor behind = {0, 0, 0, 0};
    *result = *mi_eval_color(&paras->own);
    if (traced(&behind, state, *mi_eval_integer(&paras->mode), *mi_eval_scalar(&paras->ior))) {
        result->r += tint->r * behind.r;
        result->g += tint->g * behind.g;
        result->b += tint->b * behind.b;
        result->a += tint->a * behind.a;
    } else {
        miColorAddScaled(result, mi_eval_color(&paras->otherwise), 1);
    }
    return miTRUE;
}
