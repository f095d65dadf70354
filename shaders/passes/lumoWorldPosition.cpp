/* lumoPassWorldPosition: the hit point in world space. */
#include "SDK/framework/export_shader.h"
#include "SDK/passes/pass_shader.h"

namespace lumo {

struct WorldPositionParameters {
    PassHeader header;
};

namespace {

template <class Result, class P>
struct WorldPositionComputation {
    explicit WorldPositionComputation(const ShaderHelper<P>&) {}

    void compute(const ShaderHelper<P>& in, Result& value) const {
        mi_point_to_world(in.state(), &value, &in.state()->point);
    }
};

using WorldPosition =
    PassShader<miVector, WorldPositionParameters, WorldPositionComputation<miVector, WorldPositionParameters>>;

}  // namespace

LUMO_EXPORT_SHADER(lumoPassWorldPosition, WorldPosition, "shaders/lumoWorldPosition")

}  // namespace lumo
