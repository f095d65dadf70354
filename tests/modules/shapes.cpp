// Shaders that find a surface, and shaders that place an instance.
#include "test_shader.h"

#include <cmath>
#include <stdexcept>

struct Ball {
    miScalar radius;
    miTag lower;  ///< material of what is below y = 0
    miInteger wrong;
};

/// A ball around the origin. Its texture coordinates are the place on it.
TEST_SHADER(shape_ball, Ball) {
    const miVector o = state->org, d = state->dir;
    const miScalar radius = VALUE(radius);
    HOLDS(std::abs(mi_vector_dot(&d, &d) - 1) < 1e-5f && state->dist > 0 && state->instance && !state->pri);
    if (VALUE(wrong) == 1) state->dist = std::nan("");
    if (VALUE(wrong) == 1) return miTRUE;
    if (VALUE(wrong) == 2) throw std::runtime_error("thrown in a shape");
    const miScalar b = -mi_vector_dot(&o, &d), c = mi_vector_dot(&o, &o) - radius * radius, s = b * b - c;
    if (s < 0) return miFALSE;
    miScalar t = b - std::sqrt(s);
    if (t <= 0) t = b + std::sqrt(s);
    if (t <= 0 || t > state->dist) return miFALSE;
    state->dist = t;
    state->normal = {o.x + t * d.x, o.y + t * d.y, o.z + t * d.z};
    state->tex_list[0] = state->normal;
    if (state->normal.y < 0 && VALUE(lower)) state->material = VALUE(lower);
    return miTRUE;
}

struct Moved {
    miVector from, by;
};

/// At `from` when the shutter opens, and from there by `by` for each unit of time.
TEST_SHADER(place_moved, Moved) {
    auto& matrix = *reinterpret_cast<miMatrix*>(result);
    const miVector from = VALUE(from), by = VALUE(by);
    HOLDS(mi_matrix_isident(matrix) && state->instance);
    matrix[12] = -from.x - by.x * state->time;
    matrix[13] = -from.y - by.y * state->time;
    matrix[14] = -from.z - by.z * state->time;
    return by.x < 1000;
}
