/* lumoPassUV: the first texture coordinate in x and y; z is the object's label with `objectLabel`, else 0. Surfaces
 * without texture coordinates give 0 0.
 */
#include "SDK/framework/export_shader.h"
#include "SDK/passes/pass_shader.h"

namespace lumo {

struct UVParameters {
    PassHeader header;
    miInteger objectLabel;
};

namespace {

template <class Result, class P>
class UVComputation {
public:
    explicit UVComputation(const ShaderHelper<P>& in) : objectLabel_(in(&P::objectLabel)) {}

    void compute(const ShaderHelper<P>& in, Result& value) const {
        const miState* state = in.state();
        value.x = state->tex_list ? state->tex_list->x : 0;
        value.y = state->tex_list ? state->tex_list->y : 0;
        value.z = objectLabel_ ? static_cast<miScalar>(state->label) : 0;
    }

private:
    const miInteger objectLabel_;
};

using UV = PassShader<miVector, UVParameters, UVComputation<miVector, UVParameters>>;

}  // namespace

LUMO_EXPORT_SHADER(lumoPassUV, UV, "shaders/lumoUV")

}  // namespace lumo
