/* lumoPassCameraDepth: the distance of the hit from the camera, along the ray (not the z coordinate).
 *
 * Parameters behind the common ones: `remap` maps the distances `near` .. `far` to `minimum` .. `maximum` and clamps.
 * Formula: (d - near) / (far - near) (maximum - minimum) + minimum.
 */
#include "SDK/framework/export_shader.h"
#include "SDK/passes/pass_shader.h"

namespace lumo {

struct CameraDepthParameters {
    PassHeader header;
    miInteger remap;
    miScalar near, far;
    miScalar minimum, maximum;
};

namespace {

template <class Result, class P>
class CameraDepthComputation {
public:
    /* Ends in the wrong order are pulled together, not exchanged: everything then maps to one end. */
    explicit CameraDepthComputation(const ShaderHelper<P>& in)
        : remap_(in(&P::remap)),
          far_(in(&P::far)),
          near_(notAbove(in(&P::near), far_)),
          maximum_(in(&P::maximum)),
          minimum_(notAbove(in(&P::minimum), maximum_)) {}

    void compute(const ShaderHelper<P>& in, Result& value) const {
        miVector point;
        mi_point_to_camera(in.state(), &point, &in.state()->point);
        const Result distance = mi_vector_norm(&point);
        value = remap_ ? remapped(distance) : distance;
    }

private:
    static miScalar notAbove(miScalar value, miScalar limit) { return value > limit ? limit : value; }

    /* With near = far this divides by zero on purpose; infinities are clamped and NaN stays visible. */
    Result remapped(Result distance) const {
        const Result mapped = (distance - near_) / (far_ - near_) * (maximum_ - minimum_) + minimum_;
        return miCLAMP(mapped, minimum_, maximum_);
    }

    const miInteger remap_;
    const miScalar far_, near_;
    const miScalar maximum_, minimum_;
};

using CameraDepth =
    PassShader<miScalar, CameraDepthParameters, CameraDepthComputation<miScalar, CameraDepthParameters>>;

}  // namespace

LUMO_EXPORT_SHADER(lumoPassCameraDepth, CameraDepth, "shaders/lumoCameraDepth")

}  // namespace lumo
