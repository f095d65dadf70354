/* lumoVexaRemapColor: red, green and blue each through a ramp of their own.
 *
 * `inputMin` to `inputMax` becomes position 0 to 1 of the ramps; their values 0 to 1 become `outputMin` to `outputMax`.
 * An input range below 1e-5 takes all ramps at 0. Alpha is 0. Parameters: those of all color operations
 * (SDK/passes/color_operation.h), `color`, the four limits, the ramps `red`, `green`, `blue`.
 *
 * Example: inverted red.
 *   shader "negative" "lumoVexaRemapColor" ( "color" = "picture",
 *       "red"   [ { "position" 0, "value" 1, "interpolation" 1 }, { "position" 1, "value" 0, "interpolation" 1 } ],
 *       "green" [ { "position" 0, "value" 0, "interpolation" 1 }, { "position" 1, "value" 1, "interpolation" 1 } ],
 *       "blue"  [ { "position" 0, "value" 0, "interpolation" 1 }, { "position" 1, "value" 1, "interpolation" 1 } ]
 *   )
 */
#include "SDK/framework/export_shader.h"
#include "shaders/nodes/remap.h"

namespace lumo {

struct RemapColorParameters {
    MaterialHeader header;
    miInteger passMode;
    miColor color;
    miScalar inputMin, inputMax, outputMin, outputMax;
    ScalarRampParameter red, green, blue;
};

namespace {

class RemapColorComputation : public Remapping {
public:
    void evaluateInputs(const OperationInputs<RemapColorParameters>& in, OperationRecord& record) {
        using P = RemapColorParameters;
        evaluate(in, record, {&P::red, &P::green, &P::blue});
    }

    miColor compute(const miColor& c) const { return spread(ramped(normalised(c))); }
};

using RemapColor = ColorOperationShader<RemapColorParameters, miColor, RemapColorComputation>;

}  // namespace

LUMO_EXPORT_SHADER(lumoVexaRemapColor, RemapColor, "shaders/lumoRemapColor")

}  // namespace lumo
