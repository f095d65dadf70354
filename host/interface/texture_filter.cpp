// Texture look-ups over the footprint of a pixel.
#include "tracing/camera.h"
#include "tracing/context.h"
#include "tracing/pixel_footprint.h"
#include "tracing/textures.h"

#include "shader.h"

#include <cmath>
#include <cstring>

using namespace lumorender;

namespace {

/// A step along a surface tangent and what it changes in the texture.
bool stepAlong(const miVector& derivative, double radius, miVector& step, double& change) {
    const double length =
        std::sqrt(static_cast<double>(derivative.x) * derivative.x + static_cast<double>(derivative.y) * derivative.y +
                  static_cast<double>(derivative.z) * derivative.z);
    if (!(length > 0)) return false;
    const double scale = radius / length;
    step = {static_cast<float>(derivative.x * scale), static_cast<float>(derivative.y * scale),
            static_cast<float>(derivative.z * scale)};
    change = scale;
    return true;
}

miVector sum(const miVector& a, const miVector& b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }

/// The footprint that a record asks for; what it leaves at 0 is usual: a circle as wide as a pixel, of any
/// eccentricity.
Footprint filteredFootprint(const Texture& image, const miTexfilter* filter, const miScalar* m) {
    constexpr miTexfilter kUsual = {0, 0, 0, miTRUE, {}};
    const miTexfilter& wanted = filter ? *filter : kUsual;
    float factor = wanted.circle_radius > 0 ? 2 * wanted.circle_radius : 1;
    // A level of the pyramid whose pixels are larger than the ellipse blurs by as much.
    if (wanted.max_minor > 0 && wanted.max_minor < 1) factor /= wanted.max_minor;
    const Footprint given{m[0], m[1], m[4], m[5], wanted.bilinear != 0};
    return limitedFootprint(given, image.width(), image.height(), wanted.eccmax, factor);
}

}  // namespace

extern "C" {

/* The hit and two points beside it, at the disc's radius along the surface's u and v: in the image and in the texture.
 */
miBoolean mi_texture_filter_project(miVector p[3], miVector t[3], miState* state, miScalar disc_radius,
                                    miUint texture_space) {
    const Camera* camera = contextOf(state).scene->projection.get();
    const Hit* hit = hitOf(state);
    if (!camera || !hit || !state->derivs || !state->tex_list) return miFALSE;
    if (texture_space >= contextOf(state).scene->geometry->listSizes(*hit->instance).textures) return miFALSE;

    miVector step[2];
    double change[2] = {};
    if (!stepAlong(state->derivs[0], disc_radius, step[0], change[0])) return miFALSE;
    if (!stepAlong(state->derivs[1], disc_radius, step[1], change[1])) return miFALSE;
    const miVector coord = state->tex_list[texture_space];
    p[0] = camera->worldToRaster(beforeLens(state, state->point));
    p[1] = camera->worldToRaster(beforeLens(state, sum(state->point, step[0])));
    p[2] = camera->worldToRaster(beforeLens(state, sum(state->point, step[1])));
    t[0] = coord;
    t[1] = {coord.x + static_cast<float>(change[0]), coord.y, 0};
    t[2] = {coord.x, coord.y + static_cast<float>(change[1]), 0};
    for (int i = 0; i < 3; ++i)
        if (!std::isfinite(p[i].x) || !std::isfinite(p[i].y)) return miFALSE;
    return miTRUE;
}

/* The affine map that takes the three image points to the three texture points; false when they lie on a line. */
miBoolean mi_texture_filter_transform(miMatrix pixel_to_texture, miVector p[3], miVector t[3]) {
    const double ax = static_cast<double>(p[1].x) - p[0].x;
    const double ay = static_cast<double>(p[1].y) - p[0].y;
    const double bx = static_cast<double>(p[2].x) - p[0].x;
    const double by = static_cast<double>(p[2].y) - p[0].y;
    const double det = ax * by - ay * bx;
    if (std::abs(det) < 1e-20) return miFALSE;
    const double u[2] = {static_cast<double>(t[1].x) - t[0].x, static_cast<double>(t[2].x) - t[0].x};
    const double v[2] = {static_cast<double>(t[1].y) - t[0].y, static_cast<double>(t[2].y) - t[0].y};
    const double dudx = (u[0] * by - u[1] * ay) / det;
    const double dudy = (u[1] * ax - u[0] * bx) / det;
    const double dvdx = (v[0] * by - v[1] * ay) / det;
    const double dvdy = (v[1] * ax - v[0] * bx) / det;
    const double m[16] = {dudx,
                          dvdx,
                          0,
                          0,
                          dudy,
                          dvdy,
                          0,
                          0,
                          0,
                          0,
                          1,
                          0,
                          t[0].x - p[0].x * dudx - p[0].y * dudy,
                          t[0].y - p[0].x * dvdx - p[0].y * dvdy,
                          0,
                          1};
    for (int i = 0; i < 16; ++i) pixel_to_texture[i] = static_cast<miScalar>(m[i]);
    return miTRUE;
}

/* The texture at the state's place in the image, over the circle around it that the matrix takes to the texture. */
miBoolean mi_lookup_filter_color_texture(miColor* result, miState* state, miTag texture, miTexfilter* filter,
                                         miMatrix pixel_to_texture) {
    const TextureTable* textures = contextOf(state).scene->textures.get();
    const Texture* image = textures ? textures->find(texture) : nullptr;
    const miScalar* m = pixel_to_texture;
    const miScalar u = state->raster_x * m[0] + state->raster_y * m[4] + m[12];
    const miScalar v = state->raster_x * m[1] + state->raster_y * m[5] + m[13];
    if (!image) {
        miVector coord = {u, v, 0};
        return mi_lookup_color_texture(result, state, texture, &coord);
    }
    miColor color = {0, 0, 0, 0};
    if (!image->lookup(color, u, v, filteredFootprint(*image, filter, m))) return miFALSE;
    *result = color;
    return miTRUE;
}

}  // extern "C"
