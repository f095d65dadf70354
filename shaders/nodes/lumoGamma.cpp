/* lumoVexaGamma: each channel to the power 1 / `gamma`. A gamma of 0 is an infinite power, and a channel below 0 is not
 * a number unless the power is whole.
 *
 * Parameters: those of all color operations (SDK/passes/color_operation.h), `value`, `gamma`.
 */
#include "SDK/passes/color_operation.h"
#include "SDK/framework/export_shader.h"

#include <cmath>

namespace lumo {

struct GammaParameters {
    MaterialHeader header;
    miInteger passMode;
    miVector value, gamma;
};

namespace {

class GammaComputation {
public:
    void evaluateInputs(const OperationInputs<GammaParameters>& in, OperationRecord& record) {
        record.input = colorOf(in.input(&GammaParameters::value));
        gamma_ = in.setting(&GammaParameters::gamma);
    }

    miColor compute(const miColor& c) const {
        return {std::pow(c.r, 1 / gamma_.x), std::pow(c.g, 1 / gamma_.y), std::pow(c.b, 1 / gamma_.z), 0};
    }

    static void storeResult(miVector& result, const OperationRecord& record) { result = vectorOf(record.output); }

private:
    miVector gamma_ = {1, 1, 1};
};

using Gamma = ColorOperationShader<GammaParameters, miVector, GammaComputation>;

}  // namespace

LUMO_EXPORT_SHADER(lumoVexaGamma, Gamma, "shaders/lumoGamma")

}  // namespace lumo
