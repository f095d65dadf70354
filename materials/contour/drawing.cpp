/* contour_composite, contour_only: draw the lines of contours over the picture, or instead of it. */
#include "contour/line_picture.h"
#include "math/color.h"
#include "module/export.h"
#include "module/parameters.h"

#include <exception>

namespace materials {

namespace {

struct Composite {
    miBoolean glow, maxcolor;
};

struct Only {
    miColor background;
    miBoolean glow, maxcolor;
};

/* Both are premultiplied, as pictures are. */
miColor over(const miColor& line, const miColor& below) {
    const miScalar rest = 1 - line.a;
    return {line.r * line.a + below.r * rest, line.g * line.a + below.g * rest, line.b * line.a + below.b * rest,
            line.a + below.a * rest};
}

LinePicture drawLines(const miImg_image& picture, bool glow, bool brightest) {
    LinePicture lines(picture.width, picture.height, brightest);
    for (miContour_endpoint a, b; mi_get_contour_line(&a, &b);) lines.draw(a, b, glow);
    return lines;
}

/* Memory for the lines is the one thing that may be missing. */
bool put(miState* state, bool glow, bool brightest, const miColor* background) {
    miImg_image* picture = mi_output_image_open(state, miRC_IMAGE_RGBA);
    if (!picture) return false;
    try {
        const LinePicture lines = drawLines(*picture, glow, brightest);
        for (int y = 0; y < picture->height && !mi_par_aborted(); ++y)
            for (int x = 0; x < picture->width; ++x) {
                miColor below = kNothing;
                if (background)
                    below = *background;
                else
                    mi_img_get_color(picture, &below, x, y);
                miColor color = over(lines.at(x, y), below);
                mi_img_put_color(picture, &color, x, y);
            }
    } catch (const std::exception& problem) {
        mi_error("contours are not drawn: %s", problem.what());
    }
    mi_output_image_close(state, miRC_IMAGE_RGBA);
    return true;
}

bool composite(miColor&, miState* state, Composite& p) {
    const Parameters in(state);
    return put(state, in.isOn(p.glow), in.isOn(p.maxcolor), nullptr);
}

bool only(miColor&, miState* state, Only& p) {
    const Parameters in(state);
    return put(state, in.isOn(p.glow), in.isOn(p.maxcolor), &in(p.background));
}

}  // namespace

MATERIALS_SHADER(contour_composite, miColor, Composite, composite)
MATERIALS_SHADER(contour_only, miColor, Only, only)

}  // namespace materials
