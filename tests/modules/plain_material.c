/*
 * Ordinary surface shaders, written as shader writers write them: a lit material, a texture, a record with several
 * results, and a constant.
 */
#include "shader.h"

struct plain_material {
    miColor ambience;
    miColor diffuse;
    miColor specular;
    miScalar exponent;
    miScalar reflectivity;
    miInteger i_light;
    miInteger n_light;
    miTag light[1];
};

DLLEXPORT int plain_material_version(void);
DLLEXPORT void plain_material_init(miState* state, struct plain_material* paras, miBoolean* inst_init_req);
DLLEXPORT void plain_material_exit(miState* state, struct plain_material* paras);
DLLEXPORT miBoolean plain_material(miColor* result, miState* state, struct plain_material* paras);

DLLEXPORT int plain_material_version(void) { return 3; }

/* Each instance counts its lights once. */
DLLEXPORT void plain_material_init(miState* state, struct plain_material* paras, miBoolean* inst_init_req) {
    void** user;
    if (!paras) {
        *inst_init_req = miTRUE;
        return;
    }
    mi_query(miQ_FUNC_USERPTR, state, 0, &user);
    *user = mi_mem_allocate(sizeof(int));
    *(int*)*user = *mi_eval_integer(&paras->n_light);
}

DLLEXPORT void plain_material_exit(miState* state, struct plain_material* paras) {
    void** user;
    if (!paras) return;
    mi_query(miQ_FUNC_USERPTR, state, 0, &user);
    mi_mem_release(*user);
    *user = 0;
}

DLLEXPORT miBoolean plain_material(miColor* result, miState* state, struct plain_material* paras) {
    const miColor* diffuse = mi_eval_color(&paras->diffuse);
    const miColor* specular = mi_eval_color(&paras->specular);
    const miScalar exponent = *mi_eval_scalar(&paras->exponent);
    const miScalar reflectivity = *mi_eval_scalar(&paras->reflectivity);
    miInteger i_light = *mi_eval_integer(&paras->i_light);
    miTag* light = mi_eval_tag(paras->light) + i_light;
    miColor color, sum;
    miVector dir;
    miScalar dot_nl, shine;
    void** user;
    int n, samples;

    mi_query(miQ_FUNC_USERPTR, state, 0, &user);
    n = *(const int*)*user;
    if (n == 0) mi_instance_lightlist(&n, &light, state);

    *result = *mi_eval_color(&paras->ambience);
    for (; n > 0; n--, light++) {
        miColorSet(&sum, 0, 0, 0, 0);
        samples = 0;
        while (mi_sample_light(&color, &dir, &dot_nl, state, *light, &samples)) {
            sum.r += dot_nl * diffuse->r * color.r;
            sum.g += dot_nl * diffuse->g * color.g;
            sum.b += dot_nl * diffuse->b * color.b;
            shine = exponent > 0 ? mi_phong_specular(exponent, state, &dir) : 0;
            if (shine > 0) {
                sum.r += shine * specular->r * color.r;
                sum.g += shine * specular->g * color.g;
                sum.b += shine * specular->b * color.b;
            }
        }
        if (samples) {
            result->r += sum.r / samples;
            result->g += sum.g / samples;
            result->b += sum.b / samples;
        }
    }

    if (reflectivity > 0) {
        mi_reflection_dir(&dir, state);
        if (mi_trace_reflection(&color, state, &dir) || mi_trace_environment(&color, state, &dir)) {
            result->r += reflectivity * (color.r - result->r);
            result->g += reflectivity * (color.g - result->g);
            result->b += reflectivity * (color.b - result->b);
        }
    }
    result->a = 1;
    return miTRUE;
}

/* A color texture at the first texture coordinate, with one more picture laid over it where there is one. */
struct plain_texture {
    miTag tex;
    miVector repeat;
};

DLLEXPORT int plain_texture_version(void);
DLLEXPORT miBoolean plain_texture(miColor* result, miState* state, struct plain_texture* paras);

DLLEXPORT int plain_texture_version(void) { return 1; }

DLLEXPORT miBoolean plain_texture(miColor* result, miState* state, struct plain_texture* paras) {
    const miVector* repeat = mi_eval_vector(&paras->repeat);
    miVector coord = state->tex_list[0];
    coord.x *= repeat->x;
    coord.y *= repeat->y;
    coord.x -= floorf(coord.x);
    coord.y -= floorf(coord.y);
    return mi_lookup_color_texture(result, state, *mi_eval_tag(&paras->tex), &coord);
}

/* Several results at once: scenes connect "name.member". */
struct plain_parts {
    miScalar scale;
};

struct plain_parts_result {
    miScalar weight;
    miColor tint;
    miVector where;
    miColor second;
};

DLLEXPORT int plain_parts_version(void);
DLLEXPORT miBoolean plain_parts(struct plain_parts_result* result, miState* state, struct plain_parts* paras);

DLLEXPORT int plain_parts_version(void) { return 1; }

DLLEXPORT miBoolean plain_parts(struct plain_parts_result* result, miState* state, struct plain_parts* paras) {
    const miScalar scale = *mi_eval_scalar(&paras->scale);
    result->weight = .25f * scale;
    miColorSet(&result->tint, .5f * scale, .25f * scale, .125f * scale, 1);
    result->where = state->point;
    miColorSet(&result->second, .1f * scale, .2f * scale, .3f * scale, .4f * scale);
    return miTRUE;
}

struct plain_constant {
    miColor color;
};

DLLEXPORT int plain_constant_version(void);
DLLEXPORT miBoolean plain_constant(miColor* result, miState* state, struct plain_constant* paras);

DLLEXPORT int plain_constant_version(void) { return 1; }

DLLEXPORT miBoolean plain_constant(miColor* result, miState* state, struct plain_constant* paras) {
    *result = *mi_eval_color(&paras->color);
    return miTRUE;
}

/* The first texture coordinate as a color. */
DLLEXPORT int plain_coordinate_version(void);
DLLEXPORT miBoolean plain_coordinate(miColor* result, miState* state, void* paras);

DLLEXPORT int plain_coordinate_version(void) { return 1; }

DLLEXPORT miBoolean plain_coordinate(miColor* result, miState* state, void* paras) {
    const miVector* coord = &state->tex_list[0];
    (void)paras;
    miColorSet(result, coord->x, coord->y, coord->z, 1);
    return miTRUE;
}
