/*
 * Surfaces in indirect light: result = emission + reflectance * average radiance. Settings other than 0 go into a record
 * of the call; `recordsize` makes it as short as older modules have it.
 */
#include "shader.h"

struct plain_gather {
    miColor emission;
    miColor reflectance;
    miBoolean back;
    miInteger rays;
    miScalar maxradius;
    miInteger points;
    miInteger force;
    miInteger recordsize;
};

DLLEXPORT int plain_gather_version(void);
DLLEXPORT miBoolean plain_gather(miColor* result, miState* state, struct plain_gather* paras);

DLLEXPORT int plain_gather_version(void) { return 1; }

DLLEXPORT miBoolean plain_gather(miColor* result, miState* state, struct plain_gather* paras) {
    const miColor* reflectance = mi_eval_color(&paras->reflectance);
    const int rays = *mi_eval_integer(&paras->rays), force = *mi_eval_integer(&paras->force);
    const int points = *mi_eval_integer(&paras->points), size = *mi_eval_integer(&paras->recordsize);
    const miScalar maxradius = *mi_eval_scalar(&paras->maxradius);
    miIrrad_options options;
    miColor indirect = {0, 0, 0, 0};

    miIRRAD_DEFAULT(&options, state);
    if (rays) options.finalgather_rays = rays;
    if (maxradius > 0) options.finalgather_maxradius = maxradius;
    options.finalgather_points = (miUint)points;
    options.finalgather_force = (miUint)force;
    if (size) options.size = (miUint)size;
    mi_compute_avg_radiance(&indirect, state, *mi_eval_boolean(&paras->back) ? 'b' : 'f', &options);

    *result = *mi_eval_color(&paras->emission);
    result->r += reflectance->r * indirect.r;
    result->g += reflectance->g * indirect.g;
    result->b += reflectance->b * indirect.b;
    result->a = 1;
    return miTRUE;
}

/* What is asked and answered within final gathering: r its state, g the stage, b 1 where the ray is one of its own. */
DLLEXPORT int plain_gather_state_version(void);
DLLEXPORT miBoolean plain_gather_state(miColor* result, miState* state, void* paras);

DLLEXPORT int plain_gather_state_version(void) { return 1; }

DLLEXPORT miBoolean plain_gather_state(miColor* result, miState* state, void* paras) {
    int inside = -1, stage = -1;
    miColor wrong = {9, 9, 9, 9};
    (void)paras;
    mi_query(miQ_FINALGATHER_STATE, state, 0, &inside);
    mi_query(miQ_STAGE, state, 0, &stage);
    miColorSet(result, (miScalar)inside, (miScalar)stage, state->type == miRAY_FINALGATHER, 1);
    if (inside > 0) mi_fb_put(state, 1, &wrong);
    return miTRUE;
}

/* Stores a constant irradiance for its place while points are made, then shows what is known there. */
struct plain_gather_store {
    miColor irradiance;
};

DLLEXPORT int plain_gather_store_version(void);
DLLEXPORT miBoolean plain_gather_store(miColor* result, miState* state, struct plain_gather_store* paras);

DLLEXPORT int plain_gather_store_version(void) { return 1; }

DLLEXPORT miBoolean plain_gather_store(miColor* result, miState* state, struct plain_gather_store* paras) {
    miColor irradiance = *mi_eval_color(&paras->irradiance);
    const miBoolean stored = mi_finalgather_store(&irradiance, state, 2);
    if (!mi_compute_irradiance(result, state)) return miFALSE;
    result->a = stored ? 1 : 0;
    return miTRUE;
}
