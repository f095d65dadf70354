#include "SDK/lumo.h"

#include <algorithm>
#include <cmath>

void hsv_to_rgb(const miColor* hsv, miColor* rgb) {
    const auto [hue, s, v, alpha] = *hsv;
    rgb->a = alpha;
    if (s == 0) {
        rgb->r = rgb->g = rgb->b = v;
        return;
    }

    // Six sectors from red over green and blue back to red; in each, one channel rises or falls.
    const miScalar x = 6 * (hue >= 1 ? hue - std::floor(hue) : hue);
    if (!(x >= 0 && x < 6)) return;  // kept so: callers see a hue below 0 as an untouched result
    const int i = static_cast<int>(x);
    const miScalar f = x - static_cast<miScalar>(i);
    const miScalar p = (1 - s) * v;
    const miScalar q = (1 - s * f) * v;
    const miScalar t = (1 - (1 - f) * s) * v;
    switch (i) {
        case 0: *rgb = {v, t, p, alpha}; break;
        case 1: *rgb = {q, v, p, alpha}; break;
        case 2: *rgb = {p, v, t, alpha}; break;
        case 3: *rgb = {p, q, v, alpha}; break;
        case 4: *rgb = {t, p, v, alpha}; break;
        default: *rgb = {v, p, q, alpha}; break;
    }
}

void rgb_to_hsv(const miColor* rgb, miColor* hsv) {
    const miScalar r = rgb->r, g = rgb->g, b = rgb->b;
    const miScalar largest = std::max(r, std::max(g, b));
    const miScalar range = largest - std::min(r, std::min(g, b));
    miScalar hue = 0, saturation = 0;
    if (range > VEXA_EPS && largest > VEXA_EPS) {
        // Sixths of the circle, from the corner of the largest channel.
        hue = (r == largest ? (g - b) / range : g == largest ? (b - r) / range + 2 : (r - g) / range + 4) / 6;
        hue = hue < 0 ? hue + 1 : hue;
        saturation = range / largest;
    }
    *hsv = {hue, saturation, largest, rgb->a};
}
