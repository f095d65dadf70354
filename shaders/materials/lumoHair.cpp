/* lumoVexaHairShader: hair as nature has it. Light is mirrored by the hair's outside (a highlight in its own color,
 * shifted towards the tip), by its inside (a wider one in the color of the hair, shifted towards the root), and goes
 * through it, so that hair shines from behind. What other hairs scatter is a matt term.
 *
 * Parameters: those of lumoVexaLambert, those of fibres (fibre.h: specularColor tints the first highlight), and
 *   secondSpecularColor                    tints the second highlight, which has the hair's color already
 *   roughness, azimuthalRoughness          width of the highlights along the hair and around it, 0 to 1
 *   specularShift                          in degrees towards the tip
 *   fibreIndex                             index of refraction
 * diffuse is the matt term, translucence the share of the light through the hair that is kept.
 * Formula: hair_scattering.h, times pi, as all materials give back light times their color.
 *
 * Example:
 *   shader "hair" "lumoVexaHairShader" ( "color" .25 .13 .06, "tipColor" .4 .25 .12, "roughness" .25 )
 */
#include "SDK/framework/export_shader.h"
#include "shaders/materials/fibre.h"
#include "shaders/materials/hair_scattering.h"

namespace lumo {
namespace {

struct HairShaderParameters {
    LambertParameters surface;
    FibreParameters fibre;
    miColor secondSpecularColor;
    miScalar roughness, azimuthalRoughness, specularShift, fibreIndex;
};

using P = HairShaderParameters;

/* The directions around a fibre. */
struct FibreFrame {
    miVector tangent, toEye, across; /* `across` and the eye, seen along the tangent, are at right angles */
    double sinEye, h;

    FibreFrame(const miVector& t, const SurfacePoint& point) : tangent(t) {
        const miVector& dir = point.state->dir;
        toEye = {-dir.x, -dir.y, -dir.z};
        sinEye = std::clamp(static_cast<double>(mi_vector_dot(&tangent, &toEye)), -1.0, 1.0);
        mi_vector_prod(&across, &tangent, &toEye);
        mi_vector_normalize(&across);
        // How far beside the axis the eye's ray goes by: the sine from the normal to the eye, around the tangent.
        miVector turned;
        mi_vector_prod(&turned, &point.normal, &toEye);
        const double sine = mi_vector_dot(&tangent, &turned), cosine = facing(point.normal);
        const double size = std::hypot(sine, cosine);
        h = size > 1e-6 ? std::clamp(sine / size, -0.9999, 0.9999) : 0;
    }

    /* From the eye around the tangent. */
    double angleOf(const miVector& direction) const {
        return std::atan2(static_cast<double>(mi_vector_dot(&direction, &across)), facing(direction));
    }

private:
    double facing(const miVector& direction) const {
        miVector ahead;
        mi_vector_prod(&ahead, &across, &tangent);
        return mi_vector_dot(&direction, &ahead);
    }
};

struct HairHelper : FibreHelper<P> {
    using FibreHelper::FibreHelper;
    static constexpr const char* kComplaint = "lumoVexaHairShader(): Internal state error.";
};

using H = HairHelper;

/* Fixed for the point. */
struct HairValues {
    FibreFrame frame;
    HairView view;
    miColor first, second; /* of the highlights */
    miScalar lightShare, secondaryScale;

    HairValues(const H& in, const SurfacePoint& point)
        : frame(in.tangent(), point),
          view(HairShape(in(&P::fibreIndex), in(&P::roughness), in(&P::azimuthalRoughness), in(&P::specularShift)),
               frame.sinEye, frame.h, point.color, HairShape::limited(in(&P::azimuthalRoughness), 0.02, 1)),
          first(in.fibre(&FibreParameters::specularColor) * (1 - point.transparency)),
          second(in(&P::secondSpecularColor) * (1 - point.transparency)),
          lightShare(in.lightShare()),
          secondaryScale(in.fibre(&FibreParameters::secondarySpecularScale)) {}

    miColor lobe(int number, const miVector& light) const {
        return view.lobe(number, mi_vector_dot(&frame.tangent, &light), frame.angleOf(light));
    }
};

struct HairComponent : StatelessComponent {
    using StatelessComponent::StatelessComponent;
    using Values = HairValues;
    Values values(const H& in, const SurfacePoint& point) const { return {in, point}; }

    miColor body(const Values& values, const SurfacePoint& point, const LightFromDirection& light) const {
        const FibreAngles angles(values.frame.tangent, light.direction, values.frame.toEye);
        return point.diffuseMaterial * (point.diffuse * values.lightShare * angles.diffuse() * light.strength);
    }
    miColor through(const Values& values, const SurfacePoint& point, const LightFromDirection& light) const {
        return values.lobe(1, light.direction) * (point.translucence * values.lightShare * light.strength);
    }
    miColor shine(const Values& values, const SurfacePoint& point, const LightFromDirection& light) const {
        const miScalar scale = highlightOnRay(values.lightShare * light.strength, values.secondaryScale, point.state);
        const miColor inside = values.lobe(2, light.direction) + values.lobe(3, light.direction);
        return (values.lobe(0, light.direction) * values.first + inside * values.second) * scale;
    }
};

using HairShader = FibreSurface<P, H, HairComponent>;

}  // namespace

LUMO_EXPORT_SHADER(lumoVexaHairShader, HairShader, "shaders/lumoHair")

}  // namespace lumo
