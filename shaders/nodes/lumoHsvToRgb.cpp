/* lumoVexaHsvToRgb: a color from hue in degrees, saturation, value and alpha. A hue below 0 is black, unless the
 * saturation is 0.
 *
 * Parameters: those of all color operations (SDK/passes/color_operation.h), `inHsv`.
 */
#include "SDK/passes/color_operation.h"
#include "SDK/framework/export_shader.h"

namespace lumo {

struct HsvToRgbParameters {
    MaterialHeader header;
    miInteger passMode;
    miColor inHsv;
};

namespace {

struct HsvToRgbComputation {
    void evaluateInputs(const OperationInputs<HsvToRgbParameters>& in, OperationRecord& record) {
        record.input = in.input(&HsvToRgbParameters::inHsv);
    }

    miColor compute(miColor hsv) const {
        hsv.r /= 360;
        miColor rgb = kBlack;
        hsv_to_rgb(&hsv, &rgb);
        return rgb;
    }

    static void storeResult(miColor& result, const OperationRecord& record) { result = record.output; }
};

using HsvToRgb = ColorOperationShader<HsvToRgbParameters, miColor, HsvToRgbComputation>;

}  // namespace

LUMO_EXPORT_SHADER(lumoVexaHsvToRgb, HsvToRgb, "shaders/lumoHsvToRgb")

}  // namespace lumo
