/* misss_lambert_gamma: diffuse light, as other subsurface shaders take it for their uppermost layer. */
#include "module/export.h"
#include "rays/hit_scope.h"
#include "subsurface/layers.h"

namespace materials {

namespace {

struct LambertGamma {
    miColor ambient, ambience, diffuse;
    miBoolean indirect;
    miScalar diffuse_curve;
    miBoolean flip;
    miInteger mode;
    LightArray lights;
};

struct Diffuse {
    miColor light = {0, 0, 0, 0};

    void add(const Diffuse& more, miScalar factor) { light += more.light * factor; }
};

bool lambertGamma(miColor& result, miState* state, LambertGamma& p) {
    if (!shadesSurface(state)) return false;
    const Parameters in(state);
    const HitScope hit(state);
    if (in.isOn(p.flip)) {
        state->normal = -state->normal;
        state->normal_geom = -state->normal_geom;
    }
    const miVector normal = state->normal;
    const miScalar given = in.within(p.diffuse_curve, 0, 1000), curve = given > 0 ? given : 1;
    const LightList lights(state, p.mode, p.lights);
    const auto direct = sumOfLights<Diffuse>(state, lights, [&](Diffuse& sum, const LightSample& sample) {
        const miScalar cosine = dot(normal, sample.dir);
        if (cosine > 0) sum.light += sample.color * std::pow(cosine, curve);
    });
    const miColor around = in.isOn(p.indirect) ? gatheredLight(state) : kBlack;
    result = in.color(p.ambience) * in.color(p.ambient) + in.reflectance(p.diffuse) * (direct.light + around);
    return true;
}

}  // namespace

MATERIALS_SHADER(misss_lambert_gamma, miColor, LambertGamma, lambertGamma)

}  // namespace materials
