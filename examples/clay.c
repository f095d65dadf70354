/*
 * example_clay: a matte surface that needs no lights.
 *
 * The surface is lit by one key direction (a sun that is always on) and by an open sky. The key term:
 *
 *     key = max(0, (normal . key + wrap) / (1 + wrap))
 *
 * a wrapped cosine: `wrap` 0 is Lambert's, 1 carries light all the way round. A ray probes the key direction for a
 * shadow and, for `sky_rays` above 0, others probe the hemisphere over the surface for how much of the sky it sees.
 *
 * Parameters
 *     color       of the surface; connect a texture here
 *     light       color of the sun
 *     shade       color of the sky light, which fills what the sun does not reach
 *     key         direction towards the sun in world space, any length
 *     softness    radius of the sun as seen from the surface, as a tangent: 0 gives hard shadows
 *     wrap        0 to 1
 *     rim         brightens edges seen at a grazing angle: 0 none
 *     shadow      probe the key direction
 *     sky_rays    probes of the hemisphere per sample; 0 takes the whole sky, brighter from above
 *
 * Use
 *     material "m" "example_clay" ("color" .8 .5 .3, "key" 1 2 1, "sky_rays" 8) end material
 */
#include "shader.h"

struct example_clay {
    miColor color;
    miColor light;
    miColor shade;
    miVector key;
    miScalar softness;
    miScalar wrap;
    miScalar rim;
    miBoolean shadow;
    miInteger sky_rays;
};

DLLEXPORT int example_clay_version(void);
DLLEXPORT miBoolean example_clay(miColor* result, miState* state, struct example_clay* parameters);

/* Two unit vectors that stand at right angles to a unit vector and to each other. */
static void tangents(const miVector* normal, miVector* u, miVector* v) {
    miVector axis = {0.0f, 0.0f, 0.0f};
    if (fabsf(normal->x) < 0.7f)
        axis.x = 1.0f;
    else
        axis.y = 1.0f;
    mi_vector_prod(u, normal, &axis);
    mi_vector_normalize(u);
    mi_vector_prod(v, normal, u);
}

/* True when something stands before the sun. One point of its disk is looked at; samples of a pixel take others. */
static miBoolean in_shadow(miState* state, const miVector* key, miScalar softness) {
    miVector u, v, dir = *key;

    if (softness > 0.0f) {
        double sample[2];
        int taken = 0;
        miScalar radius, angle;
        mi_sample(sample, &taken, state, 2, 0);
        radius = softness * sqrtf((float)sample[0]);
        angle = (float)(sample[1] * 6.283185307);
        tangents(key, &u, &v);
        dir.x += radius * (cosf(angle) * u.x + sinf(angle) * v.x);
        dir.y += radius * (cosf(angle) * u.y + sinf(angle) * v.y);
        dir.z += radius * (cosf(angle) * u.z + sinf(angle) * v.z);
        mi_vector_normalize(&dir);
    }
    /* Where the surface itself turns away, wrapped light passes: a shadow would draw the outlines of its triangles. */
    return mi_vector_dot(&state->normal_geom, &dir) > 0.0f && mi_trace_probe(state, &dir, &state->point);
}

/* Share of the hemisphere over the surface that is open, weighted by the cosine. */
static miScalar open_sky(miState* state, miInteger rays) {
    const miUint wanted = (miUint)rays;
    miVector u, v, dir;
    double sample[2];
    int taken = 0, open = 0;

    tangents(&state->normal, &u, &v);
    while (mi_sample(sample, &taken, state, 2, &wanted)) {
        /* Uniform on the disk, lifted to the hemisphere: directions fall as the cosine. */
        const miScalar radius = sqrtf((float)sample[0]);
        const miScalar angle = (float)(sample[1] * 6.283185307);
        const miScalar x = radius * cosf(angle), y = radius * sinf(angle);
        const miScalar z = sqrtf(miMAX(0.0f, 1.0f - radius * radius));
        dir.x = x * u.x + y * v.x + z * state->normal.x;
        dir.y = x * u.y + y * v.y + z * state->normal.y;
        dir.z = x * u.z + y * v.z + z * state->normal.z;
        if (mi_vector_dot(&dir, &state->normal_geom) > 0.0f && !mi_trace_probe(state, &dir, &state->point)) open++;
    }
    return taken ? (miScalar)open / (miScalar)taken : 1.0f;
}

DLLEXPORT int example_clay_version(void) { return 1; }

DLLEXPORT miBoolean example_clay(miColor* result, miState* state, struct example_clay* parameters) {
    const miColor* color = mi_eval_color(&parameters->color);
    const miColor* light = mi_eval_color(&parameters->light);
    const miColor* shade = mi_eval_color(&parameters->shade);
    const miScalar softness = *mi_eval_scalar(&parameters->softness);
    const miScalar wrap = miCLAMP(*mi_eval_scalar(&parameters->wrap), 0.0f, 1.0f);
    const miScalar rim = *mi_eval_scalar(&parameters->rim);
    const miInteger sky_rays = miMIN(*mi_eval_integer(&parameters->sky_rays), 4096);
    miVector key = *mi_eval_vector(&parameters->key), up;
    miScalar lit, sky, edge;

    mi_vector_from_world(state, &key, &key);
    mi_vector_normalize(&key);
    lit = miMAX(0.0f, (mi_vector_dot(&state->normal, &key) + wrap) / (1.0f + wrap));
    if (lit > 0.0f && *mi_eval_boolean(&parameters->shadow) && in_shadow(state, &key, softness)) lit = 0.0f;

    mi_normal_to_world(state, &up, &state->normal);
    sky = sky_rays > 0 ? open_sky(state, sky_rays) : 0.5f + 0.5f * up.y;

    edge = 1.0f - miMIN(1.0f, fabsf(state->dot_nd));
    edge = rim * edge * edge * edge;

    result->r = color->r * (lit * light->r + (sky + edge) * shade->r);
    result->g = color->g * (lit * light->g + (sky + edge) * shade->g);
    result->b = color->b * (lit * light->b + (sky + edge) * shade->b);
    result->a = 1.0f;
    return miTRUE;
}
