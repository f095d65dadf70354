/* lumoVexaDirectionalLight: parallel light, the same everywhere.
 *
 * `useLightPosition` limits it to what lies before the light's own position. `lightAngle` above 0 makes the shadows of
 * rays soft, as from a sun that spans this angle (radians; the sun of the earth spans .0093). Textures on the color see
 * the point in the light's space as their coordinate. The fog and profile parameters have no effect.
 *
 * lumoVexaDefaultLight: the same, but only while the scene has no other light.
 *
 *   shader "sun" "lumoVexaDirectionalLight" ( "color" 1 .95 .9, "intensity" 3, "useRayTraceShadows" on,
 *       "lightAngle" .02, "shadowRays" 8 )
 */
#include "SDK/framework/export_shader.h"
#include "shaders/lights/lumoVexaLight.h"

namespace lumo {

struct DirectionalLightParameters {
    miInteger useLightPosition;
    miScalar lightAngle;
    EmissionParameters emission;
    ShadowParameters shadow;
    FogParameters fog;
};

namespace {

using Helper = ShaderHelper<DirectionalLightParameters>;

/* Whether the point lies behind the light. */
bool isBehindLight(miState* state) {
    miVector origin = {0, 0, 0};
    mi_query(miQ_LIGHT_ORIGIN, state, state->light_instance, &origin);
    mi_point_from_light(state, &origin, &origin);
    mi_vector_sub(&origin, &origin, &state->point);
    return mi_vector_dot(&origin, &state->dir) > 0;
}

miBoolean shineInParallel(miColor* result, const Helper& in, const char* warning) {
    const LightCall call(in.state(), warning);
    if (!call) return miFALSE;
    if (in(&DirectionalLightParameters::useLightPosition) && isBehindLight(call.state())) return miFALSE;

    const LightTexture texture(call.state(), pointInLight(call.state()));
    const miScalar intensity = in(&DirectionalLightParameters::emission, &EmissionParameters::intensity);
    return giveLight(call, *result, in, intensity,
                     {ShadowEmitter::kAngle, in(&DirectionalLightParameters::lightAngle)});
}

miBoolean shine(miColor* result, const Helper& in) {
    return shineInParallel(result, in, "vexa_directionallight(): Internal state error.");
}

/* All lights but none: the list of those that apply to the material, this one among them. */
int lightsOfMaterial(miState* state) {
    int count = 0;
    miTag* lights = nullptr;
    return mi_exclusive_lightlist(&count, &lights, state) ? count : 0;
}

miBoolean shineAlone(miColor* result, const Helper& in) {
    if (lightsOfMaterial(in.state()) >= 2) return miFALSE;
    return shineInParallel(result, in, "vexa_defaultlight(): Internal state error.");
}

}  // namespace

LUMO_EXPORT_FUNCTION_SHADER(lumoVexaDirectionalLight, shine, miColor, DirectionalLightParameters)
LUMO_EXPORT_FUNCTION_SHADER(lumoVexaDefaultLight, shineAlone, miColor, DirectionalLightParameters)

}  // namespace lumo
