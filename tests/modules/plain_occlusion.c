/*
 * Surfaces that show what the renderer says about occlusion: r the hidden part, g, b and a the bent normal. Settings go
 * into the record of the call; `recordsize` makes it as short as older modules have it, -1 passes none. Elsewhere than in
 * the `stages`, bits added up, nothing is asked.
 */
#include "shader.h"

struct plain_occlusion {
    miInteger rays;
    miVector axis; /* zero: the shading normal */
    miScalar spread;
    miScalar exponent;
    miScalar mindist;
    miScalar maxdist;
    miScalar falloff;
    miInteger flags;
    miInteger cachepoints;
    miInteger recordsize;
    miInteger stages;
};

DLLEXPORT int plain_occlusion_version(void);
DLLEXPORT miBoolean plain_occlusion(miColor* result, miState* state, struct plain_occlusion* paras);

DLLEXPORT int plain_occlusion_version(void) { return 1; }

DLLEXPORT miBoolean plain_occlusion(miColor* result, miState* state, struct plain_occlusion* paras) {
    const miVector* axis = mi_eval_vector(&paras->axis);
    const int size = *mi_eval_integer(&paras->recordsize);
    miAmboccl_options options;
    miVector bent;
    int stage = 0;

    mi_query(miQ_STAGE, state, 0, &stage);
    if (!(stage & *mi_eval_integer(&paras->stages))) return miTRUE;
    miAMBOCCL_DEFAULT(&options, state);
    options.rays = *mi_eval_integer(&paras->rays);
    if (axis->x != 0 || axis->y != 0 || axis->z != 0) options.axis = *axis;
    options.spread = *mi_eval_scalar(&paras->spread);
    options.spread_exp = *mi_eval_scalar(&paras->exponent);
    options.mindist = *mi_eval_scalar(&paras->mindist);
    options.maxdist = *mi_eval_scalar(&paras->maxdist);
    options.falloff = *mi_eval_scalar(&paras->falloff);
    options.flags = *mi_eval_integer(&paras->flags);
    options.cache_points = *mi_eval_integer(&paras->cachepoints);
    if (size > 0) options.size = (miUint)size;
    result->r = mi_ambient_occlusion(state, size < 0 ? 0 : &options, &bent);
    result->g = bent.x;
    result->b = bent.y;
    result->a = bent.z;
    return miTRUE;
}
