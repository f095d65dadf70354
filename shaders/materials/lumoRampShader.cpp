/* lumoVexaRampShader: a Blinn surface whose colors are ramps over what is seen or what arrives: rims, iridescent cloth,
 * skin in shade, and, with the incandescence ramp, cartoons.
 *
 * Parameters: those of lumoVexaBlinn, and ramps. A ramp takes the place of the parameter; without entries the parameter
 * counts.
 *   colorRamp, colorInput                  in place of color
 *   incandescenceRamp, incandescenceInput  in place of incandescence
 *   transparencyRamp    in place of transparency, by the facing angle
 *   reflectivityRamp    in place of reflectivity, by the facing angle
 *   specularColorRamp   in place of specularColor, by the strength of the highlight: 0 its rim, 1 the middle
 *   environmentRamp     in place of what the mirror shows, by where it looks: 0 down, .5 level, 1 up; no ray is traced
 * Inputs, and the positions they give:
 *   0 light angle             0 for light from straight behind, .5 along the surface, 1 from straight before it
 *   1 facing angle            0 at the silhouette, 1 where the surface faces the eye
 *   2 brightness              diffuse light that arrives, with shadows: mean of red, green and blue
 *   3 normalised brightness   the same over what would arrive without shadows and slant
 * The color ramp tints the light of each lamp by its own angle; ambient and indirect light, which have none, as light
 * from straight before. For the incandescence the angle is the mean of all lights, by their luminance.
 * Brightness, and the light angle of the incandescence, are measured before the surface is shaded: lights are then
 * asked twice.
 *
 * Example: two tones, drawn by the lights.
 *   shader "toon" "lumoVexaRampShader" ( "color" 0 0 0, "irradianceColor" 0 0 0, "specularColor" 0 0 0,
 *       "incandescenceInput" 2, "incandescenceRamp" [
 *           { "position" 0, "value" .2 .1 .3 }, { "position" .4, "value" .9 .5 .4 } ]
 *   )
 */
#include "SDK/framework/export_shader.h"
#include "shaders/materials/arriving_light.h"
#include "shaders/materials/lumoBlinn.h"
#include "SDK/noise/ramp_parameters.h"

#include <cmath>

namespace lumo {
namespace {

struct RampShaderParameters {
    LambertParameters surface;
    GlossParameters gloss;
    miScalar eccentricity, specularRollOff;
    miInteger colorInput, incandescenceInput;
    ColorRampParameter colorRamp, transparencyRamp, incandescenceRamp, specularColorRamp;
    ScalarRampParameter reflectivityRamp;
    ColorRampParameter environmentRamp;
};

enum RampInput : miInteger { kByLightAngle = 0, kByFacingAngle, kByBrightness, kByNormalisedBrightness };

miScalar sum(const miColor& c) { return c.r + c.g + c.b; }

/* From -1 to 1. */
miScalar positionOfCosine(miScalar cosine) { return (cosine + 1) * 0.5f; }

/* Lives for one call, and keeps for it what more than one term needs. */
class RampShaderHelper : public FacetHelper<RampShaderParameters> {
public:
    using FacetHelper::FacetHelper;
    using P = RampShaderParameters;

    void read(ColorRampParameter P::* group, LumoRamp& ramp) const {
        ramp_constructor(&ramp, state(), &(block()->*group), 1);
    }

    miColor color(const SurfacePoint& point) const {
        read(&P::colorRamp, colorRamp_);
        const miInteger input = (*this)(&P::colorInput);
        tintsEachLight_ = colorRamp_.count > 0 && input == kByLightAngle;
        const miColor given = FacetHelper::color(point);
        if (colorRamp_.count < 1) return given;
        return tintsEachLight_ ? colorAt(1, given) : colorAt(position(input, point), given);
    }

    /* Of light that comes in at this cosine. `color` is that from straight before. */
    miColor colorOfLight(const miColor& color, miScalar cosine) const {
        return tintsEachLight_ ? colorAt(positionOfCosine(cosine), color) : color;
    }

    miColor transparency() const { return facingColor(&P::transparencyRamp, FacetHelper::transparency()); }

    miColor incandescence(const SurfacePoint& point) const {
        LumoRamp ramp;
        read(&P::incandescenceRamp, ramp);
        const miColor given = common(&LambertParameters::incandescence);
        return ramp.count < 1 ? given : rampColor(ramp, position((*this)(&P::incandescenceInput), point), given);
    }

    miScalar reflectivity(const SurfacePoint& point) const {
        LumoRamp ramp;
        ramp_constructor(&ramp, state(), &block()->reflectivityRamp, 0);
        return ramp.count < 1 ? FacetHelper::reflectivity(point) : ramp_get_interp_float(&ramp, facing());
    }

private:
    miColor colorAt(miScalar position, const miColor& given) const { return rampColor(colorRamp_, position, given); }

