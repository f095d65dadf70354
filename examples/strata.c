/*
 * example_strata: colors a landscape by height and slope, with noise at the borders.
 *
 * Low ground has the first color, high ground the last, steep ground the rock color. Heights are world y; the noise
 * moves the borders up and down so that they do not look like contour lines.
 *
 * Parameters
 *     low, middle, high    colors of the three levels of flat ground
 *     rock                 color of steep ground
 *     middle_height        where `low` gives way to `middle`
 *     high_height          where `middle` gives way to `high`
 *     softness             height over which one gives way to the next
 *     steepness            cosine of the slope where rock shows: 1 everywhere, 0 on overhangs only
 *     grain                size of the noise
 *
 * Use
 *     shader "ground" "example_strata" ("low" .2 .3 .1, "high" .9 .9 .95, "high_height" 3, "softness" 1, "grain" 2)
 *     material "mountain" "example_clay" ("color" = "ground") end material
 */
#include "shader.h"

struct example_strata {
    miColor low, middle, high, rock;
    miScalar middle_height, high_height;
    miScalar softness;
    miScalar steepness;
    miScalar grain;
};

DLLEXPORT int example_strata_version(void);
DLLEXPORT miBoolean example_strata(miColor* result, miState* state, struct example_strata* parameters);

static miScalar step_between(miScalar low, miScalar high, miScalar x) {
    const miScalar t = miCLAMP((x - low) / miMAX(high - low, 1e-6f), 0.0f, 1.0f);
    return t * t * (3.0f - 2.0f * t);
}

static void mix(miColor* color, const miColor* other, miScalar share) {
    color->r += (other->r - color->r) * share;
    color->g += (other->g - color->g) * share;
    color->b += (other->b - color->b) * share;
}

/* Four octaves of noise, about -1 to 1. */
static miScalar rough(const miVector* point, miScalar grain) {
    miVector p = *point;
    miScalar sum = 0.0f, weight = 0.5f;
    int octave;
    mi_vector_mul(&p, 1.0f / miMAX(grain, 1e-6f));
    for (octave = 0; octave < 4; octave++) {
        sum += weight * (2.0f * mi_unoise_3d(&p) - 1.0f);
        mi_vector_mul(&p, 2.03f);
        weight *= 0.5f;
    }
    return sum;
}

DLLEXPORT int example_strata_version(void) { return 1; }

DLLEXPORT miBoolean example_strata(miColor* result, miState* state, struct example_strata* parameters) {
    const miScalar softness = *mi_eval_scalar(&parameters->softness);
    const miScalar middle_height = *mi_eval_scalar(&parameters->middle_height);
    const miScalar high_height = *mi_eval_scalar(&parameters->high_height);
    const miScalar steepness = *mi_eval_scalar(&parameters->steepness);
    miVector point, up;
    miScalar noise, height;

    mi_point_to_world(state, &point, &state->point);
    mi_normal_to_world(state, &up, &state->normal);
    noise = rough(&point, *mi_eval_scalar(&parameters->grain));
    height = point.y + softness * noise;

    *result = *mi_eval_color(&parameters->low);
    mix(result, mi_eval_color(&parameters->middle),
        step_between(middle_height - softness / 2, middle_height + softness / 2, height));
    mix(result, mi_eval_color(&parameters->high),
        step_between(high_height - softness / 2, high_height + softness / 2, height));
    mix(result, mi_eval_color(&parameters->rock),
        1.0f - step_between(steepness - 0.08f, steepness + 0.08f, up.y + 0.1f * noise));
    result->r *= 1.0f + 0.25f * noise;
    result->g *= 1.0f + 0.25f * noise;
    result->b *= 1.0f + 0.25f * noise;
    result->a = 1.0f;
    return miTRUE;
}
