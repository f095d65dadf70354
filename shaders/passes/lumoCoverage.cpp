/* lumoPassCoverage: 1 where an object is hit. Filtering turns it into the covered part of the pixel. */
#include "SDK/framework/export_shader.h"
#include "SDK/passes/pass_shader.h"

namespace lumo {

struct CoverageParameters {
    PassHeader header;
};

namespace {

template <class Result, class P>
struct CoverageComputation {
    explicit CoverageComputation(const ShaderHelper<P>&) {}
    void compute(const ShaderHelper<P>&, Result& value) const { value = 1; }
};

using Coverage = PassShader<miScalar, CoverageParameters, CoverageComputation<miScalar, CoverageParameters>>;

}  // namespace

LUMO_EXPORT_SHADER(lumoPassCoverage, Coverage, "shaders/lumoCoverage")

}  // namespace lumo
