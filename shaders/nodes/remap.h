/* What the two remap nodes share: a range of input values that becomes 0 to 1, three ramps, and a range of output
 * values. The ramps are read anew in each call, since their entries may be connected. */
#pragma once

#include "SDK/passes/color_operation.h"
#include "SDK/noise/ramp_parameters.h"

#include <array>
#include <cmath>

namespace lumo {

/* The computation of a node but for the way of a color through it. */
class Remapping {
public:
    void storeResult(miColor& result, const OperationRecord& record) {
        for (LumoRamp& ramp : ramps_) ramp_destructor(&ramp);
        result = record.output;
    }

protected:
    template <class P>
    void evaluate(const OperationInputs<P>& in, OperationRecord& record,
                  const std::array<ScalarRampParameter P::*, 3>& ramps) {
        record.input = in.input(&P::color);
        evaluateRanges(in);
        evaluateRamps(in, ramps);
    }

    /* Of red, green and blue; alpha is 0. */
    miColor normalised(const miColor& c) const {
        if (std::fabs(inputRange_) < VEXA_EPS) return kBlack;
        return {(c.r - inputMin_) / inputRange_, (c.g - inputMin_) / inputRange_, (c.b - inputMin_) / inputRange_, 0};
    }

    miColor ramped(const miColor& c) const {
        return {ramp_get_interp_float(&ramps_[0], c.r), ramp_get_interp_float(&ramps_[1], c.g),
                ramp_get_interp_float(&ramps_[2], c.b), 0};
    }

    miColor spread(const miColor& c) const {
        return {c.r * outputRange_ + outputMin_, c.g * outputRange_ + outputMin_, c.b * outputRange_ + outputMin_, 0};
    }

private:
    template <class P>
    void evaluateRanges(const OperationInputs<P>& in) {
        inputMin_ = in.setting(&P::inputMin);
        inputRange_ = in.setting(&P::inputMax) - inputMin_;
        outputMin_ = in.setting(&P::outputMin);
        outputRange_ = in.setting(&P::outputMax) - outputMin_;
    }

    template <class P>
    void evaluateRamps(const OperationInputs<P>& in, const std::array<ScalarRampParameter P::*, 3>& groups) {
        for (std::size_t i = 0; i < groups.size(); ++i)
            in.settings(groups[i], [&](miState* state, ScalarRampParameter* group) {
                ramp_constructor(&ramps_[i], state, group, 0);
            });
    }

    miScalar inputMin_, inputRange_, outputMin_, outputRange_;
    std::array<LumoRamp, 3> ramps_;
};

}  // namespace lumo
