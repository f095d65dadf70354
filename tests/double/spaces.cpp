#include "spaces.h"

#include <algorithm>
#include <cmath>

#include <mi/functions.h>

#include "renderer.h"

namespace twin {

Matrix Matrix::translation(miScalar x, miScalar y, miScalar z) {
    Matrix result;
    result.m[12] = x, result.m[13] = y, result.m[14] = z;
    return result;
}

Matrix Matrix::scale(miScalar x, miScalar y, miScalar z) {
    Matrix result;
    result.m[0] = x, result.m[5] = y, result.m[10] = z;
    return result;
}

miVector transformPoint(const miVector& p, const miScalar* m) {
    const miScalar w = p.x * m[3] + p.y * m[7] + p.z * m[11] + m[15];
    const miScalar s = w != 0 && w != 1 ? 1 / w : 1;
    const miVector v = transformVector(p, m);
    return {(v.x + m[12]) * s, (v.y + m[13]) * s, (v.z + m[14]) * s};
}

miVector transformVector(const miVector& v, const miScalar* m) {
    return {v.x * m[0] + v.y * m[4] + v.z * m[8], v.x * m[1] + v.y * m[5] + v.z * m[9],
            v.x * m[2] + v.y * m[6] + v.z * m[10]};
}

miVector transformByTranspose(const miVector& v, const miScalar* m) {
    return {v.x * m[0] + v.y * m[1] + v.z * m[2], v.x * m[4] + v.y * m[5] + v.z * m[6],
            v.x * m[8] + v.y * m[9] + v.z * m[10]};
}

bool invert(miScalar* result, const miScalar* m) {
    // Gauss-Jordan elimination with row exchange on [m | identity].
    double a[4][8] = {};
    for (int r = 0; r < 4; ++r) {
        std::copy_n(m + 4 * r, 4, a[r]);
        a[r][4 + r] = 1;
    }
    for (int c = 0; c < 4; ++c) {
        int best = c;
        for (int r = c + 1; r < 4; ++r)
            if (std::fabs(a[r][c]) > std::fabs(a[best][c])) best = r;
        if (a[best][c] == 0) return false;
        std::swap_ranges(a[c], a[c] + 8, a[best]);
        const double pivot = a[c][c];
        for (double& v : a[c]) v /= pivot;
        for (int r = 0; r < 4; ++r) {
            const double factor = r == c ? 0 : a[r][c];
            for (int k = 0; k < 8; ++k) a[r][k] -= factor * a[c][k];
        }
    }
    for (int i = 0; i < 16; ++i) result[i] = static_cast<miScalar>(a[i / 4][4 + i % 4]);
    return true;
}

namespace {

Matrix inverse(const Matrix& m) {
    Matrix result;
    invert(result.m, m.m);
    return result;
}

miVector pinholeRaster(const miState* state, const miVector& point) {
    const miVector p = transformPoint(point, renderer().spaces.camera.m);
    const miCamera& camera = *state->camera;
    const auto width = static_cast<miScalar>(camera.x_resolution), height = static_cast<miScalar>(camera.y_resolution);
    const miScalar perWidth = camera.focal / camera.aperture / -p.z;
    return {width * (0.5f + p.x * perWidth), height * (0.5f + p.y * perWidth * camera.aspect), -p.z};
}

}  // namespace

}  // namespace twin

using namespace twin;

#define SPACE(name)                                                              \
    void mi_point_to_##name(const miState*, miVector* r, const miVector* p) {    \
        *r = transformPoint(*p, renderer().spaces.name.m);                       \
    }                                                                            \
    void mi_point_from_##name(const miState*, miVector* r, const miVector* p) {  \
        *r = transformPoint(*p, inverse(renderer().spaces.name).m);              \
    }                                                                            \
    void mi_vector_to_##name(const miState*, miVector* r, const miVector* v) {   \
        *r = transformVector(*v, renderer().spaces.name.m);                      \
    }                                                                            \
    void mi_vector_from_##name(const miState*, miVector* r, const miVector* v) { \
        *r = transformVector(*v, inverse(renderer().spaces.name).m);             \
    }                                                                            \
    void mi_normal_to_##name(const miState*, miVector* r, const miVector* v) {   \
        *r = transformByTranspose(*v, inverse(renderer().spaces.name).m);        \
    }                                                                            \
    void mi_normal_from_##name(const miState*, miVector* r, const miVector* v) { \
        *r = transformByTranspose(*v, renderer().spaces.name.m);                 \
    }

SPACE(world)
SPACE(camera)
SPACE(object)
SPACE(light)

void mi_point_to_raster(const miState* state, miVector* result, const miVector* point) {
    *result = renderer().spaces.raster ? renderer().spaces.raster(state, *point) : pinholeRaster(state, *point);
}

void mi_point_transform(miVector* result, const miVector* point, const miMatrix m) {
    *result = transformPoint(*point, m);
}

void mi_vector_transform(miVector* result, const miVector* vector, const miMatrix m) {
    *result = transformVector(*vector, m);
}

void mi_reflection_dir(miVector* dir, miState* state) {
    const miVector& n = state->normal;
    const miScalar twice = 2 * mi_vector_dot(&state->dir, &n);
    *dir = {state->dir.x - twice * n.x, state->dir.y - twice * n.y, state->dir.z - twice * n.z};
}
