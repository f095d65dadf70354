/* mia_physicalsky: the sky around the scene, with the sun's disc and the ground, and the air between. */
#include "daylight/daylight.h"
#include "daylight/skylight.h"
#include "daylight/surroundings.h"
#include "daylight/sunlight.h"

namespace materials {

namespace {

struct PhysicalSky {
    miBoolean on;
    miScalar multiplier;
    miColor rgb_unit_conversion;
    miScalar haze, redblueshift, saturation, horizon_height, horizon_blur;
    miColor ground_color, night_color;
    miVector sun_direction;
    miTag sun;
    miScalar sun_disk_intensity, sun_disk_scale, sun_glow_intensity;
    miBoolean use_background;
    miTag background;
    miScalar visibility_distance;
    miBoolean y_is_up;
    miInteger flags, sky_luminance_mode;
    miScalar zenith_luminance, diffuse_horizontal_illuminance, a, b, c, d, e;
};

enum LuminanceMode { kByZenith = 1, kByIlluminance, kByCurve };

Skylight skyOf(const Parameters& in, const PhysicalSky& p, const miVector& toSun) {
    Skylight sky(toSun, turbidityOf(in(p.haze)));
    const int mode = in(p.sky_luminance_mode);
    if (mode == kByCurve) sky.setCurve({in(p.a), in(p.b), in(p.c), in(p.d), in(p.e)});
    if (mode == kByZenith || mode == kByCurve) sky.setZenithLuminance(in.within(p.zenith_luminance, 0, miHUGE_SCALAR));
    if (mode == kByIlluminance)
        sky.scale(quotient(in.within(p.diffuse_horizontal_illuminance, 0, miHUGE_SCALAR), sky.illuminance()));
    return sky;
}

/* In cd/m2. The disc sends as much light as the sun does, however large it is drawn; around it the air glows. */
miColor sunSeen(const Parameters& in, const PhysicalSky& p, const miVector& toSun, const miVector& dir) {
    const miScalar disc = in.within(p.sun_disk_intensity, 0, miHUGE_SCALAR);
    const miScalar glow = in.within(p.sun_glow_intensity, 0, miHUGE_SCALAR);
    if (toSun.z < -kSunRadius || (disc == 0 && glow == 0)) return kBlack;
    const miScalar radius = kSunRadius * in.within(p.sun_disk_scale, .01f, 100);
    const miScalar apart = length(cross(dir, toSun)),
                   angle = dot(dir, toSun) > 0 ? std::asin(std::min(apart, 1.0f)) : kPi;
    constexpr miScalar kGlowWidth = 6, kGlowStrength = .2f; /* radii, and cd/m2 by lux */
    const miScalar edge = clamped((radius - angle) / (.1f * radius) + .5f, 0, 1);
    const miScalar around = kGlowStrength * glow * std::exp(-angle / (kGlowWidth * radius));
    const miColor light = sunlight(std::max(toSun.z, kSunRadius), turbidityOf(in(p.haze)));
    return light * (disc * edge / (kPi * radius * radius) + around);
}

/* In cd/m2: the ground as a matte surface under sky and sun. */
miColor groundSeen(const Parameters& in, const PhysicalSky& p, const Skylight& sky, const miVector& toSun) {
    const miColor color = in.reflectance(p.ground_color);
    if (isBlack(color)) return color;
    const miColor sun = sunlight(toSun.z, turbidityOf(in(p.haze))) * std::max(toSun.z, 0.0f);
    /* Its color is about that of the sky over head. */
    const miColor zenith = sky.seenAt({0, 0, 1});
    const miColor around = zenith * quotient(sky.illuminance(), luminanceOf(zenith));
    return color * (sun + around) * (1 / kPi);
}

/* Values of the picture in a direction, in the space where z is up. */
miColor skyIn(miState* state, const Parameters& in, const PhysicalSky& p, miVector dir) {
    const miScalar horizon = sineOfHeight(in(p.horizon_height));
    miVector toSun = directionToSun(state, in, p.sun, p.sun_direction, in.isOn(p.y_is_up));
    toSun = unit({toSun.x, toSun.y, toSun.z - horizon});
    dir = unit({dir.x, dir.y, dir.z - horizon});
    const Skylight sky = skyOf(in, p, toSun);
    const miScalar ground = belowHorizon(dir.z, in(p.horizon_blur));
    miColor seen = ground < 1 ? sky.seenAt(dir) : kBlack;
    if (ground < 1 && seesSun(state)) seen += sunSeen(in, p, toSun, dir);
    if (ground > 0) seen = mix(seen, groundSeen(in, p, sky, toSun), ground);
    const miColor color = toned(seen * conversionOf(in, p.rgb_unit_conversion, p.multiplier),
                                in.within(p.redblueshift, -1, 1), in.within(p.saturation, 0, 2));
    return finite(notBelow(color, in.reflectance(p.night_color)));
}

/* As a volume or lens: what lies farther away fades into the color that the sky has at the horizon behind it. */
bool hazeBefore(miColor& result, miState* state, const PhysicalSky& p, const miVector& dir) {
    const Parameters in(state);
    const miScalar visibility = in.within(p.visibility_distance, 0, miHUGE_SCALAR);
    if (!(visibility > 0) || state->type == miRAY_LIGHT || state->type == miRAY_SHADOW) return true;
    const miScalar left = std::pow(.1f, static_cast<miScalar>(state->dist) / visibility);
    const miScalar horizon = sineOfHeight(in(p.horizon_height)) + .02f;
    const miColor air = skyIn(state, in, p, unit({dir.x, dir.y, horizon}, {1, 0, horizon}));
    const miScalar alpha = result.a;
    result = mix(air, result, left);
    result.a = mix(1, alpha, left);
    return true;
}

bool isLens(miState* state) {
    int kind = miSHADER_ENVIRONMENT;
    return mi_query(miQ_FUNC_CALLTYPE, state, miNULLTAG, &kind) && kind == miSHADER_LENS;
}

/* As a lens: the air between the eye and what it sees first, mirrors and glass among it. The sky has no haze before it. */
bool seenThroughAir(miColor& result, miState* state, const PhysicalSky& p, const miVector& dir) {
    const bool isSeen = mi_trace_eye(&result, state, &state->org, &state->dir) != miFALSE;
    const Parameters in(state);
    if (state->dist > 0 && in.isOn(p.on)) hazeBefore(result, state, p, dir);
    return isSeen;
}

bool physicalSky(miColor& result, miState* state, PhysicalSky& p) {
    const Parameters in(state);
    const miVector dir = lookedAt(state, in.isOn(p.y_is_up));
    if (isLens(state)) return seenThroughAir(result, state, p, dir);
    if (state->dist > 0) return !in.isOn(p.on) || hazeBefore(result, state, p, dir);
    result = kBlack;
    if (!in.isOn(p.on)) return true;
    if (in.isOn(p.use_background) && state->type == miRAY_EYE) return backgroundSeen(result, state, in(p.background));
    result = skyIn(state, in, p, dir);
    return true;
}

}  // namespace

MATERIALS_SHADER(mia_physicalsky, miColor, PhysicalSky, physicalSky)

}  // namespace materials
