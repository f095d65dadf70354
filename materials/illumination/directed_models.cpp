/* mib_illum_ward, mib_illum_ward_deriv, mib_illum_hair: surfaces with a direction, brushed metal and hair. */
#include "illumination/illumination.h"

namespace materials {

namespace {

struct WardLobe {
    BaseColors base;
    miColor glossy;
    miScalar shiny_u, shiny_v;
};

struct Ward {
    WardLobe lobe;
    miVector u, v;
    ModeAndLights by;
};

struct WardDeriv {
    WardLobe lobe;
    ModeAndLights by;
};

struct Hair {
    BaseColors base;
    miColor specular;
    miScalar exponent;
    ModeAndLights by;
};

/* Times pi and the cosine: a highlight is as bright as the blurred mirror image of the light would be. */
bool ward(miColor& result, miState* state, const WardLobe& p, const miVector& along, const LightList& lights) {
    const Parameters in(state);
    const Frame frame = frameAround(unit(state->normal, state->normal_geom), along);
    const miScalar shinyU = in.within(p.shiny_u, 0, 1e6f), shinyV = in.within(p.shiny_v, 0, 1e6f);
    return illuminate(
        result, state, p.base, in.reflectance(p.glossy), lights, [&](const miVector& dir, miScalar cosine) {
            return gray(kPi * cosine *
                        mi_ward_anisglossy(&state->dir, &dir, &state->normal, &frame.u, &frame.v, shinyU, shinyV));
        });
}

miVector alongDerivative(const miState* state) { return state->derivs ? state->derivs[0] : miVector{0, 0, 0}; }

/* Along `u`, or at right angles to `v` where that is not given. */
bool wardAlong(miColor& result, miState* state, Ward& p) {
    if (!shadesSurface(state)) return false;
    const Parameters in(state);
    const miVector u = in(p.u);
    const bool hasU = isFinite(u) && dot(u, u) > 0;
    const miVector along = hasU ? u : cross(in(p.v), state->normal);
    return ward(result, state, p.lobe, along, LightList(state, p.by.mode, p.by.lights));
}

bool wardDeriv(miColor& result, miState* state, WardDeriv& p) {
    if (!shadesSurface(state)) return false;
    return ward(result, state, p.lobe, alongDerivative(state), LightList(state, p.by.mode, p.by.lights));
}

/* Sine of the angle whose cosine is known. */
miScalar sineOf(miScalar cosine) { return std::sqrt(std::max(0.0f, 1 - cosine * cosine)); }

/* Source: Kajiya and Kay, "Rendering Fur with Three Dimensional Textures", SIGGRAPH 1989. A hair has no sides: light from
   all around it counts. */
bool hair(miColor& result, miState* state, Hair& p) {
    if (!shadesSurface(state)) return false;
    const Parameters in(state);
    const miVector normal = unit(state->normal, state->normal_geom);
    const miVector tangent = unit(alongDerivative(state), frameAround(normal).u);
    const miScalar alongView = -dot(tangent, state->dir), acrossView = sineOf(alongView);
    const miScalar exponent = in.within(p.exponent, 0, 1e6f);
    const LightList lights(state, p.by.mode, p.by.lights);
    const HitScope hit(state);
    state->pri = nullptr;
    const auto light = sumOfLights<Illumination>(state, lights, [&](Illumination& sum, const LightSample& sample) {
        const miScalar alongLight = dot(tangent, sample.dir), acrossLight = sineOf(alongLight);
        sum.falling += sample.color * acrossLight;
        /* A thin cylinder mirrors a ray into a cone of the ray's own angle to it. */
        const miScalar toCone = acrossLight * acrossView - alongLight * alongView;
        if (toCone > 0) sum.highlights += sample.color * std::pow(toCone, exponent);
    });
    result = in.color(p.base.ambience) * in.color(p.base.ambient) + in.reflectance(p.base.diffuse) * light.falling +
             in.reflectance(p.specular) * light.highlights;
    return true;
}

}  // namespace

MATERIALS_SHADER(mib_illum_ward, miColor, Ward, wardAlong)
MATERIALS_SHADER(mib_illum_ward_deriv, miColor, WardDeriv, wardDeriv)
MATERIALS_SHADER(mib_illum_hair, miColor, Hair, hair)

}  // namespace materials
