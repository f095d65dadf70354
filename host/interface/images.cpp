// Pixels of pictures, for output shaders.
#include "render/output_pictures.h"
#include "support/messages.h"

#include "shader.h"

using namespace lumorender;

namespace {

/// Who keeps the pixels, or null.
ShaderImage* keeperOf(miImg_image* image) { return image ? static_cast<ShaderImage*>(image->host) : nullptr; }

}  // namespace

extern "C" {

miImg_image* mi_output_image_open(miState*, int buffer) {
    OutputPictures* pictures = OutputPictures::running();
    OutputPicture* found = pictures ? pictures->find(buffer) : nullptr;
    if (!pictures)
        warning("API", "only output shaders open pictures");
    else if (!found)
        warning("API",
                "an output shader opens frame buffer {}, which is not there; its output statement may name types",
                buffer);
    return found;
}

void mi_output_image_close(miState*, int) {}

void mi_img_get_color(miImg_image* image, miColor* color, int x, int y) {
    const ShaderImage* keeper = keeperOf(image);
    *color = keeper ? keeper->color(x, y) : miColor{};
}

void mi_img_put_color(miImg_image* image, miColor* color, int x, int y) {
    if (ShaderImage* keeper = keeperOf(image)) keeper->setColor(*color, x, y);
}

void mi_img_get_scalar(miImg_image* image, miScalar* value, int x, int y) {
    const ShaderImage* keeper = keeperOf(image);
    *value = keeper ? keeper->scalar(x, y) : 0;
}

void mi_img_put_scalar(miImg_image* image, miScalar value, int x, int y) {
    if (ShaderImage* keeper = keeperOf(image)) keeper->setScalar(value, x, y);
}

void mi_img_get_vector(miImg_image* image, miVector* vector, int x, int y) {
    const ShaderImage* keeper = keeperOf(image);
    *vector = keeper ? keeper->vector(x, y) : miVector{};
}

void mi_img_put_vector(miImg_image* image, miVector* vector, int x, int y) {
    if (ShaderImage* keeper = keeperOf(image)) keeper->setVector(*vector, x, y);
}

void mi_img_get_label(miImg_image* image, miUint* label, int x, int y) {
    ShaderImage* keeper = keeperOf(image);
    const miUint* found = keeper ? keeper->label(x, y) : nullptr;
    *label = found ? *found : 0;
}

void mi_img_put_label(miImg_image* image, miUint label, int x, int y) {
    ShaderImage* keeper = keeperOf(image);
    if (miUint* found = keeper ? keeper->label(x, y) : nullptr) *found = label;
}

miBoolean mi_get_contour_line(miContour_endpoint* a, miContour_endpoint* b) {
    OutputPictures* pictures = OutputPictures::running();
    const ContourLine* line = pictures ? pictures->nextContour() : nullptr;
    if (!line) return miFALSE;
    *a = line->a;
    *b = line->b;
    return miTRUE;
}

// Names of their own for what the values mean.

void mi_img_get_depth(miImg_image* image, miScalar* depth, int x, int y) { mi_img_get_scalar(image, depth, x, y); }
void mi_img_put_depth(miImg_image* image, miScalar depth, int x, int y) { mi_img_put_scalar(image, depth, x, y); }
void mi_img_get_coverage(miImg_image* image, miScalar* value, int x, int y) { mi_img_get_scalar(image, value, x, y); }
void mi_img_put_coverage(miImg_image* image, miScalar value, int x, int y) { mi_img_put_scalar(image, value, x, y); }
void mi_img_get_normal(miImg_image* image, miVector* normal, int x, int y) { mi_img_get_vector(image, normal, x, y); }
void mi_img_put_normal(miImg_image* image, miVector* normal, int x, int y) { mi_img_put_vector(image, normal, x, y); }
void mi_img_get_motion(miImg_image* image, miVector* motion, int x, int y) { mi_img_get_vector(image, motion, x, y); }
void mi_img_put_motion(miImg_image* image, miVector* motion, int x, int y) { mi_img_put_vector(image, motion, x, y); }

}  // extern "C"
