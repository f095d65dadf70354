/* What is around surfaces: a point light with shadows, a shadow shader, surroundings and fog. */
#include "shader.h"

struct plain_light {
    miColor color;
    miBoolean shadow;
    miBoolean falloff;
};

DLLEXPORT int plain_light_version(void);
DLLEXPORT miBoolean plain_light(miColor* result, miState* state, struct plain_light* paras);

DLLEXPORT int plain_light_version(void) { return 1; }

DLLEXPORT miBoolean plain_light(miColor* result, miState* state, struct plain_light* paras) {
    miScalar d;
    *result = *mi_eval_color(&paras->color);
    if (state->type != miRAY_LIGHT) return miTRUE;
    if (*mi_eval_boolean(&paras->falloff)) {
        d = (miScalar)(state->dist * state->dist);
        result->r /= d;
        result->g /= d;
        result->b /= d;
    }
    if (*mi_eval_boolean(&paras->shadow)) return mi_trace_shadow(result, state);
    return miTRUE;
}

/* Lets a part of the light through; in segment mode the rest of the way comes first. */
struct plain_shadow {
    miColor transmission;
};

DLLEXPORT int plain_shadow_version(void);
DLLEXPORT miBoolean plain_shadow(miColor* result, miState* state, struct plain_shadow* paras);

DLLEXPORT int plain_shadow_version(void) { return 1; }

DLLEXPORT miBoolean plain_shadow(miColor* result, miState* state, struct plain_shadow* paras) {
    const miColor* transmission = mi_eval_color(&paras->transmission);
    if (state->options->shadow == 's' && !mi_trace_shadow_seg(result, state)) return miFALSE;
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
DLLEXPORT miBoolean plain_environment(miColor* result, miState* state, struct plain_environment* paras);

DLLEXPORT int plain_environment_version(void) { return 1; }

DLLEXPORT miBoolean plain_environment(miColor* result, miState* state, struct plain_environment* paras) {
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
DLLEXPORT miBoolean plain_fog(miColor* result, miState* state, struct plain_fog* paras);

DLLEXPORT int plain_fog_version(void) { return 1; }

DLLEXPORT miBoolean plain_fog(miColor* result, miState* state, struct plain_fog* paras) {
    const miColor* color = mi_eval_color(&paras->color);
    const miScalar density = *mi_eval_scalar(&paras->density);
    miScalar clear;
    if (state->type == miRAY_LIGHT) return miTRUE;
    clear = state->dist > 0 ? (miScalar)exp(-density * state->dist) : 0;
    result->r = color->r + clear * (result->r - color->r);
    result->g = color->g + clear * (result->g - color->g);
    result->b = color->b + clear * (result->b - color->b);
    result->a = color->a + clear * (result->a - color->a);
    return miTRUE;
}

/* A light that chooses the place of each sample itself: on a rectangle in world space. */
struct plain_placed_light {
    miVector corner;
    miVector edge_u;
    miVector edge_v;
};

DLLEXPORT int plain_placed_light_version(void);
DLLEXPORT miBoolean plain_placed_light(miColor* result, miState* state, struct plain_placed_light* paras);

DLLEXPORT int plain_placed_light_version(void) { return 1; }

DLLEXPORT miBoolean plain_placed_light(miColor* result, miState* state, struct plain_placed_light* paras) {
    const miVector *edge_u = mi_eval_vector(&paras->edge_u), *edge_v = mi_eval_vector(&paras->edge_v);
    miVector2d place;
    miScalar brightness;
    if (!mi_query(miQ_LIGHT_SAMPLE_COORD, state, 0, &place)) return miFALSE;
    state->org = *mi_eval_vector(&paras->corner);
    state->org.x += place.u * edge_u->x + place.v * edge_v->x;
    state->org.y += place.u * edge_u->y + place.v * edge_v->y;
    state->org.z += place.u * edge_u->z + place.v * edge_v->z;
    mi_vector_sub(&state->dir, &state->point, &state->org);
    state->dist = mi_vector_norm(&state->dir);
    mi_vector_normalize(&state->dir);
    state->dot_nd = -mi_vector_dot(&state->dir, &state->parent->normal);
    brightness = (miScalar)(1 / (state->dist * state->dist));
    miColorSet(result, brightness, brightness, brightness, 1);
    return miTRUE;
}
