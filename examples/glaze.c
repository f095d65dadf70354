/*
 * example_glaze: a clear coat over another color, or thin glass: reflection by Fresnel's law, and what lies below or
 * behind for the rest.
 *
 *     result = F * reflected + (1 - F) * (transparency * behind + (1 - transparency) * color)
 *     F = f0 + (1 - f0) * (1 - cos) ^ 5, f0 = ((ior - 1) / (ior + 1)) ^ 2           (Schlick's approximation)
 *
 * Rays go straight on through a transparent surface: right for bubbles and panes, not for solid lenses.
 *
 * Parameters
 *     color          below the coat; connect a material shader such as example_clay here
 *     transparency   per channel; black is opaque
 *     ior            index of refraction of the coat, 1.5 for glass and glaze; the higher, the more it reflects
 *     reflection     tint of what is reflected: white for glaze and glass, the metal's color for metals
 *     ripple         slope of waves on the coat, 0 for none
 *     ripple_size    their length in world space
 *     limit          after this many reflections and refractions the environment stands in for what is reflected: glass
 *                    that mirrors itself over and over takes long and shows little
 *
 * Use
 *     shader "body" "example_clay" ("color" .9 .9 .9)
 *     material "porcelain" "example_glaze" ("color" = "body", "ior" 1.5, "reflection" 1 1 1) end material
 */
#include "shader.h"

struct example_glaze {
    miColor color;
    miColor transparency;
    miScalar ior;
    miColor reflection;
    miScalar ripple;
    miScalar ripple_size;
    miInteger limit;
};

DLLEXPORT int example_glaze_version(void);
DLLEXPORT miBoolean example_glaze(miColor* result, miState* state, struct example_glaze* parameters);

/* The mirrored direction on a surface that noise tilts. The state's normal is put back: shaders that follow in the
 * material's list want the surface as it is. */
static void rippled_reflection(miVector* dir, miState* state, miScalar ripple, miScalar size) {
    const miVector normal = state->normal;
    miVector point, slope;

    mi_point_to_world(state, &point, &state->point);
    mi_vector_mul(&point, 1.0f / miMAX(size, 1e-6f));
    mi_noise_3d_grad(&point, &slope);
    mi_vector_mul(&slope, ripple);
    mi_vector_from_world(state, &slope, &slope);
    mi_vector_sub(&state->normal, &state->normal, &slope);
    mi_vector_normalize(&state->normal);
    mi_reflection_dir(dir, state);
    state->normal = normal;

    /* A reflection that would dive into the surface is lifted to skim it. */
    if (mi_vector_dot(dir, &state->normal_geom) < 0.001f) {
        miVector lift = state->normal_geom;
        mi_vector_mul(&lift, 0.001f - mi_vector_dot(dir, &state->normal_geom));
        mi_vector_add(dir, dir, &lift);
        mi_vector_normalize(dir);
    }
}

/*
 * What a ray met may come back in these fields of the caller's state. A shader that traces puts its own surface back,
 * so that its next ray starts here and the shaders behind it in the material's list see this surface.
 */
struct surface {
    miVector point, normal, motion;
    double dist;
    miUint label;
};

static void keep_surface(struct surface* surface, const miState* state) {
    surface->point = state->point;
    surface->normal = state->normal;
    surface->motion = state->motion;
    surface->dist = state->dist;
    surface->label = state->label;
}

static void put_back(miState* state, const struct surface* surface) {
    state->point = surface->point;
    state->normal = surface->normal;
    state->motion = surface->motion;
    state->dist = surface->dist;
    state->label = surface->label;
}

DLLEXPORT int example_glaze_version(void) { return 1; }

DLLEXPORT miBoolean example_glaze(miColor* result, miState* state, struct example_glaze* parameters) {
    const miColor transparency = *mi_eval_color(&parameters->transparency);
    const miColor tint = *mi_eval_color(&parameters->reflection);
    const miScalar ior = miMAX(1.0f, *mi_eval_scalar(&parameters->ior));
    const miScalar ripple = *mi_eval_scalar(&parameters->ripple);
    const miScalar root = (ior - 1.0f) / (ior + 1.0f);
    const miScalar grazing = 1.0f - miMIN(1.0f, fabsf(state->dot_nd));
    const miScalar fresnel = root * root + (1.0f - root * root) * powf(grazing, 5.0f);
    miColor below = {0.0f, 0.0f, 0.0f, 1.0f}, behind = {0.0f, 0.0f, 0.0f, 0.0f}, mirrored = {0.0f, 0.0f, 0.0f, 0.0f};
    miVector dir;
    struct surface surface;

    keep_surface(&surface, state);
    if (transparency.r < 1.0f || transparency.g < 1.0f || transparency.b < 1.0f)
        below = *mi_eval_color(&parameters->color);
    if (!miColorIsBlack(&transparency)) {
        mi_trace_transparent(&behind, state);
        put_back(state, &surface);
    }

    /* Beyond the limit and the trace depth the environment stands in for the reflection. */
    if (ripple > 0.0f)
        rippled_reflection(&dir, state, ripple, *mi_eval_scalar(&parameters->ripple_size));
    else
        mi_reflection_dir(&dir, state);
    if (state->reflection_level + state->refraction_level > *mi_eval_integer(&parameters->limit) ||
        !mi_trace_reflection(&mirrored, state, &dir))
        mi_trace_environment(&mirrored, state, &dir);
    put_back(state, &surface);

    below.r += (behind.r - below.r) * transparency.r;
    below.g += (behind.g - below.g) * transparency.g;
    below.b += (behind.b - below.b) * transparency.b;
    result->r = below.r + (mirrored.r * tint.r - below.r) * fresnel;
    result->g = below.g + (mirrored.g * tint.g - below.g) * fresnel;
    result->b = below.b + (mirrored.b * tint.b - below.b) * fresnel;
    result->a = 1.0f;
    return miTRUE;
}
