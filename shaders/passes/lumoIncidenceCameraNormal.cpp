/* lumoPassIncidenceCameraNormal: how far the surface is turned away from the camera, 0 head on to 1 at grazing angles:
 * 1 minus the cosine between the shading normal and the direction to the camera. Surfaces seen from behind give 1.
 */
#include "SDK/framework/export_shader.h"
#include "SDK/passes/pass_shader.h"

namespace lumo {

struct IncidenceCameraNormalParameters {
    PassHeader header;
};

namespace {

template <class Result, class P>
struct IncidenceCameraNormalComputation {
    explicit IncidenceCameraNormalComputation(const ShaderHelper<P>&) {}

    void compute(const ShaderHelper<P>& in, Result& value) const {
        const miScalar cosine = -in.state()->dot_nd;
        value = cosine < 0 ? 1.0f : 1 - cosine;
    }
};

using IncidenceCameraNormal = PassShader<miScalar, IncidenceCameraNormalParameters,
                                         IncidenceCameraNormalComputation<miScalar, IncidenceCameraNormalParameters>>;

}  // namespace

LUMO_EXPORT_SHADER(lumoPassIncidenceCameraNormal, IncidenceCameraNormal, "shaders/lumoIncidenceCameraNormal")

}  // namespace lumo
