#include "shaders/lights/lumoVexaLightDecay.h"

#include <cmath>

namespace lumo {
namespace {

/* How much fog a ray meets whose way through it is twice `h`. */
miScalar fogDensity(miScalar h, miScalar radius) {
    if (h > radius) return 1;
    return h == 0 ? 0 : h / (radius * radius + radius - h * h);
}

miScalar fogFalloff(miScalar f, miInteger type, miInteger rate) {
    const auto spread = [](miScalar density, miScalar exponent) {
        const miScalar rest = 1 - std::pow(1 - density, 1 / exponent);
        return rest * rest;
    };
    const auto decay = static_cast<miScalar>(rate);
    switch (type) {
        case 0: return rate == 2 ? f * f : rate == 3 ? f * f * f : f;
        case 1: return rate < 2 ? f * f : spread(f, decay);
        case 2: return spread(f > 1 ? 1 : f, decay + 2);
        default: return f;
    }
}

}  // namespace

miScalar decayed(miScalar intensity, miInteger rate, double dist) {
    if (!(dist > 1) || rate < 1 || rate > 3) return intensity;
    for (miInteger i = 0; i < rate; ++i) intensity /= static_cast<miScalar>(dist);
    return intensity;
}

miScalar fogFactor(const miState* state, miScalar radius, miInteger type, miInteger decayRate) {
    const miState* eye = state->parent;
    const miScalar h = eye ? static_cast<miScalar>(eye->dist / 2) : 0;
    return fogFalloff(fogDensity(h, radius), type, decayRate);
}

}  // namespace lumo
