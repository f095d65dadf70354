/* mib_lens_stencil, mib_lens_clamp, physical_lens_dof, oversampling_lens: what happens between the picture and the scene. */
#include "module/export.h"
#include "module/parameters.h"
#include "rays/ray_points.h"
#include "textures/picture.h"

namespace materials {

namespace {

struct Stencil {
    miScalar floor, ceiling;
    miColor floor_color, ceiling_color;
    miTag stencil;
};

struct Clamp {
    miScalar floor, ceiling;
    miBoolean luminance;
    miColor floor_color, ceiling_color;
};

struct DepthOfField {
    miScalar plane, radius;
};

struct Oversampling {
    miInteger samples;
};

/* The ray as it is. */
bool seen(miColor& result, miState* state) { return mi_trace_eye(&result, state, &state->org, &state->dir) != miFALSE; }

bool stencil(miColor& result, miState* state, Stencil& p) {
    const Parameters in(state);
    miVector place = sampleOnScreen(state);
    miScalar value = 0;
    const miTag texture = in(p.stencil);
    if (texture == miNULLTAG || !mi_lookup_scalar_texture(&value, state, texture, &place)) return seen(result, state);
    const miScalar floor = in(p.floor), ceiling = in(p.ceiling);
    const bool isBelow = value < floor;
    if (!isBelow && !(value > ceiling)) return seen(result, state);
    result = in.color(isBelow ? p.floor_color : p.ceiling_color);
    return true;
}

/* floor becomes 0 and ceiling 1; by the color's luminance or channel by channel. */
bool clampColors(miColor& result, miState* state, Clamp& p) {
    const bool isSeen = seen(result, state);
    const Parameters in(state);
    const miScalar floor = finite(in(p.floor)), range = finite(in(p.ceiling)) - floor;
    if (!(range > 0)) return isSeen;
    const miColor low = in.color(p.floor_color), high = in.color(p.ceiling_color);
    if (in.isOn(p.luminance)) {
        const miScalar luminance = mi_luminance(state, &result), stretched = (luminance - floor) / range;
        if (stretched <= 0)
            result = low;
        else if (stretched >= 1)
            result = high;
        else
            result = {result.r * stretched / luminance, result.g * stretched / luminance,
                      result.b * stretched / luminance, result.a};
        return isSeen;
    }
    const auto channel = [&](miScalar a, miScalar below, miScalar above) {
        const miScalar stretched = (a - floor) / range;
        return stretched <= 0 ? below : stretched >= 1 ? above : stretched;
    };
    result = {channel(result.r, low.r, high.r), channel(result.g, low.g, high.g), channel(result.b, low.b, high.b),
              result.a};
    return isSeen;
}

/* One ray from somewhere on the lens to where the middle one meets the plane that is sharp. */
bool depthOfField(miColor& result, miState* state, DepthOfField& p) {
    const Parameters in(state);
    const miScalar plane = std::fabs(finite(in(p.plane))), radius = in.within(p.radius, 0, miHUGE_SCALAR);
    miVector from, way;
    mi_point_to_camera(state, &from, &state->org);
    mi_vector_to_camera(state, &way, &state->dir);
    if (!(plane > 0) || !(radius > 0) || !(way.z < 0)) return seen(result, state);
    const miVector sharp = from + way * (plane / -way.z);
    double point[2] = {0, 0};
    int taken = 0;
    mi_sample(point, &taken, state, 2, nullptr);
    from = from + onDisc(point) * radius;
    way = unit(sharp - from);
    mi_point_from_camera(state, &from, &from);
    mi_vector_from_camera(state, &way, &way);
    return mi_trace_eye(&result, state, &from, &way) != miFALSE;
}

/* Mean of rays all over the pixel, those of a pinhole; other cameras see through the pixel's middle. */
bool oversampling(miColor& result, miState* state, Oversampling& p) {
    const Parameters in(state);
    const int samples = in.count(p.samples, 1, kMostRays);
    const miCamera& camera = *state->camera;
    if (samples == 1 || camera.orthographic || !(camera.focal > 0)) return seen(result, state);
    const miScalar pixel = camera.aperture / camera.focal / static_cast<miScalar>(std::max(camera.x_resolution, 1));
    const miVector org = state->org;
    miVector middle;
    mi_vector_to_camera(state, &middle, &state->dir);
    miScalar alpha = 0;
    int rays = 0;
    bool anySeen = false;
    const miColor mean = meanOverPoints(state, samples, [&](const double* point) {
        const auto shift = [&](double a) { return (static_cast<miScalar>(a) - .5f) * pixel * -middle.z; };
        miVector dir = unit(middle + miVector{shift(point[0]), shift(point[1]), 0});
        mi_vector_from_camera(state, &dir, &dir);
        miColor color = kNothing;
        anySeen = mi_trace_eye(&color, state, &org, &dir) || anySeen;
        alpha += color.a;
        ++rays;
        return color;
    });
    result = {mean.r, mean.g, mean.b, alpha / static_cast<miScalar>(rays)};
    return anySeen;
}

}  // namespace

MATERIALS_SHADER(mib_lens_stencil, miColor, Stencil, stencil)
MATERIALS_SHADER(mib_lens_clamp, miColor, Clamp, clampColors)
MATERIALS_SHADER(physical_lens_dof, miColor, DepthOfField, depthOfField)
MATERIALS_SHADER(oversampling_lens, miColor, Oversampling, oversampling)

}  // namespace materials
