/*
 * example_color_to_vector, example_vector_to_color: red, green and blue as x, y and z, and back.
 *
 * Renderers that check types connect vectors to vectors only. With these in between, nodes that take and give vectors,
 * as those for contrast and gamma do, work on colors.
 *
 * Parameters
 *     color           its alpha is dropped
 *     vector, alpha   what the color is made of
 *
 * Use
 *     shader "in"   "example_color_to_vector" ("color" = "picture")
 *     shader "bent" "lumoVexaGamma" ("value" = "in", "gamma" 2.2 2.2 2.2)
 *     shader "out"  "example_vector_to_color" ("vector" = "bent")
 */
#include "shader.h"

struct example_color_to_vector {
    miColor color;
};

struct example_vector_to_color {
    miVector vector;
    miScalar alpha;
};

DLLEXPORT int example_color_to_vector_version(void);
DLLEXPORT miBoolean example_color_to_vector(miVector* result, miState* state,
                                            struct example_color_to_vector* parameters);
DLLEXPORT int example_vector_to_color_version(void);
DLLEXPORT miBoolean example_vector_to_color(miColor* result, miState* state,
                                            struct example_vector_to_color* parameters);

DLLEXPORT int example_color_to_vector_version(void) { return 1; }

DLLEXPORT miBoolean example_color_to_vector(miVector* result, miState* state,
                                            struct example_color_to_vector* parameters) {
    const miColor* color = mi_eval_color(&parameters->color);
    result->x = color->r;
    result->y = color->g;
    result->z = color->b;
    return miTRUE;
}

DLLEXPORT int example_vector_to_color_version(void) { return 1; }

DLLEXPORT miBoolean example_vector_to_color(miColor* result, miState* state,
                                            struct example_vector_to_color* parameters) {
    const miVector* vector = mi_eval_vector(&parameters->vector);
    result->r = vector->x;
    result->g = vector->y;
    result->b = vector->z;
    result->a = *mi_eval_scalar(&parameters->alpha);
    return miTRUE;
}
