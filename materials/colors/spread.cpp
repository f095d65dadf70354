/* mib_color_spread: parts of a color as colors of their own. */
#include "math/color.h"
#include "module/export.h"
#include "module/parameters.h"

namespace materials {

namespace {

constexpr int kMostColors = 8;

struct Spread {
    miColor input;
    miInteger num;
    miInteger modes[kMostColors];
};

struct SpreadColors {
    miColor colors[kMostColors];
};

enum Part { kWhole, kRed, kGreen, kBlue, kAlpha, kMean, kIntensity };

miColor partOf(miState* state, miColor color, int part) {
    const auto even = [](miScalar value) { return miColor{value, value, value, value}; };
    switch (part) {
        case kRed: return even(color.r);
        case kGreen: return even(color.g);
        case kBlue: return even(color.b);
        case kAlpha: return even(color.a);
        case kMean: return even((color.r + color.g + color.b) / 3);
        case kIntensity: return even(mi_luminance(state, &color));
        default: return color;
    }
}

bool spread(SpreadColors& result, miState* state, Spread& p) {
    const Parameters in(state);
    const miColor input = in.color(p.input);
    const int count = in.count(p.num, 0, kMostColors);
    for (int i = 0; i < kMostColors; ++i)
        result.colors[i] = i < count ? partOf(state, input, in(p.modes[i])) : kNothing;
    return true;
}

}  // namespace

MATERIALS_SHADER(mib_color_spread, SpreadColors, Spread, spread)

}  // namespace materials
