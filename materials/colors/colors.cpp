/* mib_color_alpha, _average, _intensity, _interpolate, _mix: colors from colors. */
#include "math/color.h"
#include "module/export.h"
#include "module/parameters.h"

namespace materials {

namespace {

struct ColorToGray {
    miColor input;
    miScalar factor;
};

struct ColorInterpolate {
    miScalar input;
    miInteger num;
    miScalar weight[6];
    miColor color[8];
};

struct ColorMix {
    miInteger num;
    miInteger mode[8];
    miScalar weight[8];
    miColor color[8];
    miColor color_base;
};

/* In all four channels; a factor of 0 leaves the input alone. */
template <class Measure>
bool toGray(miColor& result, miState* state, const ColorToGray& p, const Measure& measure) {
    const Parameters in(state);
    const miScalar factor = finite(in(p.factor));
    miScalar value = 0;
    if (factor != 0) {
        miColor input = in.color(p.input);
        value = measure(input) * factor;
    }
    result = {value, value, value, value};
    return true;
}

bool alphaOf(miColor& result, miState* state, ColorToGray& p) {
    return toGray(result, state, p, [](const miColor& color) { return color.a; });
}

bool averageOf(miColor& result, miState* state, ColorToGray& p) {
    return toGray(result, state, p, [](const miColor& color) { return (color.r + color.g + color.b) / 3; });
}

bool intensityOf(miColor& result, miState* state, ColorToGray& p) {
    return toGray(result, state, p, [state](miColor& color) { return mi_luminance(state, &color); });
}

/* f of each channel of two colors, alpha among them. */
template <class Channel>
miColor byChannel(const miColor& a, const miColor& b, const Channel& f) {
    return {f(a.r, b.r), f(a.g, b.g), f(a.b, b.b), f(a.a, b.a)};
}

bool interpolate(miColor& result, miState* state, ColorInterpolate& p) {
    const Parameters in(state);
    const int last = in.count(p.num, 1, 8) - 1;
    const miScalar input = in.share(p.input);
    const auto place = [&](int i) { return i == 0 ? 0.0f : i == last ? 1.0f : finite(in(p.weight[i - 1])); };
    int next = 1;
    while (next < last && input > place(next)) ++next;
    const miScalar from = place(next - 1), way = next <= last ? place(next) - from : 0;
    const miScalar share = way > 0 ? clamped((input - from) / way, 0, 1) : last > 0 && input >= from ? 1.0f : 0.0f;
    if (share == 0) {
        result = in.color(p.color[next - 1]);
        return true;
    }
    const miColor upper = in.color(p.color[next]);
    result = share == 1 ? upper : byChannel(in.color(p.color[next - 1]), upper, [share](miScalar a, miScalar b) {
        return mix(a, b, share);
    });
    return true;
}

enum MixMode { kOver, kBlend, kAdd, kAddBounded, kMultiply, kMultiplyBounded, kAlpha };

miColor mixed(const miColor& below, const miColor& color, int mode, miScalar weight) {
    const miScalar opacity = color.a;
    switch (mode) {
        case kOver:
            return byChannel(below, color, [=](miScalar a, miScalar b) { return (a * (1 - opacity) + b) * weight; });
        case kBlend: return byChannel(below, color, [=](miScalar a, miScalar b) { return mix(a, b, weight); });
        case kAdd: return byChannel(below, color, [=](miScalar a, miScalar b) { return a + b * weight; });
        case kAddBounded:
            return byChannel(below, color, [=](miScalar a, miScalar b) { return clamped(a + b * weight, 0, 1); });
        case kMultiply: return byChannel(below, color, [=](miScalar a, miScalar b) { return a * b * weight; });
        case kMultiplyBounded:
            return byChannel(below, color, [=](miScalar a, miScalar b) { return clamped(a * b * weight, 0, 1); });
        case kAlpha: return {below.r, below.g, below.b, opacity * weight};
        default: return below;
    }
}

bool mixColors(miColor& result, miState* state, ColorMix& p) {
    const Parameters in(state);
    miColor color = in.color(p.color_base);
    const int count = in.count(p.num, 0, 8);
    for (int i = 0; i < count; ++i) {
        const int mode = in(p.mode[i]);
        const miScalar weight = finite(in(p.weight[i]));
        const bool leaves = weight == 0 && (mode == kBlend || mode == kAdd);
        if (!leaves) color = mixed(color, in.color(p.color[i]), mode, weight);
    }
    result = color;
    return true;
}

}  // namespace

MATERIALS_SHADER(mib_color_alpha, miColor, ColorToGray, alphaOf)
MATERIALS_SHADER(mib_color_average, miColor, ColorToGray, averageOf)
MATERIALS_SHADER(mib_color_intensity, miColor, ColorToGray, intensityOf)
MATERIALS_SHADER(mib_color_interpolate, miColor, ColorInterpolate, interpolate)
MATERIALS_SHADER(mib_color_mix, miColor, ColorMix, mixColors)

}  // namespace materials
