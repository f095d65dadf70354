/* What is around surfaces: a point light with shadows, a shadow shader, surroundings and fog. */
#include "shader.h"

struct plain_light {
    miColor color;
    miBoolean shadow;
    miBoolean falloff;
};

DLLEXPORT int plain_light_version(void);
DLLEXPORT miBoolean plain_light(miColor *result, miState *state, struct plain_light *paras);

DLLEXPORT int plain_light_version(void)
{
    return 1;
}

DLLEXPORT miBoolean plain_light(miColor *result, miState *state, struct plain_light *paras)
{
    miScalar d;
    *result = *mi_eval_color(&paras->color);
    if (state->type != miRAY_LIGHT)
        return miTRUE;
    if (*mi_eval_boolean(&paras->falloff)) {
        d = (miScalar)(state->dist * state->dist);
        result->r /= d;
        result->g /= d;
        result->b /= d;
    }
    if (*mi_eval_boolean(&paras->shadow))
        return mi_trace_shadow(result, state);
    return miTRUE;
}

/* Lets a part of the light through; in segment mode the rest of the way comes first. */
struct plain_shadow {
    miColor transmission;
};

DLLEXPORT int plain_shadow_version(void);
DLLEXPORT miBoolean plain_shadow(miColor *result, miState *state, struct plain_shadow *paras);

DLLEXPORT int plain_shadow_version(void)
{
    return 1;
}

DLLEXPORT miBoolean plain_shadow(miColor *result, miState *state, struct plain_shadow *paras)
{
    const miColor *transmission = mi_eval_color(&paras->transmission);
    if (state->options->shadow == 's' && !mi_trace_shadow_seg(result, state))
        return miFALSE;
    result->r *= transmission->r;
    result->g *= transmission->g;
    result->b *= transmission->b;
    return !miColorIsBlack(result);
}

/* Two colors, blended by how far the direction points up (y). */
struct plain_environment {
    miColor down;
    miColor up;
};

DLLEXPORT int plain_environment_version(void);
DLLEXPORT miBoolean plain_environment(miColor *result, miState *state, struct plain_environment *paras);

DLLEXPORT int plain_environment_version(void)
{
    return 1;
}

DLLEXPORT miBoolean plain_environment(miColor *result, miState *state, struct plain_environment *paras)
{
    const miColor *down = mi_eval_color(&paras->down), *up = mi_eval_color(&paras->up);
    const miScalar t = .5f + .5f * state->dir.y;
    result->r = down->r + t * (up->r - down->r);
    result->g = down->g + t * (up->g - down->g);
    result->b = down->b + t * (up->b - down->b);
    result->a = down->a + t * (up->a - down->a);
    return miTRUE;
}

/* Even fog: what is behind weakens as exp(-density * way); infinitely far away there is only fog. */
struct plain_fog {
    miColor color;
    miScalar density;
};

DLLEXPORT int plain_fog_version(void);
DLLEXPORT miBoolean plain_fog(miColor *result, miState *state, struct plain_fog *paras);

DLLEXPORT int plain_fog_version(void)
{
    return 1;
}

DLLEXPORT miBoolean plain_fog(miColor *result, miState *state, struct plain_fog *paras)
{
    const miColor *color = mi_eval_color(&paras->color);
    const miScalar density = *mi_eval_scalar(&paras->density);
    miScalar clear;
    if (state->type == miRAY_LIGHT)
        return miTRUE;
    clear = state->dist > 0 ? (miScalar)exp(-density * state->dist) : 0;
    result->r = color->r + clear * (result->r - color->r);
    result->g = color->g + clear * (result->g - color->g);
    result->b = color->b + clear * (result->b - color->b);
    result->a = color->a + clear * (result->a - color->a);
    return miTRUE;
}
