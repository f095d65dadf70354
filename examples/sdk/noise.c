/*
 * example_noise: the library's noises as a texture, through a color ramp.
 *
 * Noise of any kind is summed over octaves, each of half the size of the one before, and looked up in the ramp: -1 is
 * position 0, 1 is position 1. Most of a noise lies near 0; `gain` spreads it.
 *
 * Parameters
 *     kind       0 scalar_1d along the texture's u, 1 scalar_2d over u and v, 2 scalar_3d, 3 scalar_4d, 4 the slope of
 *                scalar_2d in u (vector_2d), 5 gradient_3d. The kinds 2, 3 and 5 fill the object's space
 *     size       of a cell: in texture coordinates for kinds 0, 1 and 4, else in the object's units
 *     time       of kind 3; its motion repeats with period 1, and passes 16 patterns on the way
 *     octaves    1 to 10
 *     roughness  weight of an octave over that of the one before
 *     billow     absolute values: creases where the noise is 0
 *     bands      above 0: position 0 to 1 and back, so often per unit of x, and shifted by the noise, like marble
 *     gain       times the noise
 *     colors     the ramp
 *
 * Use
 *     shader "clouds" "example_noise" ( "kind" 2, "size" .3, "octaves" 5, "colors" [
 *         { "position" .4, "value" .1 .3 .7, "interpolation" 2 }, { "position" .7, "value" 1 1 1 } ] )
 */
#include "SDK/lumo.h"

struct example_noise {
    miInteger kind;
    miScalar size;
    miScalar time;
    miInteger octaves;
    miScalar roughness;
    miBoolean billow;
    miScalar bands;
    miScalar gain;
    struct {
        miInteger first, count;
        RampColorEntry entries[1];
    } colors;
};

enum { SCALAR_1D, SCALAR_2D, SCALAR_3D, SCALAR_4D, SLOPE_2D, GRADIENT_3D };

#define TIME_STEPS 16

DLLEXPORT int example_noise_version(void);
DLLEXPORT void example_noise_init(miState* state, struct example_noise* parameters, miBoolean* wants_instances);
DLLEXPORT miBoolean example_noise(miColor* result, miState* state, struct example_noise* parameters);

DLLEXPORT int example_noise_version(void) { return 1; }

/* The gradients are drawn before shading starts. */
DLLEXPORT void example_noise_init(miState* state, struct example_noise* parameters, miBoolean* wants_instances) {
    (void)parameters;
    (void)wants_instances;
    noise_gradient_init(state);
}

/* p in cells. The value noises have VEXA_CUBE_SIDE cells in a period of 1. */
static miScalar noise(int kind, const miVector* p, miScalar time) {
    const double cell = 1.0 / VEXA_CUBE_SIDE;
    const double x = p->x * cell, y = p->y * cell, z = p->z * cell;
    miVector slopes;
    switch (kind) {
        case SCALAR_1D: return 2.0f * noise_scalar_1d(x);
        case SCALAR_2D: return noise_scalar_2d(x, y);
        case SCALAR_4D: return noise_scalar_4d(x, y, z, time, TIME_STEPS);
        case SLOPE_2D: return noise_vector_2d(&slopes, x, y)->x;
        case GRADIENT_3D: return noise_gradient_3d(p->x, p->y, p->z);
        default: return noise_scalar_3d(x, y, z);
    }
}

static miScalar octaves(miState* state, struct example_noise* parameters, int kind, miVector p) {
    const int asked = *mi_eval_integer(&parameters->octaves), count = miCLAMP(asked, 1, 10);
    const miScalar roughness = *mi_eval_scalar(&parameters->roughness);
    const miScalar time = *mi_eval_scalar(&parameters->time);
    const miBoolean billow = *mi_eval_boolean(&parameters->billow);
    miScalar sum = 0.0f, weight = 1.0f;
    int octave;
    for (octave = 0; octave < count; octave++) {
        const miScalar value = noise(kind, &p, time);
        sum += weight * (billow ? 2.0f * fabsf(value) - 1.0f : value);
        weight *= roughness;
        /* Not at the same place: at 0 all octaves of a kind are alike. */
        p.x = 2.0f * p.x + 7.3f;
        p.y = 2.0f * p.y + 3.1f;
        p.z = 2.0f * p.z + 5.7f;
    }
    return sum;
}

/* In cells. */
static miVector place(miState* state, struct example_noise* parameters, int kind) {
    const miScalar size = *mi_eval_scalar(&parameters->size);
    miVector p = {0.0f, 0.0f, 0.0f};
    if (kind == SCALAR_2D || kind == SLOPE_2D || kind == SCALAR_1D) {
        if (state->tex_list) p = state->tex_list[0];
    } else {
        mi_point_to_object(state, &p, &state->point);
    }
    mi_vector_mul(&p, 1.0f / (size > 1e-6f ? size : 1e-6f));
    return p;
}

DLLEXPORT miBoolean example_noise(miColor* result, miState* state, struct example_noise* parameters) {
    const int kind = *mi_eval_integer(&parameters->kind);
    const miVector p = place(state, parameters, kind);
    const miScalar bands = *mi_eval_scalar(&parameters->bands);
    const miScalar value = *mi_eval_scalar(&parameters->gain) * octaves(state, parameters, kind, p);
    miScalar position = 0.5f * value + 0.5f;
    LumoRamp colors;

    if (bands > 0.0f) {
        const miScalar along = p.x * *mi_eval_scalar(&parameters->size) * bands + value;
        position = fabsf(2.0f * (along - floorf(along)) - 1.0f);
    }
    ramp_constructor(&colors, state, &parameters->colors, 1);
    result->a = 1.0f;
    ramp_get_interp_color(&colors, position, result);
    ramp_destructor(&colors);
    return miTRUE;
}
