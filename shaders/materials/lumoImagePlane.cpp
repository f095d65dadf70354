/* lumoVexaImagePlane: a picture that stays before the camera, fitted to its film gate: backgrounds, plates to match a
 * scene with, painted skies.
 *
 * Two uses: as the camera's environment, where it shows wherever nothing else is; or as the surface of an object that
 * should look like a piece of the picture (connect it to lumoVexaSurfaceShader's `color`). Its place is that of the
 * sample in the picture, whatever lenses do to the ray. In mirrors and through refractions there is none: there it is
 * a slide that the camera projects, onto the surface or, as an environment, infinitely far away; not behind the camera.
 *
 * Parameters
 *   texture           picture from a file, or any texture shader (then as wide as the gate)
 *   fit               0 fill: covers the frame, 1 best: all of it is in the frame, 2 horizontal: as wide as the frame,
 *                     3 vertical: as high, 4 to size: stretched over the frame
 *   sizeX, sizeY      the frame, in film gates; 1 1 is the gate itself
 *   offsetX, offsetY  of its middle from the gate's, in widths and heights of the gate
 *   rotate            degrees, counterclockwise, around the picture's middle
 *   coverageX, coverageY, coverageOriginX, coverageOriginY
 *                     part of the picture that is used, and where it begins: fractions of width and height
 *   pixelAspect       width of the picture's pixels by their height
 *   colorGain, colorOffset, alphaGain
 *                     color x colorGain + colorOffset, alpha x alphaGain
 *   outside           beside the picture, as it is
 *   colorTransform    name of a color transform (SDK/color/color_transform.h) that every color goes through at last
 *
 * Example: a plate in the colors that renders are calculated in.
 *   color texture "street" "street.png"
 *   camera "cam" ...
 *     environment "lumoVexaImagePlane" ( "texture" "street", "fit" 0, "colorTransform" "sRGB -> ACEScg" )
 */
#include "SDK/color/color.h"
#include "SDK/color/color_transform.h"
#include "SDK/framework/export_shader.h"
#include "SDK/framework/renderer_access.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <optional>

namespace lumo {

struct ImagePlaneParameters {
    miTag texture;
    miInteger fit;
    miScalar sizeX, sizeY, offsetX, offsetY, rotate;
    miScalar coverageX, coverageY, coverageOriginX, coverageOriginY;
    miScalar pixelAspect;
    miColor colorGain, colorOffset;
    miScalar alphaGain;
    miColor outside;
    miTag colorTransform;
};

namespace {

using P = ImagePlaneParameters;

enum Fit : miInteger { kFill = 0, kBest, kHorizontal, kVertical, kToSize };

/* On the film, in widths of the gate, from its middle; or a size. */
struct FilmVector {
    double x, y;
};

/* Pixels of a picture from a file; 0 of all others. */
struct PictureSize {
    int width = 0, height = 0;

