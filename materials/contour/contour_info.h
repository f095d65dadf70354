/* What the store functions of this module keep of a surface, and its contrast functions and contour shaders read. */
#pragma once

#include "shader.h"

namespace materials {

struct ContourInfo {
    miVector point;  /* internal space */
    miVector normal; /* of unit length, internal space */
    miVector dir;    /* of the ray that met it */
    miScalar depth;  /* along the camera's axis */
    miTag material;
    miTag instance;
    miUint label;
    int primitive;
    int level; /* reflections and refractions before it */
    miColor color;
};

/* Degrees between the normals. */
miScalar degreesBetween(const ContourInfo& a, const ContourInfo& b);

}  // namespace materials
