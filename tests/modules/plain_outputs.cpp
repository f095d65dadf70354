// Output shaders, as shader writers write them: loops over the pixels of frame buffers.
#include "test_shader.h"
#include "mi_shader_if.h"

#include <algorithm>
#include <csignal>

struct Output {
    miColor gain, fog;
    miScalar depth;
    miTag add;
    int label, stop;
};

/// color * gain; then as much fog as its depth is of `depth`; then what is in the buffer named `add`; black where the
/// label is `label`. `stop` interrupts the program.
TEST_SHADER(plain_output, Output) {
    int called = -1;
    mi_query(miQ_FUNC_CALLTYPE, state, miNULLTAG, &called);
    HOLDS(called == miSHADER_OUTPUT && state->type == miRAY_OUTPUT && !mi_fb_put(state, 0, result));
    const miScalar depth = VALUE(depth);
    const int label = VALUE(label), width = state->camera->x_resolution, height = state->camera->y_resolution;
    mi::shader::Interface* interface = mi_get_shader_interface();
    miImg_image* picture = mi_output_image_open(state, miRC_IMAGE_RGBA);
    miImg_image* depths = depth > 0 ? mi_output_image_open(state, miRC_IMAGE_Z) : nullptr;
    miImg_image* labels = label > 0 ? mi_output_image_open(state, miRC_IMAGE_TAG) : nullptr;
    const char* name = paras->add ? static_cast<const char*>(mi_db_access(paras->add)) : nullptr;
    miImg_image* added = name ? interface->open_output_image(state, name) : nullptr;
    if (name) mi_db_unpin(paras->add);
    HOLDS(picture && picture->width == width && picture->height == height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            miColor color, more = {0, 0, 0, 0};
            miScalar z = 0;
            miUint its = 0;
            mi_img_get_color(picture, &color, x, y);
            if (depths) mi_img_get_depth(depths, &z, x, y);
            if (labels) mi_img_get_label(labels, &its, x, y);
            if (added) mi_img_get_color(added, &more, x, y);
            color = VALUE(gain) * color;
            if (depths) color = mixed(color, VALUE(fog), std::min(1.0f, z / depth));
            color = its == static_cast<miUint>(label) && labels ? miColor{0, 0, 0, 1} : color + more;
            mi_img_put_color(picture, &color, x, y);
        }
    miColor outside = {1, 1, 1, 1};
    mi_img_put_color(picture, &outside, width, 0);
    mi_img_get_color(picture, &outside, -1, 0);
    HOLDS(outside.r == 0 && outside.a == 0);
    mi_output_image_close(state, miRC_IMAGE_RGBA);
    interface->release();
    if (VALUE(stop)) std::raise(SIGTERM);
    return miTRUE;
}

struct Files {
    miTag write, read;
    int type;
};

static const char* textOf(miTag tag) { return tag ? static_cast<const char*>(mi_db_access(tag)) : nullptr; }

/// Writes twice the picture into the file `write`; adds the pixels of the file `read` to the picture.
TEST_SHADER(plain_files, Files) {
    miImg_image* picture = mi_output_image_open(state, miRC_IMAGE_RGBA);
    miImg_file file;
    if (const char* name = textOf(paras->write)) {
        const auto type = static_cast<miImg_type>(paras->type);
        if (!mi_img_create(&file, name, type, miIMG_FORMAT_BY_NAME, picture->width, picture->height)) return miFALSE;
        miImg_image* kept = mi_img_image_create(&file);
        for (int y = 0; y < picture->height; ++y)
            for (int x = 0; x < picture->width; ++x) {
                miColor color;
                mi_img_get_color(picture, &color, x, y);
                color = miColor{2, 2, 2, 2} * color;
                mi_img_put_color(kept, &color, x, y);
            }
        HOLDS(mi_img_image_write(&file, kept) && mi_img_close(&file) && !mi_img_close(&file));
        mi_mem_release(kept);
    }
    if (const char* name = textOf(paras->read)) {
        if (!mi_img_open(&file, name, miIMG_TYPE_RGBA_FP)) return miFALSE;
        miImg_image* kept = mi_img_image_create(&file);
        HOLDS(kept->width == picture->width && mi_img_image_read(&file, kept));
        for (int y = 0; y < picture->height; ++y)
            for (int x = 0; x < picture->width; ++x) {
                miColor color, more;
                mi_img_get_color(picture, &color, x, y);
                mi_img_get_color(kept, &more, x, y);
                color = color + more;
                mi_img_put_color(picture, &color, x, y);
            }
        mi_img_close(&file);
    }
    return miTRUE;
}

struct Passes {
    miColor gain;
    int inputs;
};

/// The picture's samples of all inputs, added, times `gain`; as near as the first input that has seen anything.
TEST_SHADER(plain_passes, Passes) {
    mi::shader::Interface* interface = mi_get_shader_interface();
    const int inputs = interface->getPassNumber(state);
    miColor sum = {0, 0, 0, 0}, color = {};
    miScalar depth = 0, nearest = 0;
    for (int i = 0; i < inputs; ++i) {
        HOLDS(interface->getPassSampleInput(state, i, 0, &color) &&
              interface->getPassSampleInput(state, i, -1, &depth));
        sum = sum + color;
        if (nearest == 0) nearest = depth;
    }
    HOLDS(inputs == VALUE(inputs) && !interface->getPassSampleInput(state, inputs, 0, &color));
    HOLDS(!interface->getPassSample(state, 99, &color) && !interface->setPassSample(state, -2, &color));
    color = VALUE(gain) * sum;
    HOLDS(interface->setPassSample(state, 0, &color) && interface->setPassSample(state, -1, &nearest));
    interface->release();
    return miTRUE;
}
