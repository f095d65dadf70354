/* Images in files, for shaders that keep what they find, or read what others have made. */
#pragma once

#include "codes.h"
#include "images.h"
#include "types.h"

/* File formats. The numbers are this host's own. */
typedef enum miImg_format {
    miIMG_FORMAT_BY_NAME = 0, /* as the file's name ends */
    miIMG_FORMAT_EXR = 1,
    miIMG_FORMAT_TIFF = 2,
    miIMG_FORMAT_PNG = 3,
    miIMG_FORMAT_JPG = 4,
    miIMG_FORMAT_HDR = 5,
    miIMG_FORMAT_PIC = 6,
    miIMG_FORMAT_TGA = 7,
    miIMG_FORMAT_CT = 8,
    miIMG_FORMAT_ST = 9,
    miIMG_FORMAT_COUNT = 10
} miImg_format;

/* A file that was opened or created. Its members are this host's own. */
typedef struct miImg_file {
    int width, height;
    miImg_type type; /* of its images */
    miImg_format format;
    miTag name; /* a string in the database */
} miImg_file;

miBEGIN_C

/*
 * The order of calls is known from use, arguments beside it are this host's. From any shader and thread while a scene is
 * rendered; an image belongs to one thread. What fails answers false or null, after a message.
 *
 *   mi_img_create, mi_img_image_create, put pixels, mi_img_image_write, mi_img_close
 *   mi_img_open, mi_img_image_create, mi_img_image_read, get pixels, mi_img_close
 *
 * Files are written where a scene may write them: by their ending as images, below the output folder, over images only,
 * whole or not at all. Names begin in that folder; files that are read and are not there are looked for as they are named.
 * Pixels are linear floats in any case: colors in files of whole numbers have the gamma of the options.
 */
miBoolean mi_img_create(miImg_file* file, const char* name, miImg_type type, miImg_format format, int width,
                        int height);
miBoolean mi_img_open(miImg_file* file, const char* name, miImg_type type);
miBoolean mi_img_close(miImg_file* file);

/* A black image of the file's size and type. It goes with the render, or by mi_mem_release. */
miImg_image* mi_img_image_create(miImg_file* file);
miBoolean mi_img_image_read(miImg_file* file, miImg_image* image);
miBoolean mi_img_image_write(miImg_file* file, miImg_image* image);

miEND_C
