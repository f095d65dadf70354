/* lumoVexaRgbToHsv: hue in degrees, saturation and value of a color, in its red, green and blue; alpha is copied. Gray
 * has hue 0.
 *
 * Parameters: those of all color operations (SDK/passes/color_operation.h), `inRgb`.
 */
#include "SDK/passes/color_operation.h"
#include "SDK/framework/export_shader.h"

namespace lumo {

struct RgbToHsvParameters {
    MaterialHeader header;
    miInteger passMode;
    miColor inRgb;
};

namespace {

struct RgbToHsvComputation {
    void evaluateInputs(const OperationInputs<RgbToHsvParameters>& in, OperationRecord& record) {
        record.input = in.input(&RgbToHsvParameters::inRgb);
    }

    miColor compute(const miColor& rgb) const {
        miColor hsv;
        rgb_to_hsv(&rgb, &hsv);
        hsv.r *= 360;
        return hsv;
    }

    static void storeResult(miColor& result, const OperationRecord& record) { result = record.output; }
};

using RgbToHsv = ColorOperationShader<RgbToHsvParameters, miColor, RgbToHsvComputation>;

}  // namespace

LUMO_EXPORT_SHADER(lumoVexaRgbToHsv, RgbToHsv, "shaders/lumoRgbToHsv")

}  // namespace lumo
