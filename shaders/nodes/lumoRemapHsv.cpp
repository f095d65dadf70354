/* lumoVexaRemapHsv: hue, saturation and value each through a ramp of their own.
 *
 * `inputMin` to `inputMax` of red, green and blue becomes 0 to 1; of that color hue (0 to 1), saturation and value go
 * through the ramps; 0 to 1 of the color that results becomes `outputMin` to `outputMax`. An input range below 1e-5
 * counts as black. Alpha is 0. Parameters: those of all color operations (SDK/passes/color_operation.h), `color`, the
 * four limits, the ramps `hue`, `saturation`, `value`.
 */
#include "SDK/framework/export_shader.h"
#include "shaders/nodes/remap.h"

namespace lumo {

struct RemapHsvParameters {
    MaterialHeader header;
    miInteger passMode;
    miColor color;
    miScalar inputMin, inputMax, outputMin, outputMax;
    ScalarRampParameter hue, saturation, value;
};

namespace {

class RemapHsvComputation : public Remapping {
public:
    void evaluateInputs(const OperationInputs<RemapHsvParameters>& in, OperationRecord& record) {
        using P = RemapHsvParameters;
        evaluate(in, record, {&P::hue, &P::saturation, &P::value});
    }

    miColor compute(const miColor& c) const {
        miColor color = normalised(c);
        rgb_to_hsv(&color, &color);
        const miColor hsv = ramped(color);
        // A hue that the ramp puts below 0 leaves what was there.
        color = kBlack;
        hsv_to_rgb(&hsv, &color);
        return spread(color);
    }
};

using RemapHsv = ColorOperationShader<RemapHsvParameters, miColor, RemapHsvComputation>;

}  // namespace

LUMO_EXPORT_SHADER(lumoVexaRemapHsv, RemapHsv, "shaders/lumoRemapHsv")

}  // namespace lumo
