/* mib_light_infinite, _point, _spot, _photometric. */
#include "lamps/lamp.h"

namespace materials {

namespace {

struct InfiniteLight {
    LampColor lamp;
};

struct PointLight {
    LampColor lamp;
    miBoolean atten;
    miScalar start, stop;
};

struct SpotLight {
    PointLight point;
    miScalar cone;
};

struct PhotometricLight {
    LampColor lamp;
    miScalar start;
    miTag profile;
};

bool infiniteLight(miColor& result, miState* state, InfiniteLight& p) {
    const Parameters in(state);
    result = in.color(p.lamp.color);
    return !shinesOn(state) || arrives(result, state, in, p.lamp, result);
}

/* All of the light up to `start`, none from `stop` on, linear between them. */
miScalar rangeShare(const miState* state, const Parameters& in, const PointLight& p) {
    if (!in.isOn(p.atten)) return 1;
    const auto way = static_cast<miScalar>(state->dist);
    const miScalar start = in(p.start), stop = in(p.stop);
    if (!(way < stop)) return 0;
    return way > start ? (stop - way) / (stop - start) : 1;
}

bool pointLight(miColor& result, miState* state, PointLight& p) {
    const Parameters in(state);
    result = in.color(p.lamp.color);
    if (!shinesOn(state)) return true;
    return arrives(result, state, in, p.lamp, result * rangeShare(state, in, p));
}

bool spotLight(miColor& result, miState* state, SpotLight& p) {
    const Parameters in(state);
    result = in.color(p.point.lamp.color);
    if (!shinesOn(state)) return true;
    const miScalar share = spotShare(state, in.within(p.cone, -1, 1));
    if (share == 0) return false;
    return arrives(result, state, in, p.point.lamp, result * (share * rangeShare(state, in, p.point)));
}

/* Without a profile of its own the light's. */
miScalar profileValue(miState* state, miTag profile) {
    if (profile == miNULLTAG) {
        miTag item = miNULLTAG;
        mi_query(miQ_INST_ITEM, state, state->light_instance, &item);
        if (item != miNULLTAG && mi_db_type(item) == miSCENE_LIGHT) {
            profile = static_cast<const miLight*>(mi_db_access(item))->lightprofile;
            mi_db_unpin(item);
        }
    }
    return profile == miNULLTAG ? 1 : mi_lightprofile_sample(state, profile, miFALSE);
}

/* Decays by the light's exponent from the distance `start` on, which counts as its unit where it is above 0. */
bool photometricLight(miColor& result, miState* state, PhotometricLight& p) {
    const Parameters in(state);
    result = in.color(p.lamp.color);
    if (!shinesOn(state)) return true;
    miScalar exponent = 2;
    mi_query(miQ_LIGHT_EXPONENT, state, state->light_instance, &exponent);
    const miScalar start = in.within(p.start, 0, miHUGE_SCALAR);
    const miScalar way = std::max({static_cast<miScalar>(state->dist), start, 1e-6f});
    const miScalar decay = std::pow(start > 0 ? way / start : way, -clamped(exponent, 0, 16));
    return arrives(result, state, in, p.lamp, finite(result * (decay * profileValue(state, in(p.profile)))));
}

}  // namespace

MATERIALS_SHADER(mib_light_infinite, miColor, InfiniteLight, infiniteLight)
MATERIALS_SHADER(mib_light_point, miColor, PointLight, pointLight)
MATERIALS_SHADER(mib_light_spot, miColor, SpotLight, spotLight)
MATERIALS_SHADER(mib_light_photometric, miColor, PhotometricLight, photometricLight)

}  // namespace materials
