/* Bodies of volume primitives in their own space: where a ray is inside, and how deep a point lies. */
#pragma once

#include "SDK/framework/double_vector.h"
#include "shaders/volumes/volume_parameters.h"

#include <optional>

namespace lumo {

/* An affine transform of row vectors. */
class AffineTransform {
public:
    AffineTransform() = default;
    /* A matrix of zeros, as a transform that no scene has set, is the identity. */
    explicit AffineTransform(const miMatrix m);

    DoubleVector point(const DoubleVector& p) const { return vector(p) + translation_; }
    DoubleVector vector(const DoubleVector& v) const { return rows_[0] * v.x + rows_[1] * v.y + rows_[2] * v.z; }

    /* None where the transform flattens space, or holds what is no number. */
    std::optional<AffineTransform> inverse() const;

private:
    DoubleVector rows_[3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, translation_;
};

/* A ray in any space; `dir` need not have unit length, since distances t count in its lengths. */
struct VolumeRay {
    DoubleVector org, dir;

    DoubleVector at(double t) const { return org + dir * t; }
};

/* A stretch of a ray. */
struct Stretch {
    double begin, end;

    bool empty() const { return !(begin < end); }
};

/* The part of `within` that lies inside the body. Bodies are convex: it is one stretch, or empty. */
Stretch insideOf(VolumeShape shape, const VolumeRay& ray, Stretch within);

/* Distance of a point inside to the border that a drop-off goes by, as share of half the body's size: 0 at the border
 * and outside, 1 in the middle (gradients: at the far end). */
double depthAt(VolumeDropoff dropoff, VolumeShape shape, const DoubleVector& p);

/* The share of the density at a depth. `edge` is the width of the soft rim, 0 to 1; without a width there is none. */
double profileAt(DropoffProfile profile, double depth, double edge);

}  // namespace lumo
