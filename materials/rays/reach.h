/* How far rays see, and how that fades. */
#pragma once

#include "math/color.h"

namespace materials {

/* Of a material's parameters `..._falloff_on`, `_dist`, `_color_on` and `_color`. */
struct Reach {
    miScalar distance = 0; /* 0: without a limit */
    bool fadesToColor = false;
    miColor color = kBlack;
    miScalar exponent = 2;
    miColor beyond = kBlack; /* what stands for all that lies farther, in media without a color of their own */

    bool isLimited() const { return distance > 0; }

    /* How much of what a ray met at the distance is still seen: all of it at 0, nothing at the limit and beyond. */
    miScalar share(double met) const {
        const miScalar left = 1 - clamped(static_cast<miScalar>(met) / distance, 0, 1);
        return left > 0 ? std::pow(left, exponent) : 0;
    }

    /*
     * What a medium lets through on the way; `met` 0 stands for infinitely far. With a color exactly that at the limit,
     * by the law of Beer and Lambert; without one it fades to nothing there.
     */
    miColor transmission(double met) const {
        if (!isLimited()) return kWhite;
        if (!fadesToColor) return gray(met > 0 ? share(met) : 0);
        const double ratio = met > 0 ? met / static_cast<double>(distance) : 1e6;
        const auto times = static_cast<miScalar>(std::min(ratio, 1e6));
        return power(positive(color), times);
    }

    /* What is seen of a color through the medium; `met` as above. */
    miColor through(const miColor& seen, double met) const {
        const miColor left = seen * transmission(met);
        return !isLimited() || fadesToColor ? left : left + beyond * (1 - (met > 0 ? share(met) : 0));
    }
};

}  // namespace materials
