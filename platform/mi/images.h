/* Pictures: frame buffers for output shaders, textures, images in files; and the lines of contours. */
#pragma once

#include "codes.h"
#include "state.h"
#include "types.h"

/*
 * An image. Pixels count from the lower left corner. Of a frame buffer they are those of the whole picture; where only a
 * window of it was rendered, those outside read as zero and are not kept. What mi_db_access gives of a texture is one,
 * too. The name of the record is known from use only; what is in it is this host's.
 */
struct miImg_image {
    int width, height;
    miImg_type type;
    void* host; /* who keeps the pixels; null where nobody does */
};

/* Names and arguments of contours are this host's; of the functions for pixels those of colors are known from use, and the
 * others follow them. */

/* One end of a contour line. Contour shaders give color, width and motion; the place is the host's. */
typedef struct miContour_endpoint {
    miVector point;  /* in pixels from the lower left corner of the picture, z is the depth along the camera's axis */
    miColor color;   /* straight: alpha is how much the line covers */
    miScalar width;  /* in percent of the picture's width */
    miVector motion; /* kept for output shaders */
} miContour_endpoint;

miBEGIN_C

/*
 * From output shaders only, by one thread. Buffers go by their number: miRC_IMAGE_RGBA is the picture, other fixed ones
 * are there where an output statement names their type, miRC_IMAGE_USER + n is frame buffer n of the options. Where
 * buffers have names, numbers are those of Framebuffer::get_index. Null, after a message, where there is none. What is
 * opened stays until the shader returns, closed or not.
 */
miImg_image* mi_output_image_open(miState* state, int buffer);
void mi_output_image_close(miState* state, int buffer);

/*
 * Pixels of any kind of buffer, as linear floats: a single value is gray as a color, a color is its luminance as a single
 * value. Vectors are for normals and motion, labels for label buffers; others read as zero and are not written.
 */
void mi_img_get_color(miImg_image* image, miColor* color, int x, int y);
void mi_img_put_color(miImg_image* image, miColor* color, int x, int y);
void mi_img_get_scalar(miImg_image* image, miScalar* value, int x, int y);
void mi_img_put_scalar(miImg_image* image, miScalar value, int x, int y);
void mi_img_get_depth(miImg_image* image, miScalar* depth, int x, int y);
void mi_img_put_depth(miImg_image* image, miScalar depth, int x, int y);
void mi_img_get_coverage(miImg_image* image, miScalar* coverage, int x, int y);
void mi_img_put_coverage(miImg_image* image, miScalar coverage, int x, int y);
void mi_img_get_vector(miImg_image* image, miVector* vector, int x, int y);
void mi_img_put_vector(miImg_image* image, miVector* vector, int x, int y);
void mi_img_get_normal(miImg_image* image, miVector* normal, int x, int y);
void mi_img_put_normal(miImg_image* image, miVector* normal, int x, int y);
void mi_img_get_motion(miImg_image* image, miVector* motion, int x, int y);
void mi_img_put_motion(miImg_image* image, miVector* motion, int x, int y);
void mi_img_get_label(miImg_image* image, miUint* label, int x, int y);
void mi_img_put_label(miImg_image* image, miUint label, int x, int y);

/* The ends of the next contour line of the render; false behind the last one, after which it begins anew. */
miBoolean mi_get_contour_line(miContour_endpoint* a, miContour_endpoint* b);

miEND_C
