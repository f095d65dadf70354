/* lumoVexaClamp: a color between `min` and `max`, channel by channel, alpha included. A channel whose `min` is above
 * its `max` is not limited.
 *
 * Parameters: those of all color operations (SDK/passes/color_operation.h), `input`, `min`, `max`.
 *
 * Example:
 *   shader "tame" "lumoVexaClamp" ( "input" = "sparks", "min" 0 0 0 0, "max" 4 4 4 1 )
 */
#include "SDK/passes/color_operation.h"
#include "SDK/framework/export_shader.h"

namespace lumo {

struct ClampParameters {
    MaterialHeader header;
    miInteger passMode;
    miColor input, min, max;
};

namespace {

/* Not std::clamp: limits may be the wrong way round, and what is not a number stays so. */
miScalar clamped(miScalar value, miScalar min, miScalar max) {
    if (min > max) return value;
    return min > value ? min : value > max ? max : value;
}

class ClampComputation {
public:
    void evaluateInputs(const OperationInputs<ClampParameters>& in, OperationRecord& record) {
        record.input = in.input(&ClampParameters::input);
        min_ = in.setting(&ClampParameters::min);
        max_ = in.setting(&ClampParameters::max);
    }

    miColor compute(const miColor& c) const {
        return {clamped(c.r, min_.r, max_.r), clamped(c.g, min_.g, max_.g), clamped(c.b, min_.b, max_.b),
                clamped(c.a, min_.a, max_.a)};
    }

    static void storeResult(miColor& result, const OperationRecord& record) { result = record.output; }

private:
    miColor min_ = kBlack, max_ = kBlack;
};

using Clamp = ColorOperationShader<ClampParameters, miColor, ClampComputation>;

}  // namespace

LUMO_EXPORT_SHADER(lumoVexaClamp, Clamp, "shaders/lumoClamp")

}  // namespace lumo
