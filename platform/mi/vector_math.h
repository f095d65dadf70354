/* Small inline arithmetic on vectors, matrices and colors; results may alias inputs. */
#pragma once

#include <math.h>
#include <string.h>

#include "state.h"

#define miABS(a) ((a) < 0 ? -(a) : (a))
#define miMAX(a, b) ((a) > (b) ? (a) : (b))
#define miMIN(a, b) ((a) < (b) ? (a) : (b))
#define miMAX3(a, b, c) miMAX(miMAX((a), (b)), (c))
#define miMIN3(a, b, c) miMIN(miMIN((a), (b)), (c))
#define miCLAMP(value, low, high) ((value) < (low) ? (low) : (value) > (high) ? (high) : (value))

/* Functions of <math.h> in the precision of miGeoScalar, whatever number they are given. */
#define MI_SQRT(x) sqrt((miGeoScalar)(x))
#define MI_FABS(x) fabs((miGeoScalar)(x))
#define MI_SIN(x) sin((miGeoScalar)(x))
#define MI_COS(x) cos((miGeoScalar)(x))
#define MI_TAN(x) tan((miGeoScalar)(x))
#define MI_ASIN(x) asin((miGeoScalar)(x))
#define MI_ACOS(x) acos((miGeoScalar)(x))
#define MI_ATAN(x) atan((miGeoScalar)(x))
#define MI_ATAN2(y, x) atan2((miGeoScalar)(y), (miGeoScalar)(x))
#define MI_EXP(x) exp((miGeoScalar)(x))
#define MI_LOG(x) log((miGeoScalar)(x))
#define MI_LOG10(x) log10((miGeoScalar)(x))
#define MI_POW(x, y) pow((miGeoScalar)(x), (miGeoScalar)(y))
#define MI_FMOD(x, y) fmod((miGeoScalar)(x), (miGeoScalar)(y))
#define MI_FLOOR(x) floor((miGeoScalar)(x))
#define MI_CEIL(x) ceil((miGeoScalar)(x))

miINLINE void mi_vector_add(miVector* result, const miVector* a, const miVector* b) {
    result->x = a->x + b->x;
    result->y = a->y + b->y;
    result->z = a->z + b->z;
}

miINLINE void mi_vector_sub(miVector* result, const miVector* a, const miVector* b) {
    result->x = a->x - b->x;
    result->y = a->y - b->y;
    result->z = a->z - b->z;
}

/* Scales in place. */
miINLINE void mi_vector_mul(miVector* v, miScalar factor) {
    v->x *= factor;
    v->y *= factor;
    v->z *= factor;
}

/* Divides in place; the divisor must not be 0. */
miINLINE void mi_vector_div(miVector* v, miScalar divisor) { mi_vector_mul(v, 1.0f / divisor); }

/* Reverses in place. */
miINLINE void mi_vector_neg(miVector* v) {
    v->x = -v->x;
    v->y = -v->y;
    v->z = -v->z;
}

miINLINE miScalar mi_vector_dot(const miVector* a, const miVector* b) {
    return a->x * b->x + a->y * b->y + a->z * b->z;
}

/* Cross product. */
miINLINE void mi_vector_prod(miVector* result, const miVector* a, const miVector* b) {
    miVector cross;
    cross.x = a->y * b->z - a->z * b->y;
    cross.y = a->z * b->x - a->x * b->z;
    cross.z = a->x * b->y - a->y * b->x;
    *result = cross;
}

/* Volume spanned by three vectors, positive when they are right-handed. */
miINLINE miScalar mi_vector_det(const miVector* a, const miVector* b, const miVector* c) {
    miVector cross;
    mi_vector_prod(&cross, b, c);
    return mi_vector_dot(a, &cross);
}

/* Length. */
miINLINE miScalar mi_vector_norm(const miVector* v) { return (miScalar)sqrt(mi_vector_dot(v, v)); }

miINLINE miScalar mi_vector_dist(const miVector* a, const miVector* b) {
    miVector difference;
    mi_vector_sub(&difference, a, b);
    return mi_vector_norm(&difference);
}

/* Makes the length 1; the zero vector stays as it is. */
miINLINE void mi_vector_normalize(miVector* v) {
    miScalar length = mi_vector_norm(v);
    if (length > 0.0f) mi_vector_div(v, length);
}

/* Smaller value of each component. */
miINLINE void mi_vector_min(miVector* result, const miVector* a, const miVector* b) {
    result->x = miMIN(a->x, b->x);
    result->y = miMIN(a->y, b->y);
    result->z = miMIN(a->z, b->z);
}

/* Larger value of each component. */
miINLINE void mi_vector_max(miVector* result, const miVector* a, const miVector* b) {
    result->x = miMAX(a->x, b->x);
    result->y = miMAX(a->y, b->y);
    result->z = miMAX(a->z, b->z);
}

miINLINE void mi_matrix_copy(miScalar* result, const miScalar* m) { memmove(result, m, sizeof(miMatrix)); }

miINLINE void mi_matrix_null(miScalar* result) { memset(result, 0, sizeof(miMatrix)); }

miINLINE void miColorSet(miColor* result, miScalar r, miScalar g, miScalar b, miScalar a) {
    result->r = r;
    result->g = g;
    result->b = b;
    result->a = a;
}

/* Adds factor * color, alpha included: the step of every light loop. */
miINLINE void miColorAddScaled(miColor* result, const miColor* color, miScalar factor) {
    result->r += factor * color->r;
    result->g += factor * color->g;
    result->b += factor * color->b;
    result->a += factor * color->a;
}

/* True when red, green and blue are exactly 0; alpha is not looked at. */
miINLINE miBoolean miColorIsBlack(const miColor* color) {
    return color->r == 0.0f && color->g == 0.0f && color->b == 0.0f;
}

/* Turns the surface of a hit around: both normals and everything that depends on their side. */
miINLINE void miStateFlipNormals(miState* state) {
    mi_vector_neg(&state->normal);
    mi_vector_neg(&state->normal_geom);
    state->dot_nd = -state->dot_nd;
    state->inv_normal = !state->inv_normal;
}
