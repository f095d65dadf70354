/* lumoPassNormal: the shading normal, in the space that `space` names: 0 world, 1 camera, 2 object. */
#include "SDK/framework/export_shader.h"
#include "SDK/passes/pass_shader.h"

namespace lumo {

struct NormalParameters {
    PassHeader header;
    miInteger space;
};

namespace {

template <class Result, class P>
class NormalComputation {
public:
    explicit NormalComputation(const ShaderHelper<P>& in) : space_(in(&P::space)) {}

    void compute(const ShaderHelper<P>& in, Result& value) const {
        const miState* state = in.state();
        switch (space_) {
            case 1: mi_normal_to_camera(state, &value, &state->normal); break;
            case 2: mi_normal_to_object(state, &value, &state->normal); break;
            default: mi_normal_to_world(state, &value, &state->normal); break;
        }
    }

private:
    const miInteger space_;
};

using Normal = PassShader<miVector, NormalParameters, NormalComputation<miVector, NormalParameters>>;

}  // namespace

LUMO_EXPORT_SHADER(lumoPassNormal, Normal, "shaders/lumoNormal")

}  // namespace lumo
