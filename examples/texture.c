/*
 * example_texture: looks an image up at the surface's texture coordinate.
 * example_checker: two colors in squares over the texture coordinates.
 *
 * Both read the first texture space and are meant to be connected to a color parameter of a material. Where an object
 * has no texture coordinates, example_texture gives its `otherwise` color and example_checker its `even` color.
 *
 * Parameters
 *     tex         the image: a `color texture`
 *     otherwise   color without texture coordinates and for an image that cannot be read
 *     even, odd   the two colors; may be connected, to textures for example
 *     repeat      copies of the image, or pairs of squares, over the range 0 to 1 of u (x) and v (y)
 *     offset      added after `repeat`, in copies
 *
 * Use
 *     color texture "tiles" "tiles.png"
 *     shader "floor_color" "example_texture" ("tex" "tiles", "repeat" 8 8 1)
 *     material "floor" "example_clay" ("color" = "floor_color") end material
 */
#include "shader.h"

struct example_texture {
    miTag tex;
    miColor otherwise;
    miVector repeat;
    miVector offset;
};

struct example_checker {
    miColor even;
    miColor odd;
    miVector repeat;
    miVector offset;
};

DLLEXPORT int example_texture_version(void);
DLLEXPORT miBoolean example_texture(miColor* result, miState* state, struct example_texture* parameters);
DLLEXPORT int example_checker_version(void);
DLLEXPORT miBoolean example_checker(miColor* result, miState* state, struct example_checker* parameters);

static void place(miVector* coord, const miVector* repeat, const miVector* offset) {
    coord->x = coord->x * repeat->x + offset->x;
    coord->y = coord->y * repeat->y + offset->y;
    coord->z = coord->z * repeat->z + offset->z;
}

DLLEXPORT int example_texture_version(void) { return 1; }

DLLEXPORT miBoolean example_texture(miColor* result, miState* state, struct example_texture* parameters) {
    const miTag tex = *mi_eval_tag(&parameters->tex);

    if (tex && state->tex_list) {
        miVector coord = state->tex_list[0];
        place(&coord, mi_eval_vector(&parameters->repeat), mi_eval_vector(&parameters->offset));
        /* The image covers 0 to 1; take the fraction, so that any coordinate finds a place in it. */
        coord.x -= floorf(coord.x);
        coord.y -= floorf(coord.y);
        if (mi_lookup_color_texture(result, state, tex, &coord)) return miTRUE;
    }
    *result = *mi_eval_color(&parameters->otherwise);
    return miTRUE;
}

DLLEXPORT int example_checker_version(void) { return 1; }

DLLEXPORT miBoolean example_checker(miColor* result, miState* state, struct example_checker* parameters) {
    miVector coord = {0.0f, 0.0f, 0.0f};
    int square;

    if (state->tex_list) {
        coord = state->tex_list[0];
        place(&coord, mi_eval_vector(&parameters->repeat), mi_eval_vector(&parameters->offset));
    }
    square = (int)floorf(2.0f * coord.x) + (int)floorf(2.0f * coord.y);
    *result = *mi_eval_color(square & 1 ? &parameters->odd : &parameters->even);
    return miTRUE;
}
