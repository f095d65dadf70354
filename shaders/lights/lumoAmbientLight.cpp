/* lumoVexaAmbientLight: light that fills shadows, from everywhere or partly from a point.
 *
 * `ambientShade` 0 lights all sides of a surface alike, 1 as a light at the light's position does without decay;
 * towards the sides that face away it falls linearly with the cosine. The material takes it as ambient light: no
 * diffuse or specular terms. Shadows and textures are as for the point light.
 *
 *   shader "fill" "lumoVexaAmbientLight" ( "ambientShade" .45, "color" 1 1 1, "intensity" .2 )
 */
#include "SDK/framework/export_shader.h"
#include "shaders/lights/lumoVexaLight.h"

namespace lumo {

struct AmbientLightParameters {
    miScalar ambientShade;
    miScalar lightRadius;
    miColor color;
    miScalar intensity;
    ShadowParameters shadow;
};

namespace {

using Helper = ShaderHelper<AmbientLightParameters>;

/* 1 where the surface faces the light, less the further it is turned away. */
miScalar shade(const LightCall& call, const Helper& in) {
    const miScalar cosine = call.state()->dot_nd;
    const bool flips = call.record().light.flipsCosine != 0;
    return 1 + in(&AmbientLightParameters::ambientShade) * ((flips ? -cosine : cosine) - 1);
}

/* The light has no direction: what the material gets instead is this one. */
void leaveNeutralDirection(miState* state) {
    state->dir = {0, 0, -1};
    state->dot_nd = -state->normal.z;
}

miBoolean shine(miColor* result, const Helper& in) {
    const LightCall call(in.state(), "vexa_ambientlight(): Internal state error.");
    if (!call) return miFALSE;

    const LightTexture texture(call.state(), [&] { return sphericalCoordinate(pointInLight(call.state())); });
    const miScalar intensity = in(&AmbientLightParameters::intensity);
    const miScalar share = shade(call, in);
    *result = BLACK;
    if (share > 0) {
        *result = in(&AmbientLightParameters::color);
        scaleRgb(*result, share * intensity);
        *result = finiteOrBlack(*result);
    }

    if (call.isLightRay()) {
        castShadows(call, *result, in,
                    {false, intensity, {ShadowEmitter::kRadius, in(&AmbientLightParameters::lightRadius)}});
        call.describe(true, false, false);
    } else {
        call.showEmitter(*result);
    }
    leaveNeutralDirection(call.state());
    return miTRUE;
}

}  // namespace

LUMO_EXPORT_FUNCTION_SHADER(lumoVexaAmbientLight, shine, miColor, AmbientLightParameters)

}  // namespace lumo
