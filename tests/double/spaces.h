/* Spaces of the double: world, camera, object and light by matrices that lead there from internal space, and a raster. */
#pragma once

#include <functional>

#include <shader.h>

namespace twin {

struct Matrix {
    miMatrix m = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

    static Matrix translation(miScalar x, miScalar y, miScalar z);
    static Matrix scale(miScalar x, miScalar y, miScalar z);
};

/* Row vectors; the 4 x 4 inverse is computed in double precision. False when singular. */
bool invert(miScalar* result, const miScalar* m);
miVector transformPoint(const miVector& p, const miScalar* m);
miVector transformVector(const miVector& v, const miScalar* m);
miVector transformByTranspose(const miVector& v, const miScalar* m);

struct Spaces {
    Matrix world, camera, object, light;

    /* Pixels of a point; unset: a pinhole camera at the origin of camera space that looks down its -z axis. */
    std::function<miVector(const miState*, const miVector&)> raster;
};

}  // namespace twin
