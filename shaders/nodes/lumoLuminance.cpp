/* lumoVexaLuminance: the luminance .3 r + .59 g + .11 b of a color, as a scalar. Passes get it in all four channels.
 *
 * Parameters: those of all color operations (SDK/passes/color_operation.h), `value`.
 */
#include "SDK/passes/color_operation.h"
#include "SDK/framework/export_shader.h"

namespace lumo {

struct LuminanceParameters {
    MaterialHeader header;
    miInteger passMode;
    miColor value;
};

namespace {

struct LuminanceComputation {
    void evaluateInputs(const OperationInputs<LuminanceParameters>& in, OperationRecord& record) {
        record.input = in.input(&LuminanceParameters::value);
    }

    miColor compute(const miColor& color) const {
        const miScalar l = luminance(color);
        return {l, l, l, l};
    }

    static void storeResult(miScalar& result, const OperationRecord& record) { result = record.output.r; }
};

using Luminance = ColorOperationShader<LuminanceParameters, miScalar, LuminanceComputation>;

}  // namespace

LUMO_EXPORT_SHADER(lumoVexaLuminance, Luminance, "shaders/lumoLuminance")

}  // namespace lumo
