/* lumoVexaPointLight: light from a point to all sides.
 *
 * The color falls with the distance by `decayRate` (1 linear, 2 quadratic, 3 cubic), but never brightens within
 * distance 1. `lightRadius` above 0 makes the shadows of rays soft. A light whose area shape is a rectangle or a disc
 * shines to the side of its normal only. Textures on the color see directions around the light as their coordinates.
 * The fog parameters count when the light is evaluated for its own fog.
 *
 *   shader "bulb" "lumoVexaPointLight" ( "color" 1 .9 .8, "intensity" 40, "decayRate" 2,
 *       "useRayTraceShadows" on, "lightRadius" .5, "shadowRays" 16 )
 */
#include "SDK/framework/export_shader.h"
#include "shaders/lights/lumoVexaLightDecay.h"
#include "shaders/lights/lumoVexaLightShape.h"

namespace lumo {

struct PointLightParameters {
    miScalar lightRadius;
    miInteger decayRate;
    EmissionParameters emission;
    ShadowParameters shadow;
    FogParameters fog;
};

namespace {

using Helper = ShaderHelper<PointLightParameters>;

miBoolean shine(miColor* result, const Helper& in) {
    const LightCall call(in.state(), "vexa_pointlight(): Internal state error.");
    if (!call) return miFALSE;
    if (isDarkSide(call)) return giveNothing(call, *result);

    const LightTexture texture(call.state(), [&] { return sphericalCoordinate(pointInLight(call.state())); });
    const miScalar intensity =
        intensityAtPoint(call, in, in(&PointLightParameters::emission, &EmissionParameters::intensity));
    return giveLight(call, *result, in, intensity, {ShadowEmitter::kRadius, in(&PointLightParameters::lightRadius)});
}

}  // namespace

LUMO_EXPORT_FUNCTION_SHADER(lumoVexaPointLight, shine, miColor, PointLightParameters)

}  // namespace lumo
