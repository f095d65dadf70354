/* Motion passes: how the point at the hit moves while the shutter is open.
 *
 *   lumoPassMotionVector3D            the motion vector in the renderer's internal space, as it stands
 *   lumoPassMotionVector2D            the motion in the image in pixels; x is corrected for pixels that are not square
 *   lumoPassMotionVector2DNormalized  the same with -M .. M mapped to `minimum` .. `maximum` and clamped; z is the
 *                                     length of the mapped vector when `magnitude` is on, else 0
 *
 * M is `maximumDisplacement` in pixels, or with `automaticRange` the larger resolution of the camera (256 without one).
 */
#include "SDK/framework/export_shader.h"
#include "SDK/passes/pass_shader.h"

#include <algorithm>
#include <cmath>

namespace lumo {

struct MotionVector3DParameters {
    PassHeader header;
};

struct MotionVector2DParameters {
    PassHeader header;
};

struct MotionVector2DNormalizedParameters {
    PassHeader header;
    miInteger automaticRange;
    miScalar minimum, maximum;
    miScalar maximumDisplacement;
    miInteger magnitude;
};

namespace {

/* By how much x is stretched: the window's aspect over that of the resolution. */
miScalar pixelAspect(const miCamera* camera) {
    if (!camera) return 1;
    const auto width = static_cast<miScalar>(camera->x_resolution);
    const auto height = static_cast<miScalar>(camera->y_resolution);
    return camera->aspect / (width / height);
}

/* The motion at the hit in the image: x and y in pixels, x times the pixels' aspect, z = 0. */
miVector rasterMotion(const miState* state) {
    const miVector& p = state->point;
    const miVector& motion = state->motion;
    const miVector end = {p.x + motion.x, p.y + motion.y, p.z + motion.z};
    miVector before, after;
    mi_point_to_raster(state, &before, &p);
    mi_point_to_raster(state, &after, &end);
    return {(after.x - before.x) * pixelAspect(state->camera), after.y - before.y, 0};
}

template <class Result, class P>
struct MotionVector3DComputation {
    explicit MotionVector3DComputation(const ShaderHelper<P>&) {}
    void compute(const ShaderHelper<P>& in, Result& value) const { value = in.state()->motion; }
};

template <class Result, class P>
struct MotionVector2DComputation {
    explicit MotionVector2DComputation(const ShaderHelper<P>&) {}
    void compute(const ShaderHelper<P>& in, Result& value) const { value = rasterMotion(in.state()); }
};

template <class Result, class P>
class MotionVector2DNormalizedComputation {
public:
    explicit MotionVector2DNormalizedComputation(const ShaderHelper<P>& in)
        : minimum_(in(&P::minimum)),
          maximum_(in(&P::maximum)),
          range_(displacementRange(in)),
          magnitude_(in(&P::magnitude)) {}

    void compute(const ShaderHelper<P>& in, Result& value) const {
        const miVector motion = rasterMotion(in.state());
        value.x = mapped(motion.x);
        value.y = mapped(motion.y);
        value.z = magnitude_ ? std::sqrt(value.x * value.x + value.y * value.y) : 0;
    }

private:
    static miScalar displacementRange(const ShaderHelper<P>& in) {
        if (!in(&P::automaticRange)) return in(&P::maximumDisplacement);
        const miCamera* camera = in.state()->camera;
        return camera ? static_cast<miScalar>(std::max(camera->x_resolution, camera->y_resolution)) : 256.0f;
    }

    miScalar mapped(miScalar pixels) const {
        const miScalar v = (pixels + range_) / (2 * range_) * (maximum_ - minimum_) + minimum_;
        return miCLAMP(v, minimum_, maximum_);
    }

    const miScalar minimum_, maximum_;
    const miScalar range_;
    const miInteger magnitude_;
};

using MotionVector3D =
    PassShader<miVector, MotionVector3DParameters, MotionVector3DComputation<miVector, MotionVector3DParameters>>;
using MotionVector2D =
    PassShader<miVector, MotionVector2DParameters, MotionVector2DComputation<miVector, MotionVector2DParameters>>;
using MotionVector2DNormalized =
    PassShader<miVector, MotionVector2DNormalizedParameters,
               MotionVector2DNormalizedComputation<miVector, MotionVector2DNormalizedParameters>>;

}  // namespace

LUMO_EXPORT_SHADER(lumoPassMotionVector3D, MotionVector3D, "shaders/lumoMotionVector")
LUMO_EXPORT_SHADER(lumoPassMotionVector2D, MotionVector2D, "shaders/lumoMotionVector")
LUMO_EXPORT_SHADER(lumoPassMotionVector2DNormalized, MotionVector2DNormalized, "shaders/lumoMotionVector")

}  // namespace lumo
