/*
 * Lens shaders in C++, which read render options by name:
 *
 * lens_depth    depth of field: the mean of several eye rays through a lens of `radius`, sharp at `distance`. The
 * number of rays is the option "lens rays" (1 without it). lens_fisheye  every pixel looks at an angle proportional to
 * its distance from the picture's middle; black beyond `angle` degrees, unless the option "lens full" is on.
 */
#include "shader.h"
#include "mi/camera.h"
#include "mi/options.h"
#include "mi_shader_if.h"

#include <cmath>
#include <cstring>

namespace {

constexpr float kPi = 3.14159265f;

template <class Value>
Value optionOf(const miState* state, const char* name, Value fallback) {
    mi::shader::Interface* host = mi_get_shader_interface();
    if (!host) return fallback;
    mi::shader::Options* options = host->getOptions(state->options->string_options);
    host->release();
    if (!options) return fallback;
    Value value = fallback;
    options->get(name, &value);
    options->release();
    return value;
}

}  // namespace

extern "C" {

struct lens_depth_parameters {
    miScalar radius;
    miScalar distance;
};

DLLEXPORT int lens_depth_version(void) { return 1; }

DLLEXPORT miBoolean lens_depth(miColor* result, miState* state, lens_depth_parameters* paras) {
    const miScalar radius = *mi_eval_scalar(&paras->radius);
    const miScalar distance = *mi_eval_scalar(&paras->distance);
    const miUint wanted = static_cast<miUint>(optionOf<int>(state, "lens rays", 1));

    // The ray through the middle of the lens finds the point that all others aim at.
    miVector org, dir;
    mi_point_to_camera(state, &org, &state->org);
    mi_vector_to_camera(state, &dir, &state->dir);
    const miScalar reach = distance / -dir.z;
    const miVector focus = {org.x + reach * dir.x, org.y + reach * dir.y, org.z + reach * dir.z};

    miColor sum = {0, 0, 0, 0};
    double point[2];
    int taken = 0;
    while (mi_sample(point, &taken, state, 2, &wanted)) {
        const float r = radius * std::sqrt(static_cast<float>(point[0]));
        const float phi = 2 * kPi * static_cast<float>(point[1]);
        miVector from = {org.x + r * std::cos(phi), org.y + r * std::sin(phi), org.z};
        miVector to = {focus.x - from.x, focus.y - from.y, focus.z - from.z};
        mi_vector_normalize(&to);
        mi_point_from_camera(state, &from, &from);
        mi_vector_from_camera(state, &to, &to);
        miColor color = {0, 0, 0, 0};
        mi_trace_eye(&color, state, &from, &to);
        miColorAddScaled(&sum, &color, 1);
    }
    const float share = taken > 0 ? 1 / static_cast<float>(taken) : 0;
    miColorSet(result, sum.r * share, sum.g * share, sum.b * share, sum.a * share);
    return miTRUE;
}

struct lens_fisheye_parameters {
    miScalar angle;
};

DLLEXPORT int lens_fisheye_version(void) { return 1; }

DLLEXPORT miBoolean lens_fisheye(miColor* result, miState* state, lens_fisheye_parameters* paras) {
    const miScalar reach = *mi_eval_scalar(&paras->angle) * kPi / 180;
    const auto width = static_cast<float>(state->camera->x_resolution);
    const auto height = static_cast<float>(state->camera->y_resolution);
    const float x = 2 * state->raster_x / width - 1, y = 2 * state->raster_y / height - 1;
    const float angle = reach * std::sqrt(x * x + y * y);
    if (angle > reach && !optionOf<bool>(state, "lens full", false)) return miFALSE;

    const float phi = std::atan2(y, x);
    miVector dir = {std::sin(angle) * std::cos(phi), std::sin(angle) * std::sin(phi), -std::cos(angle)};
    mi_vector_from_camera(state, &dir, &dir);
    return mi_trace_eye(result, state, &state->org, &dir);
}

}  // extern "C"
