/* mia_photometric_light: lamps by the numbers of their makers. */
#include "lamps/lamp.h"

namespace materials {

namespace {

struct PhotometricLight {
    miBoolean on;
    miScalar multiplier;
    miColor rgb_unit_conversion, tint_color;
    miBoolean shadow;
    miInteger intensity_mode;
    miScalar intensity, distance;
    miInteger distribution;
    miScalar hotspot_angle, falloff_angle;
    miTag profile;
};

enum Intensity { kOfProfile, kCandela, kLumen, kLux };
enum Distribution { kEven, kSpot, kDiffuse, kProfile };

/* Which way the light is spread: cosines of the cones of the spot. */
struct Spread {
    int kind;
    miScalar inner, outer;

    /* 1 where the light is strongest. */
    miScalar share(miScalar cosine) const {
        if (kind == kDiffuse) return std::max(cosine, 0.0f);
        if (kind != kSpot || cosine >= inner) return 1;
        return cosine > outer ? (cosine - outer) / (inner - outer) : 0;
    }

    /* Solid angle that would hold all of the light at its strongest. */
    miScalar solidAngle() const {
        if (kind == kDiffuse) return kPi;
        return kind == kSpot ? 2 * kPi * (1 - .5f * (inner + outer)) : 4 * kPi;
    }
};

Spread spreadOf(const Parameters& in, const PhotometricLight& p) {
    const auto cosine = [](miScalar degrees) { return std::cos(clamped(degrees, 0, 360) * kPi / 360); };
    const miScalar outer = std::min(cosine(in(p.falloff_angle)), 1 - 1e-6f);
    return {in(p.distribution), std::max(cosine(in(p.hotspot_angle)), outer), outer};
}

/* Candela where the light is strongest. */
miScalar strongest(const Parameters& in, const PhotometricLight& p, const Spread& spread) {
    const miScalar given = in.within(p.intensity, 0, miHUGE_SCALAR), distance = in.within(p.distance, 0, miHUGE_SCALAR);
    switch (in(p.intensity_mode)) {
        case kLumen: return given / std::max(spread.solidAngle(), 1e-6f);
        case kLux: return given * distance * distance;
        default: return given;
    }
}

bool photometricLight(miColor& result, miState* state, PhotometricLight& p) {
    const Parameters in(state);
    const miColor color = in.reflectance(p.tint_color) * in.reflectance(p.rgb_unit_conversion) *
                          in.within(p.multiplier, 0, miHUGE_SCALAR);
    result = kBlack;
    if (!in.isOn(p.on)) return false;
    const Spread spread = spreadOf(in, p);
    const miTag profile = in(p.profile);
    const bool hasProfile = spread.kind == kProfile && profile != miNULLTAG;
    const bool isAbsolute = hasProfile && in(p.intensity_mode) == kOfProfile;
    miScalar candela = isAbsolute ? 1 : strongest(in, p, spread);
    if (!shinesOn(state)) {
        result = finite(color * candela);
        return true;
    }
    candela *= hasProfile ? mi_lightprofile_sample(state, profile, isAbsolute ? miFALSE : miTRUE)
                          : spread.share(cosineToAxis(state));
    miLight_type type = miLIGHT_ORIGIN;
    mi_query(miQ_LIGHT_TYPE, state, state->light_instance, &type);
    const auto way = type == miLIGHT_DIRECTION ? 1.0f : std::max(static_cast<miScalar>(state->dist), 1e-6f);
    /* A surface of the color 1 under a light of the strength 1 is as bright as one under pi lux, in cd/m2. */
    return arrives(result, state, finite(color * (candela / (way * way * kPi))), in.isOn(p.shadow) ? 0 : 1);
}

}  // namespace

MATERIALS_SHADER(mia_photometric_light, miColor, PhotometricLight, photometricLight)

}  // namespace materials
