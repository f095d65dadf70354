/* A texture over the footprint of the pixel, as the shader projects it into the image itself. */
#include "shader.h"

struct plain_texture_filter {
    miTag tex;
    miScalar eccmax;
    miScalar max_minor;
    miScalar radius;
    miBoolean bilinear;
    miBoolean norecord;
};

DLLEXPORT int plain_texture_filter_version(void);
DLLEXPORT miBoolean plain_texture_filter(miColor* result, miState* state, struct plain_texture_filter* paras);

DLLEXPORT int plain_texture_filter_version(void) { return 1; }

DLLEXPORT miBoolean plain_texture_filter(miColor* result, miState* state, struct plain_texture_filter* paras) {
    miTexfilter filter = {0, 0, 0, 0, {0}};
    miVector p[3], t[3];
    miMatrix to_texture;

    filter.eccmax = *mi_eval_scalar(&paras->eccmax);
    filter.max_minor = *mi_eval_scalar(&paras->max_minor);
    filter.circle_radius = *mi_eval_scalar(&paras->radius);
    filter.bilinear = *mi_eval_boolean(&paras->bilinear);
    if (!mi_texture_filter_project(p, t, state, 0.01f, 0) || !mi_texture_filter_transform(to_texture, p, t))
        return miFALSE;
    return mi_lookup_filter_color_texture(result, state, *mi_eval_tag(&paras->tex),
                                          *mi_eval_boolean(&paras->norecord) ? 0 : &filter, to_texture);
}
