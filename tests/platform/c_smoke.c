/* A material shader in plain C: compiling it is the test that C sources can use every part of the interface. */
#include "geoshader.h"
#include "shader.h"

struct tint {
    miColor color;
    miVector axis;
    miScalar strength;
    miBoolean occlusion;
    int i_lights;
    int n_lights;
    miTag lights[1];
};

DLLEXPORT int tint_version(void);
DLLEXPORT void tint_init(miState* state, struct tint* parameters, miBoolean* instance_init);
DLLEXPORT void tint_exit(miState* state, struct tint* parameters);
DLLEXPORT miBoolean tint(miColor* result, miState* state, struct tint* parameters);

DLLEXPORT int tint_version(void) { return 1; }

DLLEXPORT void tint_init(miState* state, struct tint* parameters, miBoolean* instance_init) {
    void** user = 0;
    if (!parameters) {
        *instance_init = miTRUE;
        return;
    }
    if (mi_query(miQ_FUNC_USERPTR, state, miNULLTAG, &user)) *user = mi_mem_allocate(sizeof(miColor));
}

DLLEXPORT void tint_exit(miState* state, struct tint* parameters) {
    void** user = 0;
    if (parameters && mi_query(miQ_FUNC_USERPTR, state, miNULLTAG, &user)) {
        mi_mem_release(*user);
        *user = 0;
    }
}

DLLEXPORT miBoolean tint(miColor* result, miState* state, struct tint* parameters) {
    const miColor* color = mi_eval_color(&parameters->color);
    int n = *mi_eval_integer(&parameters->n_lights);
    miTag* lights = mi_eval_tag(parameters->lights) + *mi_eval_integer(&parameters->i_lights);
    miScalar strength = miCLAMP(*mi_eval_scalar(&parameters->strength), 0.0f, 1.0f);
    int i;

    mi_inclusive_lightlist(&n, &lights, state);
    miColorSet(result, 0.0f, 0.0f, 0.0f, color->a);
    for (i = 0; i < n; i++) {
        miColor light;
        miVector dir;
        miScalar dot_nl;
        int samples = 0;
        while (mi_sample_light(&light, &dir, &dot_nl, state, lights[i], &samples))
            miColorAddScaled(result, &light, strength * miMAX(dot_nl, 0.0f));
    }
    if (*mi_eval_boolean(&parameters->occlusion)) {
        miAmboccl_options amboccl;
        miAMBOCCL_DEFAULT(&amboccl, state);
        amboccl.axis = *mi_eval_vector(&parameters->axis);
        mi_vector_normalize(&amboccl.axis);
        result->a = 1.0f - mi_ambient_occlusion(state, &amboccl, 0);
    }
    if (!miRAY_PRIMARY(state->type) && miColorIsBlack(result))
        mi_debug("thread %d: black %s ray", state->thread, miRAY_PHOTON(state->type) ? "photon" : "secondary");
    return miTRUE;
}