    miColor facingColor(ColorRampParameter P::* group, const miColor& given) const {
        LumoRamp ramp;
        read(group, ramp);
        return rampColor(ramp, facing(), given);
    }

    /* Of the normal and the eye, from either side: shadow rays see normals as they are. */
    miScalar facing() const { return std::fabs(mi_vector_dot(&state()->normal, &state()->dir)); }

    miScalar position(miInteger input, const SurfacePoint& point) const {
        if (input == kByFacingAngle) return facing();
        const ArrivingLight& light = arrivingLight(point);
        if (input == kByBrightness) return sum(light.diffuse) / 3;
        if (input == kByNormalisedBrightness)
            return sum(light.whole) > VEXA_EPS ? sum(light.diffuse) / sum(light.whole) : 0;
        return positionOfCosine(light.meanCosine());
    }

    const ArrivingLight& arrivingLight(const SurfacePoint& point) const {
        if (!isMeasured_) {
            const auto asksShadows = [](miInteger input) {
                return input == kByBrightness || input == kByNormalisedBrightness;
            };
            const bool shadows = asksShadows((*this)(&P::colorInput)) || asksShadows((*this)(&P::incandescenceInput));
            arriving_ = measureLight(point, shadows);
            isMeasured_ = true;
        }
        return arriving_;
    }

    mutable LumoRamp colorRamp_;
    mutable bool tintsEachLight_ = false, isMeasured_ = false;
    mutable ArrivingLight arriving_;
};

using P = RampShaderParameters;
using H = RampShaderHelper;

struct RampDiffuseComponent : DefaultDiffuseComponent<P, H> {
    using DefaultDiffuseComponent::DefaultDiffuseComponent;
    miColor term(const H& in, const SurfacePoint& point, const miColor& color, miScalar cosine) const {
        return DefaultDiffuseComponent::term(in, point, in.colorOfLight(color, cosine), cosine);
    }
};

struct RampSpecularComponent : StatelessComponent {
    using StatelessComponent::StatelessComponent;
    struct Values {
        explicit Values(const H& in) : highlight(in) { in.read(&P::specularColorRamp, ramp); }

        FacetHighlight highlight;
        LumoRamp ramp;
    };
    Values values(const H& in, const SurfacePoint&) const { return Values(in); }

    miColor term(const Values& values, const SurfacePoint& point, miScalar cosine, const miVector& light) const {
        if (cosine <= 0) return kBlack;
        const miScalar strength = values.highlight.strength(point, cosine, light);
        return tinted(strength, rampColor(values.ramp, strength, values.highlight.color));
    }
};

struct RampReflectionComponent : DefaultSpecularReflectionComponent<P, H> {
    using DefaultSpecularReflectionComponent::DefaultSpecularReflectionComponent;
    miColor term(const H& in, SurfacePoint& point, const PassWriter& passes) const {
        LumoRamp ramp;
        in.read(&P::environmentRamp, ramp);
        if (ramp.count < 1) return DefaultSpecularReflectionComponent::term(in, point, passes);

        // A picture of the surroundings, which no ray gets past.
        ReflectionSettings settings{};
        settings.colorIsMap = true;
        settings.reflectionLimit = 0;
        settings.reflectivity = in.reflectivity(point);
        if (!(settings.reflectivity > 0)) return kBlack;
        settings.normal = point.normal;
        settings.normalEye = point.normalEye;
        settings.color = in.gloss(&GlossParameters::reflectedColor) * rampColor(ramp, height(point), WHITE);
        miColor white;
        const FrameBuffers buffers = passes.traced();
        compute_reflection(&white, point.state, &settings, buffers.passes, buffers.count(), buffers.entries.data());
        return white * (settings.color * settings.reflectivity);
    }

private:
    static miScalar height(const SurfacePoint& point) {
        miVector mirror;
        mi_vector_to_world(point.state, &mirror, &point.mirror);
        mi_vector_normalize(&mirror);
        return positionOfCosine(mirror.y);
    }
};

struct RampIncandescenceComponent : StatelessComponent {
    using StatelessComponent::StatelessComponent;
    miColor term(const H& in, const SurfacePoint& point) const { return in.incandescence(point); }
};

using RampShaderClass =
    Surface<P, SurfaceShaderReturnType, H, DefaultAmbientMaterialColorComponent<P, H>, DefaultAmbientComponent<P, H>,
            DefaultDiffuseMaterialColorComponent<P, H>, RampDiffuseComponent, RampSpecularComponent,
            RampReflectionComponent, DefaultRefractionComponent<P, H>, DefaultScatterComponent<P, H>,
            DefaultIndirectComponent<P, H>, RampIncandescenceComponent>;

}  // namespace

LUMO_EXPORT_SHADER(lumoVexaRampShader, RampShaderClass, "shaders/lumoRampShader")

}  // namespace lumo
