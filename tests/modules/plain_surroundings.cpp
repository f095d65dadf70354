// What is around surfaces: a light with shadows, a shadow shader, surroundings, fog and a lens.
#include "test_shader.h"
#include "mi_shader_if.h"

#include <cmath>

struct Light {
    miColor color;
    miBoolean shadow, falloff, moves;
    miVector org, edge_u, edge_v;
};

/// One that `moves` shines from `org` instead, and chooses the places of its samples there itself: on a rectangle.
static void move(miState* state, const miVector& org, const miVector& u, const miVector& v) {
    miVector2d place = {0, 0};
    mi_query(miQ_LIGHT_SAMPLE_COORD, state, 0, &place);
    state->org = {org.x + place.u * u.x + place.v * v.x, org.y + place.u * u.y + place.v * v.y,
                  org.z + place.u * u.z + place.v * v.z};
    mi_vector_sub(&state->dir, &state->point, &state->org);
    state->dist = mi_vector_norm(&state->dir);
    mi_vector_normalize(&state->dir);
    state->dot_nd = -mi_vector_dot(&state->dir, &state->parent->normal);
}

TEST_SHADER(plain_light, Light) {
    *result = VALUE(color);
    if (state->type != miRAY_LIGHT) return miTRUE;
    ++numberInState(state, "probe.lightCalls");
    if (VALUE(moves)) move(state, VALUE(org), VALUE(edge_u), VALUE(edge_v));
    if (VALUE(falloff)) *result = static_cast<miScalar>(1 / (state->dist * state->dist)) * *result;
    return VALUE(shadow) ? mi_trace_shadow(result, state) : miTRUE;
}

struct Shadow {
    miColor transmission;
    miTag name;
    miBoolean stops;
};

/// Lets a part of the light through; in segment mode the rest of the way comes first.
TEST_SHADER(plain_shadow, Shadow) {
    tell("shadow of", VALUE(name), state);
    if (state->options->shadow == 's' && !mi_trace_shadow_seg(result, state)) return miFALSE;
    *result = *result * VALUE(transmission);
    return !VALUE(stops);
}

struct Environment {
    miColor down, up;
    miTag name;
};

/// Two colors, blended by how far the direction points up (y).
TEST_SHADER(plain_environment, Environment) {
    tell("environment", VALUE(name), state);
    *result = mixed(VALUE(down), VALUE(up), .5f + .5f * state->dir.y);
    return miTRUE;
}

/// Another color in every pixel, none like its neighbours.
TEST_SHADER(plain_noise, void) {
    const auto noise = [&](float seed) {
        const float wave = std::sin(state->raster_x * 12.9898F + state->raster_y * 78.233F + seed) * 43758.547F;
        return wave - std::floor(wave);
    };
    *result = {noise(0), noise(1), noise(2), 1};
    return miTRUE;
}

struct Fog {
    miColor color;
    miScalar density;
    miTag name;
};

/// What is behind weakens as exp(-density * way); infinitely far away there is only fog.
TEST_SHADER(plain_fog, Fog) {
    const miScalar density = VALUE(density);
    tell("volume", VALUE(name), state);
    if (state->type == miRAY_LIGHT || density == 0) return miTRUE;
    const miScalar clear = state->dist > 0 ? static_cast<miScalar>(std::exp(-density * state->dist)) : 0;
    *result = mixed(VALUE(color), *result, clear);
    return miTRUE;
}

struct Lens {
    miScalar radius, distance;
};

/// Depth of field: the mean of several eye rays through a lens, sharp at one distance. The number of rays is the option
/// "lens rays" (1 without it).
TEST_SHADER(lens_depth, Lens) {
    const miScalar radius = VALUE(radius), distance = VALUE(distance);
    mi::shader::Interface* host = mi_get_shader_interface();
    mi::shader::Options* options = host->getOptions(state->options->string_options);
    int rays = 1;
    options->get("lens rays", &rays);
    options->release();
    host->release();

    // The ray through the middle of the lens finds the point that all others aim at.
    miVector org, dir;
    mi_point_to_camera(state, &org, &state->org);
    mi_vector_to_camera(state, &dir, &state->dir);
    const miScalar reach = distance / -dir.z;
    const miVector focus = {org.x + reach * dir.x, org.y + reach * dir.y, org.z + reach * dir.z};

    const miUint wanted = static_cast<miUint>(rays);
    double point[2];
    int taken = 0;
    while (mi_sample(point, &taken, state, 2, &wanted)) {
        const float r = radius * static_cast<float>(std::sqrt(point[0]));
        const float phi = static_cast<float>(2 * std::acos(-1.) * point[1]);
        miVector from = {org.x + r * std::cos(phi), org.y + r * std::sin(phi), org.z}, to;
        mi_vector_sub(&to, &focus, &from);
        mi_vector_normalize(&to);
        mi_point_from_camera(state, &from, &from);
        mi_vector_from_camera(state, &to, &to);
        miColor color = {};
        mi_trace_eye(&color, state, &from, &to);
        *result = *result + (1 / static_cast<miScalar>(rays)) * color;
    }
    return miTRUE;
}

struct Turn {
    miMatrix by;
    miBoolean tells;
};

/// Turns the ray at the camera, and tells that or not.
TEST_SHADER(plain_turn, Turn) {
    miVector dir;
    mi_vector_transform(&dir, &state->dir, VALUE(by));
    if (VALUE(tells)) mi_ray_differential_transform(state, VALUE(by));
    return mi_trace_eye(result, state, &state->org, &dir);
}
