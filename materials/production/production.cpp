/* mip_rayswitch, mip_gamma_gain, mip_card_opacity: small helpers of compositing. */
#include "module/export.h"
#include "module/parameters.h"
#include "rays/seen.h"

namespace materials {

namespace {

struct RaySwitch {
    miColor eye, transparent, reflection, refraction, finalgather, environment, shadow, photon, otherwise;
};

struct GammaGain {
    miColor input;
    miScalar gamma, gain;
    miBoolean reverse;
};

struct CardOpacity {
    miColor input, opacity;
    miBoolean opacity_is_premultiplied;
};

const miColor& colorFor(miRay_type type, const RaySwitch& p) {
    switch (type) {
        case miRAY_EYE: return p.eye;
        case miRAY_TRANSPARENT: return p.transparent;
        case miRAY_REFLECT: return p.reflection;
        case miRAY_REFRACT: return p.refraction;
        case miRAY_FINALGATHER: return p.finalgather;
        case miRAY_ENVIRONMENT: return p.environment;
        case miRAY_SHADOW: return p.shadow;
        default: return miRAY_PHOTON(type) ? p.photon : p.otherwise;
    }
}

/* Only the color of the ray's own kind is evaluated. */
bool raySwitch(miColor& result, miState* state, RaySwitch& p) {
    const Parameters in(state);
    const miColor& given = colorFor(state->type, p);
    result = in.color(given);
    if (state->type == miRAY_SHADOW) return !isBlack(result);
    return true;
}

bool gammaGain(miColor& result, miState* state, GammaGain& p) {
    const Parameters in(state);
    const miColor input = in.color(p.input);
    const miScalar gamma = in.within(p.gamma, .01f, 100), gain = finite(in(p.gain));
    const bool reverses = in.isOn(p.reverse);
    const auto channel = [&](miScalar a) {
        const auto bent = [&](miScalar b, miScalar exponent) { return b > 0 ? std::pow(b, exponent) : b; };
        return reverses ? quotient(bent(a, 1 / gamma), gain) : bent(a * gain, gamma);
    };
    result = {channel(input.r), channel(input.g), channel(input.b), input.a};
    return true;
}

/* A flat picture of something, in front of what lies straight behind it. */
bool cardOpacity(miColor& result, miState* state, CardOpacity& p) {
    if (!shadesSurface(state)) return false;
    const Parameters in(state);
    const miColor opacity = in.reflectance(p.opacity);
    const miColor share = {std::min(opacity.r, 1.0f), std::min(opacity.g, 1.0f), std::min(opacity.b, 1.0f), 1};
    const miColor own = in.color(p.input) * (in.isOn(p.opacity_is_premultiplied) ? kWhite : share);
    miColor behind = kNothing;
    const miColor left = kWhite - share;
    if (!isBlack(left))
        behind = seenBy(state, state->dir, largest(left),
                        [&](miColor* color) { return mi_trace_transparent(color, state); });
    const miScalar alpha = (share.r + share.g + share.b) / 3;
    result = own + left * behind;
    result.a = alpha + (1 - alpha) * behind.a;
    return true;
}

}  // namespace

MATERIALS_SHADER(mip_rayswitch, miColor, RaySwitch, raySwitch)
MATERIALS_SHADER(mip_gamma_gain, miColor, GammaGain, gammaGain)
MATERIALS_SHADER(mip_card_opacity, miColor, CardOpacity, cardOpacity)

}  // namespace materials
