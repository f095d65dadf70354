/* mia_ciesky: CIE's clear and overcast skies, in one color. */
#include "daylight/daylight.h"
#include "daylight/sky_sum.h"
#include "daylight/surroundings.h"

namespace materials {

namespace {

struct CieSky {
    miBoolean on;
    miScalar multiplier;
    miColor rgb_unit_conversion;
    miInteger sky_luminance_mode;
    miScalar zenith_luminance, diffuse_horizontal_illuminance, overcast;
    miColor sky_color, ground_color, night_color;
    miScalar horizon_height, horizon_blur;
    miVector sun_direction;
    miTag sun;
    miBoolean use_background;
    miTag background;
    miBoolean y_is_up;
};

/* Source: CIE S 003, "Spatial Distribution of Daylight - CIE Standard Overcast Sky and Clear Sky". By the zenith's. */
miScalar overcastSky(miScalar up) { return (1 + 2 * std::max(up, 0.0f)) / 3; }

miScalar clearSky(miScalar up, miScalar cosSun, miScalar sunUp) {
    const auto around = [](miScalar cosine) {
        const miScalar c = clamped(cosine, -1, 1);
        return .91f + 10 * std::exp(-3 * std::acos(c)) + .45f * c * c;
    };
    const miScalar gradation = 1 - std::exp(-.32f / std::max(up, .01f));
    return around(cosSun) * gradation / (around(sunUp) * (1 - std::exp(-.32f)));
}

/* Integrals of the distributions over the sky with the cosine; the overcast one is 7 pi / 9. */
constexpr miScalar kOvercastSum = 7 * kPi / 9;

miScalar clearSum(miScalar sunUp) {
    return sumOverSky(sunUp, [sunUp](miScalar up, miScalar cosSun) { return clearSky(up, cosSun, sunUp); });
}

/*
 * Luminance of the zenith, cd/m2, where the scene gives none. Sources: of the overcast sky Krochmann, 1963; of the clear
 * one Kittler's with a luminous turbidity of 3, as in Karayel et al., "Zenith Luminance and Sky Luminance Distributions for
 * Daylighting Calculations", Energy and Buildings 6, 1984. Angles of the sun in degrees.
 */
miScalar usualZenith(miScalar sunUp, miScalar share) {
    const miScalar height = std::asin(clamped(sunUp, 0, 1));
    const miScalar overcast = 123 + 8600 * sunUp;
    const miScalar clear = 1000 * (1.34f * 3 - 3.46f) * std::tan(std::min(height, 1.2f)) + 1000 * (.1f * 3 + .9f);
    return sunUp > 0 ? mix(clear, overcast, share) : 0;
}

struct CieSum {
    miScalar zenith, illuminance;
};

CieSum strengthOf(const Parameters& in, const CieSky& p, miScalar sunUp, miScalar share) {
    const miScalar sum = mix(clearSum(sunUp), kOvercastSum, share);
    miScalar zenith = usualZenith(sunUp, share);
    const int mode = in(p.sky_luminance_mode);
    if (mode == 1) zenith = in.within(p.zenith_luminance, 0, miHUGE_SCALAR);
    if (mode == 2) zenith = in.within(p.diffuse_horizontal_illuminance, 0, miHUGE_SCALAR) / sum;
    return {zenith, zenith * sum};
}

bool cieSky(miColor& result, miState* state, CieSky& p) {
    const Parameters in(state);
    result = kBlack;
    if (!in.isOn(p.on)) return true;
    if (in.isOn(p.use_background) && state->type == miRAY_EYE) return backgroundSeen(result, state, in(p.background));
    const bool yIsUp = in.isOn(p.y_is_up);
    const miScalar horizon = sineOfHeight(in(p.horizon_height)), share = in.share(p.overcast);
    const miVector seen = lookedAt(state, yIsUp);
    const miVector dir = unit({seen.x, seen.y, seen.z - horizon});
    miVector toSun = directionToSun(state, in, p.sun, p.sun_direction, yIsUp);
    toSun = {toSun.x, toSun.y, std::max(toSun.z, 0.0f)};
    const CieSum strength = strengthOf(in, p, toSun.z, share);
    const miScalar ground = belowHorizon(dir.z, in(p.horizon_blur));
    if (ground < 1)
        result = in.reflectance(p.sky_color) *
                 (strength.zenith * mix(clearSky(dir.z, dot(dir, toSun), toSun.z), overcastSky(dir.z), share));
    if (ground > 0) result = mix(result, in.reflectance(p.ground_color) * (strength.illuminance / kPi), ground);
    result = result * conversionOf(in, p.rgb_unit_conversion, p.multiplier);
    result = finite(notBelow(result, in.reflectance(p.night_color)));
    return true;
}

}  // namespace

MATERIALS_SHADER(mia_ciesky, miColor, CieSky, cieSky)

}  // namespace materials
