/* lumoVexaContrast: steepens or flattens the curve of each channel around a pivot, for values from 0 to 1.
 *
 * First `bias` is brought to .5, by the power -ln 2 / ln bias; then each half of the range goes through the power
 * `contrast`, mirrored in the middle (K. Perlin and E. Hoffert, Hypertexture, 1989: bias and gain, with the exponent
 * itself as the parameter). 0 and below gives 0. Above a biased value of 1 the upper half's power has a negative base,
 * which is not a number unless `contrast` is whole: clamp brighter colors first.
 * Parameters: those of all color operations (SDK/passes/color_operation.h), `value`, `contrast`, `bias`.
 */
#include "SDK/passes/color_operation.h"
#include "SDK/framework/export_shader.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace lumo {

struct ContrastParameters {
    MaterialHeader header;
    miInteger passMode;
    miVector value, contrast, bias;
};

namespace {

miScalar contrasted(miScalar value, miScalar contrast, miScalar bias) {
    if (value <= 0) return 0;
    const miScalar b = std::clamp(bias, 0.00001f, 0.99999f);
    const miScalar w = 2 * std::pow(value, -std::numbers::ln2_v<miScalar> / std::log(b));
    return w <= 1 ? 0.5f * std::pow(w, contrast) : 1 - 0.5f * std::pow(2 - w, contrast);
}

class ContrastComputation {
public:
    void evaluateInputs(const OperationInputs<ContrastParameters>& in, OperationRecord& record) {
        record.input = colorOf(in.input(&ContrastParameters::value));
        contrast_ = in.setting(&ContrastParameters::contrast);
        bias_ = in.setting(&ContrastParameters::bias);
    }

    miColor compute(const miColor& c) const {
        return {contrasted(c.r, contrast_.x, bias_.x), contrasted(c.g, contrast_.y, bias_.y),
                contrasted(c.b, contrast_.z, bias_.z), 0};
    }

    static void storeResult(miVector& result, const OperationRecord& record) { result = vectorOf(record.output); }

private:
    miVector contrast_ = {1, 1, 1}, bias_ = {0.5f, 0.5f, 0.5f};
};

using Contrast = ColorOperationShader<ContrastParameters, miVector, ContrastComputation>;

}  // namespace

LUMO_EXPORT_SHADER(lumoVexaContrast, Contrast, "shaders/lumoContrast")

}  // namespace lumo
