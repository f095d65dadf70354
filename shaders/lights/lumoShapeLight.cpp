/* lumoVexaShapeLight: light from the surface of any shape that the renderer samples: an object, or an area of the
 * light.
 *
 * Each sample of the renderer is a small piece of the surface: it sends light along its normal, less towards the side
 * by the cosine, none to the back unless `twoSided` is on. Where the renderer tells no normal it shines to all sides.
 * Use `decayRate` 2. Shadows are those of the samples, so the number of samples decides how smooth they are;
 * `lightRadius` softens each of them. Rays that look at the shape see its color. All else is as for the point light.
 *
 *   light "tube" "lumoVexaShapeLight" ( "intensity" 3, "decayRate" 2, "useRayTraceShadows" on )
 *       object "tube_instance" 4 4 end light
 */
#include <cmath>
#include "SDK/framework/double_vector.h"
#include "SDK/framework/export_shader.h"
#include "shaders/lights/lumoVexaLightDecay.h"

namespace lumo {

struct ShapeLightParameters {
    miScalar lightRadius;
    miInteger decayRate;
    EmissionParameters emission;
    ShadowParameters shadow;
    FogParameters fog;
    miBoolean twoSided;
};

namespace {

using Helper = ShaderHelper<ShapeLightParameters>;

/* Between the normal of the sampled piece and the light's way; 1 where there is no normal. */
double emissionCosine(const LightCall& call, bool twoSided) {
    miVector normal = {0, 0, 0};
    if (!mi_query(miQ_LIGHT_NORMAL, call.state(), call.state()->light_instance, &normal)) return 1;
    const DoubleVector n = normalised(DoubleVector(normal));
    if (!(dot(n, n) > 0)) return 1;
    const double cosine = dot(n, DoubleVector(lightDirection(call)));
    return twoSided ? std::fabs(cosine) : cosine;
}

miBoolean shine(miColor* result, const Helper& in) {
    const LightCall call(in.state(), "vexa_shapelight(): Internal state error.");
    if (!call) return miFALSE;
    const auto cosine = static_cast<miScalar>(emissionCosine(call, in(&ShapeLightParameters::twoSided) != 0));
    if (!(cosine > 0)) return giveNothing(call, *result);

    const LightTexture texture(call.state(), [&] { return sphericalCoordinate(pointInLight(call.state())); });
    miScalar intensity = in(&ShapeLightParameters::emission, &EmissionParameters::intensity);
    // A surface that shines evenly looks the same from all sides, so only what it sends falls with the cosine.
    if (call.isLightRay()) intensity = intensityAtPoint(call, in, intensity * cosine);
    return giveLight(call, *result, in, intensity, {ShadowEmitter::kRadius, in(&ShapeLightParameters::lightRadius)});
}

}  // namespace

LUMO_EXPORT_FUNCTION_SHADER(lumoVexaShapeLight, shine, miColor, ShapeLightParameters)

}  // namespace lumo
