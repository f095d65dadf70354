/*
 * example_halftone: prints the surface in dots of ink, as a newspaper does.
 *
 * The dots lie on a screen turned by `angle`, in the first texture space. Below lumoVexaRenderTargetShadingEngine that
 * is the picture itself: the dots keep their size and place whatever the surface does, and the shading only makes them
 * larger or smaller.
 *
 * Parameters
 *     paper, ink   the two colors
 *     tone         what is printed: its luminance 0 is all ink, 1 is all paper; connect a material shader here
 *     dots         dots over the width of the picture
 *     aspect       width / height of the picture, so that dots are round
 *     angle        of the screen, in degrees
 *
 * Use
 *     shader "tone" "example_clay" ("color" 1 1 1)
 *     shader "print" "example_halftone" ("tone" = "tone", "paper" 1 .9 .6, "ink" .1 0 .2, "dots" 120, "angle" 30)
 */
#include "shader.h"

struct example_halftone {
    miColor paper, ink;
    miColor tone;
    miScalar dots;
    miScalar aspect;
    miScalar angle;
};

DLLEXPORT int example_halftone_version(void);
DLLEXPORT miBoolean example_halftone(miColor* result, miState* state, struct example_halftone* parameters);

DLLEXPORT int example_halftone_version(void) { return 1; }

DLLEXPORT miBoolean example_halftone(miColor* result, miState* state, struct example_halftone* parameters) {
    miColor tone = *mi_eval_color(&parameters->tone);
    const miScalar dots = *mi_eval_scalar(&parameters->dots);
    const miScalar angle = *mi_eval_scalar(&parameters->angle) * 0.01745329f;
    const miScalar dark = 1.0f - miCLAMP(mi_luminance(state, &tone), 0.0f, 1.0f);
    miScalar x = 0.0f, y = 0.0f, u, v;

    if (state->tex_list) {
        x = state->tex_list[0].x;
        y = state->tex_list[0].y / miMAX(*mi_eval_scalar(&parameters->aspect), 1e-6f);
    }
    u = dots * (x * cosf(angle) + y * sinf(angle));
    v = dots * (y * cosf(angle) - x * sinf(angle));
    u -= floorf(u) + 0.5f;
    v -= floorf(v) + 0.5f;

    /* Ink covers the share `dark` of a cell; at 0.785 the round dots of neighbours touch. */
    *result = *mi_eval_color(u * u + v * v < dark / 3.14159265f ? &parameters->ink : &parameters->paper);
    result->a = 1.0f;
    return miTRUE;
}
