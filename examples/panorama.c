/*
 * example_panorama: an environment from an image of all directions.
 *
 * The image is twice as wide as high: u leads once around the horizon, v from straight down to straight up. Its middle
 * is what lies in the direction -z, its quarter to the right +x. Images with values above 1 (HDR, EXR) mirror as lamps
 * do.
 *
 * Parameters
 *     tex       the image: a `color texture`
 *     gain      times the image's colors
 *     turn      degrees by which the surroundings are turned to the right, seen from inside
 *
 * Use
 *     color texture "studio" "studio.hdr"
 *     camera "cam" environment "example_panorama" ("tex" "studio", "gain" 1.5 1.5 1.5) ... end camera
 */
#include "shader.h"

struct example_panorama {
    miTag tex;
    miColor gain;
    miScalar turn;
};

DLLEXPORT int example_panorama_version(void);
DLLEXPORT miBoolean example_panorama(miColor* result, miState* state, struct example_panorama* parameters);

DLLEXPORT int example_panorama_version(void) { return 1; }

DLLEXPORT miBoolean example_panorama(miColor* result, miState* state, struct example_panorama* parameters) {
    const miTag tex = *mi_eval_tag(&parameters->tex);
    const miColor* gain = mi_eval_color(&parameters->gain);
    const float turn = *mi_eval_scalar(&parameters->turn) / 360.0f;
    miVector dir, coord;

    mi_vector_to_world(state, &dir, &state->dir);
    mi_vector_normalize(&dir);
    coord.x = 0.5f + atan2f(dir.x, -dir.z) / 6.2831853f - turn;
    coord.x -= floorf(coord.x);
    coord.y = 0.5f + asinf(miCLAMP(dir.y, -1.0f, 1.0f)) / 3.1415927f;
    coord.z = 0.0f;

    result->r = result->g = result->b = 0.0f;
    if (tex && !mi_lookup_color_texture(result, state, tex, &coord)) result->r = result->g = result->b = 0.0f;
    result->r *= gain->r;
    result->g *= gain->g;
    result->b *= gain->b;
    result->a = 0.0f; /* nothing was hit: compositors put their own background here */
    return miTRUE;
}
