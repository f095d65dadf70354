/* lumoVexaPointLight: light from a point to all sides.
 *
 * The color falls with the distance by `decayRate` (1 linear, 2 quadratic, 3 cubic), but never brightens within distance
 * 1. `lightRadius` above 0 makes the shadows of rays soft. A light whose area shape is a rectangle or a disc shines to
 * the side of its normal only. Textures on the color see directions around the light as their coordinates. The fog
 * parameters count when the light is evaluated for its own fog.
 *
 *   shader "bulb" "lumoVexaPointLight" ( "color" 1 .9 .8, "intensity" 40, "decayRate" 2,
 *       "useRayTraceShadows" on, "lightRadius" .5, "shadowRays" 16 )
 */
#include <cmath>
#include <cstddef>

#include "SDK/export_shader.h"
#include "shaders/lumoVexaLight.h"

namespace lumo {

struct PointLightParameters {
    miScalar lightRadius;
    miInteger decayRate;
    EmissionParameters emission;
    ShadowParameters shadow;
    FogParameters fog;
};

static_assert(offsetof(PointLightParameters, shadow) == 10 * 4 && sizeof(PointLightParameters) == 21 * 4);

namespace {

using Helper = ShaderHelper<PointLightParameters>;

/* The side of a flat area shape that shines, in internal space; no direction when all sides do. */
miVector emittingSide(miState* state)
{
    const miTag light = state->light_instance;
    miVector normal = {0, 0, 0};
    miInteger area = miLIGHT_NONE;
    if (!mi_query(miQ_LIGHT_AREA, state, light, &area))
        return normal;
    if (area == miLIGHT_RECTANGLE) {
        miVector u = normal, v = normal;
        if (mi_query(miQ_LIGHT_AREA_R_EDGE_U, state, light, &u) && mi_query(miQ_LIGHT_AREA_R_EDGE_V, state, light, &v))
            mi_vector_prod(&normal, &u, &v);
    } else if (area == miLIGHT_DISC) {
        mi_query(miQ_LIGHT_AREA_D_NORMAL, state, light, &normal);
    } else {
        return normal;
    }
    mi_vector_from_light(state, &normal, &normal);
    return normal;
}

/* Whether the ray meets the dark side: it leaves from there, or, when it looks at the light, arrives there. */
bool isDarkSide(const LightCall& call)
{
    const miVector normal = emittingSide(call.state());
    const miScalar facing = mi_vector_dot(&normal, &call.state()->dir);
    return call.isLightRay() ? facing < 0 : facing > 0;
}

/* Within distance 1 there is no decay, so that nothing burns out next to the light. */
miScalar decayed(miScalar intensity, miInteger rate, double dist)
{
    if (!(dist > 1) || rate < 1 || rate > 3)
        return intensity;
    for (miInteger i = 0; i < rate; ++i)
        intensity /= static_cast<miScalar>(dist);
    return intensity;
}

/* How much fog a ray meets whose way through it is twice `h`; 0 to 1 within the radius. */
miScalar fogDensity(miScalar h, miScalar radius)
{
    if (h > radius)
        return 1;
    return h == 0 ? 0 : h / (radius * radius + radius - h * h);
}

miScalar fogFalloff(miScalar f, miInteger type, miInteger rate)
{
    const auto spread = [](miScalar density, miScalar exponent) {
        const miScalar rest = 1 - std::pow(1 - density, 1 / exponent);
        return rest * rest;
    };
    const auto decay = static_cast<miScalar>(rate);
    switch (type) {
    case 0:
        return rate == 2 ? f * f : rate == 3 ? f * f * f : f;
    case 1:
        return rate < 2 ? f * f : spread(f, decay);
    case 2:
        return spread(f > 1 ? 1 : f, decay + 2);
    default:
        return f;
    }
}

miScalar fogged(miScalar intensity, const Helper& in)
{
    const miState* eye = in.state()->parent;
    const miScalar h = eye ? static_cast<miScalar>(eye->dist / 2) : 0;
    const miScalar f = fogDensity(h, in(&PointLightParameters::fog, &FogParameters::fogRadius));
    const miInteger type = in(&PointLightParameters::fog, &FogParameters::fogType);
    return intensity * fogFalloff(f, type, in(&PointLightParameters::decayRate)) *
           in(&PointLightParameters::fog, &FogParameters::fogIntensity);
}

miScalar intensityAtPoint(const LightCall& call, const Helper& in)
{
    miScalar intensity = in(&PointLightParameters::emission, &EmissionParameters::intensity);
    intensity = call.record().evaluatesFog
                    ? fogged(intensity, in)
                    : decayed(intensity, in(&PointLightParameters::decayRate), call.state()->dist);
    if (const miTag profile = in(&PointLightParameters::fog, &FogParameters::lightProfile))
        intensity *= mi_lightprofile_sample(call.state(), profile, miTRUE);
    return intensity;
}

miBoolean shine(miColor* result, const Helper& in)
{
    const LightCall call(in.state(), "vexa_pointlight(): Internal state error.");
    if (!call)
        return miFALSE;
    if (isDarkSide(call)) {
        *result = BLACK;
        if (call.isLightRay())
            return miFALSE;
        call.showEmitter(*result);
        return miTRUE;
    }

    const LightTexture texture(call.state(), sphericalCoordinate(pointInLight(call.state())));
    const miScalar intensity = intensityAtPoint(call, in);
    *result = in(&PointLightParameters::emission, &EmissionParameters::color);
    scaleRgb(*result, intensity);
    return finishLight(call, *result, in, intensity,
                       {ShadowEmitter::kRadius, in(&PointLightParameters::lightRadius)});
}

} // namespace

LUMO_EXPORT_FUNCTION_SHADER(lumoVexaPointLight, shine, miColor, PointLightParameters)

} // namespace lumo
