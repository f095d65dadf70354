/* lumoVexaBlend: blender x color1 + (1 - blender) x color2, alpha included.
 *
 * A color that does not count (`blender` exactly 0 or 1) is not evaluated. `blender` is not limited to that range.
 * Parameters: those of all color operations (SDK/passes/color_operation.h), `blender`, `color1`, `color2`.
 *
 * Example: a worn coat of paint, in every pass.
 *   shader "worn" "lumoVexaBlend" ( "passMode" 1, "blender" = "scratches", "color1" = "metal", "color2" = "paint" )
 */
#include "SDK/passes/color_operation.h"
#include "SDK/framework/export_shader.h"

namespace lumo {

struct BlendParameters {
    MaterialHeader header;
    miInteger passMode;
    miScalar blender;
    miColor color1, color2;
};

namespace {

class BlendComputation {
public:
    bool evaluateInputs(const OperationInputs<BlendParameters>& in, int index, OperationRecord& record) {
        const bool first = index == 0;
        if (first) blender_ = in.setting(&BlendParameters::blender);
        weight_ = first ? blender_ : 1 - blender_;
        const bool counts = first ? blender_ != 0 : blender_ != 1;
        record.input = counts ? in.input(first ? &BlendParameters::color1 : &BlendParameters::color2) : kBlack;
        return first;
    }

    void compute(OperationRecord& record) const {
        record.output = record.output + record.input * weight_;
        record.auxiliaryOutput = record.auxiliaryOutput + record.auxiliaryInput * weight_;
    }

    static void storeResult(miColor& result, const OperationRecord& record) { result = record.output; }

private:
    miScalar blender_ = 0, weight_ = 0;
};

using Blend = ColorOperationShader<BlendParameters, miColor, BlendComputation>;

}  // namespace

LUMO_EXPORT_SHADER(lumoVexaBlend, Blend, "shaders/lumoBlend")

}  // namespace lumo
