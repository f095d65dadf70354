/*
 * example_sky: an environment of three colors, from the zenith over the horizon to the ground, with a sun.
 *
 * For a direction with height h = sin(elevation) the sky is horizon + (zenith - horizon) * h ^ 0.5 above and the ground
 * below, joined over one degree. The sun is a disk with a glow that falls off as a power of the angle's cosine.
 *
 * Parameters
 *     zenith, horizon, ground    the colors
 *     sun                        color of the sun; black for none
 *     direction                  towards the sun in world space, any length
 *
 * Use
 *     camera "cam" environment "example_sky" ("zenith" .1 .3 .7, "horizon" .7 .8 .9, "ground" .2 .2 .2) ... end camera
 */
#include "shader.h"

struct example_sky {
    miColor zenith;
    miColor horizon;
    miColor ground;
    miColor sun;
    miVector direction;
};

DLLEXPORT int example_sky_version(void);
DLLEXPORT miBoolean example_sky(miColor* result, miState* state, struct example_sky* parameters);

static void mix(miColor* color, const miColor* other, miScalar share) {
    color->r += (other->r - color->r) * share;
    color->g += (other->g - color->g) * share;
    color->b += (other->b - color->b) * share;
}

DLLEXPORT int example_sky_version(void) { return 1; }

DLLEXPORT miBoolean example_sky(miColor* result, miState* state, struct example_sky* parameters) {
    const miColor* sun = mi_eval_color(&parameters->sun);
    miVector dir, direction = *mi_eval_vector(&parameters->direction);
    miColor sky = *mi_eval_color(&parameters->horizon);
    miScalar near_sun;

    mi_vector_to_world(state, &dir, &state->dir);
    mi_vector_normalize(&dir);
    mix(&sky, mi_eval_color(&parameters->zenith), sqrtf(miMAX(0.0f, dir.y)));
    mix(&sky, mi_eval_color(&parameters->ground), miCLAMP(0.5f - dir.y / 0.0175f, 0.0f, 1.0f));

    mi_vector_normalize(&direction);
    near_sun = miMAX(0.0f, mi_vector_dot(&dir, &direction));
    if (dir.y > 0.0f)
        miColorAddScaled(&sky, sun,
                         near_sun > 0.9994f ? 1.0f : 0.2f * powf(near_sun, 180.0f) + 0.06f * powf(near_sun, 8.0f));

    *result = sky;
    result->a = 0.0f; /* nothing was hit: compositors put their own background here */
    return miTRUE;
}