    double ratio() const { return width > 0 ? static_cast<double>(width) / height : 0; }
};

PictureSize sizeOf(miState* state, miTag texture) {
    PictureSize size;
    const bool known = texture != miNULLTAG && mi_query(miQ_IMAGE_WIDTH, state, texture, &size.width) &&
                       mi_query(miQ_IMAGE_HEIGHT, state, texture, &size.height);
    return known && size.width > 0 && size.height > 0 ? size : PictureSize{};
}

/* A coordinate that filters do not bring beyond the picture's edge: renderers go on at the opposite one. */
miScalar withinPixels(double coordinate, int pixels) {
    const double half = pixels > 0 ? 0.5 / pixels : 0;
    return static_cast<miScalar>(std::fmax(half, std::fmin(coordinate, 1 - half)));  // also of what is no number
}

FilmVector sampleOnFilm(const miState* state, const miCamera& camera) {
    return {(double{state->raster_x} - camera.x_offset) / camera.x_resolution - 0.5,
            ((double{state->raster_y} - camera.y_offset) / camera.y_resolution - 0.5) / camera.aspect};
}

/* Where a camera sees a point of its space; nothing is seen behind it. */
std::optional<FilmVector> projected(const miVector& point, const miCamera& camera) {
    double scale = 1 / double{camera.aperture};
    if (!camera.orthographic) scale *= camera.focal / -double{point.z};
    if (!(point.z < 0)) return {};
    return FilmVector{point.x * scale, point.y * scale};
}

/* Where the sample looks at the picture. */
std::optional<FilmVector> placeOnFilm(miState* state, const miCamera& camera) {
    if (isSeenStraight(state)) return sampleOnFilm(state, camera);
    miVector point;
    const bool hitsNothing = state->type == miRAY_ENVIRONMENT || !state->pri;
    if (hitsNothing && camera.orthographic) return {};  // all that such a camera sees lies in one direction
    if (hitsNothing)
        mi_vector_to_camera(state, &point, &state->dir);
    else
        mi_point_to_camera(state, &point, &state->point);
    return projected(point, camera);
}

/* Size of a picture of this ratio within a frame. */
FilmVector fitted(miInteger fit, const FilmVector& frame, double ratio) {
    if (!(ratio > 0) || fit == kToSize) return frame;
    const double filling = frame.y * ratio;  // width of a picture that is as high as the frame
    double width = frame.x;
    if (fit == kBest)
        width = std::min(width, filling);
    else if (fit == kVertical)
        width = filling;
    else if (fit != kHorizontal)
        width = std::max(width, filling);
    return {width, width / ratio};
}

class ImagePlaneClass : public Shader<P> {
public:
    using Result = miColor;

    explicit ImagePlaneClass(const Helper& in)
        : Shader(in), texture_(in(&P::texture)), picture_(sizeOf(in.state(), texture_)) {
        LumoColorTransformCache::initTransform(in, &P::colorTransform, transform_);
    }

    miBoolean shade(miColor* result, const Helper& in) const {
        miState* state = in.state();
        if (!requireVexabase(state, "vexa_imageplane(): Internal state error.")) return miFALSE;
        miVector coordinate;
        if (findCoordinate(in, coordinate) && mi_lookup_color_texture(result, state, texture_, &coordinate))
            *result = graded(in, *result);
        else
            *result = in(&P::outside);
        LumoColorTransformCache::renderTransform(state, *result, transform_);
        return miTRUE;
    }

private:
    /* False beside the picture. */
    bool findCoordinate(const Helper& in, miVector& coordinate) const {
        const miCamera* camera = in.state()->camera;
        if (!camera || texture_ == miNULLTAG) return false;
        const std::optional<FilmVector> place = placeOnFilm(in.state(), *camera);
        if (!place) return false;

        const double gateHeight = 1 / double{camera->aspect};
        const double x = place->x - in(&P::offsetX), y = place->y - in(&P::offsetY) * gateHeight;
        const double angle = in(&P::rotate) * std::numbers::pi / 180, c = std::cos(angle), s = std::sin(angle);
        const double coverX = in(&P::coverageX), coverY = in(&P::coverageY);
        const double ratio = picture_.ratio() * in(&P::pixelAspect) * coverX / coverY;
        const FilmVector size = fitted(in(&P::fit), {in(&P::sizeX), in(&P::sizeY) * gateHeight}, ratio);
        const double u = (x * c + y * s) / size.x + 0.5, v = (y * c - x * s) / size.y + 0.5;
        if (!(u >= 0 && u <= 1 && v >= 0 && v <= 1)) return false;
        coordinate = {withinPixels(in(&P::coverageOriginX) + u * coverX, picture_.width),
                      withinPixels(in(&P::coverageOriginY) + v * coverY, picture_.height), 0};
        return true;
    }

    static miColor graded(const Helper& in, const miColor& color) {
        miColor result = color * in(&P::colorGain) + in(&P::colorOffset);
        result.a = color.a * in(&P::alphaGain);
        return result;
    }

    const miTag texture_;
    const PictureSize picture_;
    ColorTransform transform_;
};

}  // namespace

LUMO_EXPORT_SHADER(lumoVexaImagePlane, ImagePlaneClass, "shaders/lumoImagePlane")

}  // namespace lumo
