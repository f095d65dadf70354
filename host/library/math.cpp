/* Curves and the brightness of colors. */
#include "shader.h"

#include <algorithm>
#include <cmath>

namespace {

/// Brightness of red, green and blue where the options give no weights.
constexpr miColor kLuminanceWeights = {0.299f, 0.587f, 0.114f, 0.0f};

}  // namespace

extern "C" {

/* Catmull-Rom curve through the control values at equal distances. Beyond both ends the values go on straight, so that
   a straight line of values gives a straight curve. t is clamped. */
miScalar mi_spline(miScalar t, int n, const miScalar* control) {
    if (n <= 0) return 0;
    if (n == 1) return control[0];
    const float place = std::clamp(t, 0.0f, 1.0f) * static_cast<float>(n - 1);
    const int left = std::clamp(static_cast<int>(place), 0, n - 2);
    const float s = place - static_cast<float>(left);

    const float b = control[left], c = control[left + 1];
    const float a = left > 0 ? control[left - 1] : 2 * b - c;
    const float d = left + 2 < n ? control[left + 2] : 2 * c - b;
    return b + 0.5f * s * (c - a + s * (2 * a - 5 * b + 4 * c - d + s * (3 * (b - c) + d - a)));
}

miScalar mi_luminance(miState* state, miColor* color) {
    const bool given = state && state->options && !miColorIsBlack(&state->options->luminance_weight);
    const miColor& weight = given ? state->options->luminance_weight : kLuminanceWeights;
    return weight.r * color->r + weight.g * color->g + weight.b * color->b;
}

}  // extern "C"
