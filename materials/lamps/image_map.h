/* Which directions of a picture of the surroundings are bright. */
#pragma once

#include "math/vector.h"
#include "textures/picture.h"

namespace materials {

/* A direction, and how likely it was by unit of solid angle. */
struct SampledDirection {
    miVector dir; /* in world space */
    miScalar density;
};

/*
 * Picks directions of a spherical picture by their brightness, in cells of 5.6 degrees. A hundredth of the picks is even, so that
 * nothing bright between two looks is missed altogether.
 */
class ImageMap {
public:
    ImageMap(miState* state, miTag texture);

    /* From two numbers in [0, 1). rotate: radians, as of mib_lookup_spherical */
    SampledDirection pick(miScalar x, miScalar y, miScalar rotate) const;

private:
    static constexpr int kColumns = 64, kRows = 32;

    miScalar rows_[kRows + 1];              /* sums up to each row, from 0 to 1 */
    miScalar columns_[kRows][kColumns + 1]; /* the same within a row */
};

/* Direction of a place on the picture: u around, v from down to up. */
miVector directionAt(miScalar u, miScalar v, miScalar rotate);

/* What the picture shows in a direction of the world. */
miColor imageSeen(miState* state, miTag texture, const miVector& dir, miScalar rotate);

}  // namespace materials
