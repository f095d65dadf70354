/* lumoVexaAreaLight: light from a rectangle, a disc, a sphere or a cylinder.
 *
 * The shape is the light's area. A light without one is the square from -1 to 1 in its own x and y, which shines along
 * -z; its instance scales it. Flat shapes shine to the side of their normal only. Of a rectangle materials get the
 * corners: what it sends to a surface is computed in closed form, and falls with the distance by itself, so it wants
 * `decayRate` 0, and one sample by the renderer is enough. The others light from where the renderer samples them, and
 * want `decayRate` 2.
 *
 * Shadows are soft by `shadowRays` rays from all over the shape, at each sample of the renderer. All else is as for the
 * point light. A light with an object as its area lights as a point light with `lightRadius`; see lumoVexaShapeLight.
 *
 *   light "window" "lumoVexaAreaLight" ( "intensity" .5, "useRayTraceShadows" on, "shadowRays" 32 )
 *       origin 0 0 0 rectangle 2 0 0 0 -2 0 1 1 end light
 */
#include <atomic>
#include "SDK/framework/renderer_access.h"
#include "SDK/framework/export_shader.h"
#include "SDK/framework/shader_object.h"
#include "shaders/lights/lumoVexaLightDecay.h"
#include "shaders/lights/lumoVexaLightShape.h"

namespace lumo {

struct AreaLightParameters {
    miScalar lightRadius;
    miInteger decayRate;
    EmissionParameters emission;
    ShadowParameters shadow;
    FogParameters fog;
};

namespace {

class AreaLight : public Shader<AreaLightParameters> {
public:
    using Result = miColor;

    /* The shape is that of the light that is initialised. Renderers that know no light yet, and lights that share the
     * shader, have theirs read at each call. */
    explicit AreaLight(const Helper& in)
        : Shader(in),
          light_(in.state()->light_instance),
          shape_(light_ != miNULLTAG ? shapeOf(in.state()) : LightShape()) {}

    miBoolean shade(miColor* result, const Helper& in) const {
        const LightCall call(in.state(), "vexa_arealight(): Internal state error.");
        if (!call) return miFALSE;
        const bool isKnown = light_ != miNULLTAG && in.state()->light_instance == light_;
        const LightShape shape = isKnown ? shape_ : shapeOf(in.state());
        if (isDarkSide(call, shape)) return giveNothing(call, *result);

        const LightTexture texture(call.state(), sphericalCoordinate(pointInLight(call.state())));
        const miScalar intensity =
            intensityAtPoint(call, in, in(&Parameters::emission, &EmissionParameters::intensity));
        const ShapeSampler sampler(call.state(), shape);
        ShadowEmitter emitter = {ShadowEmitter::kRadius, in(&Parameters::lightRadius)};
        if (shape.area != miLIGHT_NONE) emitter.shape = &sampler;
        giveLight(call, *result, in, intensity, emitter);
        if (call.isLightRay() && shape.area == miLIGHT_RECTANGLE) {
            placeCorners(call.state(), shape, call.record().areaCorners);
            call.record().light.corners = call.record().areaCorners;
        }
        return miTRUE;
    }

private:
    LightShape shapeOf(miState* state) const {
        miInteger area = miLIGHT_NONE;
        const bool isAnswered = mi_query(miQ_LIGHT_AREA, state, state->light_instance, &area);
        if (isAnswered && area == miLIGHT_NONE) return unitSquare();
        const LightShape shape = lightShape(state);
        // Told once, not at each sample.
        if (shape.area == miLIGHT_NONE && !hasWarned_.test(std::memory_order_relaxed) && !hasWarned_.test_and_set())
            reportWarning("vexa_arealight(): Cannot access shape data!");
        return shape;
    }

    mutable std::atomic_flag hasWarned_;
    const miTag light_;
    const LightShape shape_;
};

}  // namespace

LUMO_EXPORT_SHADER(lumoVexaAreaLight, AreaLight, "shaders/lumoAreaLight")

}  // namespace lumo
