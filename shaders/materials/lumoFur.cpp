/* lumoVexaFur: fur, on hair objects hair by hair, and on a skin without hairs as the mean of all that would stand there.
 *
 * Parameters: those of lumoVexaLambert, those of fibres (fibre.h), and
 *   specularPower                          of the highlight: the higher, the narrower
 *   density, length, rootWidth, tipWidth   of hairs on a surface that is no hair object, in its units: hairs per area;
 *                                          with density 0 the surface is one fibre, whose v leads to the tip
 *   inclination, direction                 of these hairs, in degrees: from the normal, and from the surface's u to v
 *   skinColor                              of what shows between them
 * translucence is light that comes through the hairs.
 * Formula: Kajiya and Kay's diffuse and highlight, times Goldman's front and back lighting (fibre.h). The depth of a
 * coat is density times length times mean width, times sin(angle to the hairs) / cos(angle to the normal). Below a depth
 * of a for the eye and b for the light a skin shows, s being the way from the tips in parts of the length,
 *   integral of a e^-(a + b) s (tipColor (1 - s) + color s) from 0 to 1, and e^-(a + b) of itself.
 *
 * Example: a short coat on a body without hair objects, the depth of which is 400 x .3 x .01 at right angles.
 *   shader "coat" "lumoVexaFur" ( "color" .2 .12 .06, "tipColor" .6 .45 .3, "density" 400, "length" .3 )
 */
#include <numbers>

#include "SDK/framework/export_shader.h"
#include "shaders/materials/fibre.h"

namespace lumo {

struct FurParameters {
    LambertParameters surface;
    FibreParameters fibre;
    miScalar specularPower;
    miScalar density, length, rootWidth, tipWidth;
    miScalar inclination, direction;
    miColor skinColor;
};

namespace {

using P = FurParameters;

/* How much of the eye's view ends on hairs of a skin, and how much light is there. */
struct FurLayers {
    miScalar hairs = 1;     /* of all depths */
    miScalar tipToRoot = 0; /* the same, times the depth in parts of the length */
    miScalar skin = 0;      /* of what is behind the hairs */

    FurLayers() = default;
    FurLayers(miScalar eye, miScalar light) {
        const miScalar k = eye + light;
        skin = std::exp(-k);
        const bool isThin = k < 1e-2f;
        hairs = eye * (isThin ? 1 - k / 2 + k * k / 6 : (1 - skin) / k);
        tipToRoot = eye * (isThin ? 0.5f - k / 3 + k * k / 8 : (1 - skin * (1 + k)) / (k * k));
    }
};

/* All hairs that would stand on a skin. */
struct FurCoat {
    miVector hair;      /* which way they lean, unit length */
    miScalar thickness; /* density x length x mean width, as far as it is opaque */
    miColor root, tip, skin;

    /* Of the whole coat, for light or view along a direction. Where nothing is left of it more does not matter. */
    miScalar depth(const miVector& normal, const miVector& direction) const {
        const miScalar cosine = std::max(std::fabs(mi_vector_dot(&normal, &direction)), 1e-4f);
        const miScalar depth = thickness * sineOf(mi_vector_dot(&hair, &direction)) / cosine;
        return depth < 50 ? depth : 50;
    }
    miColor hairColor(const FurLayers& layers) const { return tip * layers.hairs + (root - tip) * layers.tipToRoot; }
};

class FurHelper : public FibreHelper<P> {
public:
    using FibreHelper::FibreHelper;
    static constexpr const char* kComplaint = "lumoVexaFur(): Internal state error.";

    bool isSkin() const { return !isOnHair() && (*this)(&P::density) > 0; }
    bool isLitAllAround() const { return !isSkin(); }

    miColor transparency() const { return isSkin() ? SurfaceHelper::transparency() : FibreHelper::transparency(); }
    miScalar ambientShare() const { return isSkin() ? 1 : FibreHelper::ambientShare(); }

    miColor color(const SurfacePoint& point) const {
        if (!isSkin()) return FibreHelper::color(point);
        const FurLayers layers(coat(point).depth(point.normal, toEye(point)), 0);
        return coat(point).hairColor(layers) + coat(point).skin * layers.skin;
    }

    /* For a skin: read once for a call. */
    const FurCoat& coat(const SurfacePoint& point) const {
        if (!coat_) {
            const miScalar tall = std::max((*this)(&P::length), 0.0f) * std::max((*this)(&P::density), 0.0f);
            coat_ = FurCoat{leaning(point.normal), tall * meanWidth(), common(&LambertParameters::color),
                            fibre(&FibreParameters::tipColor), (*this)(&P::skinColor)};
        }
        return *coat_;
    }

    static miVector toEye(const SurfacePoint& point) {
        const miVector& dir = point.state->dir;
        return {-dir.x, -dir.y, -dir.z};
    }

private:
    mutable std::optional<FurCoat> coat_;

    miVector leaning(const miVector& normal) const {
        miVector u, v;
        get_derivs(state(), &u, &v);
        const miScalar inDegrees = std::numbers::pi_v<miScalar> / 180;
        const miScalar lean = (*this)(&P::inclination) * inDegrees, turn = (*this)(&P::direction) * inDegrees;
        const miScalar n = std::cos(lean), a = std::sin(lean) * std::cos(turn), b = std::sin(lean) * std::sin(turn);
        miVector hair = {n * normal.x + a * u.x + b * v.x, n * normal.y + a * u.y + b * v.y,
                         n * normal.z + a * u.z + b * v.z};
        mi_vector_normalize(&hair);
        return hair;
    }

    /* Integral of width times opacity, both of which change evenly along a hair. */
    miScalar meanWidth() const {
        const miScalar root = std::max((*this)(&P::rootWidth), 0.0f), tip = std::max((*this)(&P::tipWidth), 0.0f);
        const miScalar a = luminance(fibre(&FibreParameters::rootOpacity));
        const miScalar b = luminance(fibre(&FibreParameters::tipOpacity));
        return (root * a + tip * b) / 3 + (root * b + tip * a) / 6;
    }
};

using H = FurHelper;

/* Fixed for the point. */
struct FurValues {
    const FurCoat* coat; /* null for a single hair */
    miVector tangent, toEye;
    miScalar power, secondaryScale, selfShadow, lightShare, eyeDepth;
    miColor specular;

    FurValues(const H& in, const SurfacePoint& point)
        : coat(in.isSkin() ? &in.coat(point) : nullptr),
          tangent(coat ? coat->hair : in.tangent()),
          toEye(H::toEye(point)),
          power(in(&P::specularPower)),
          secondaryScale(in.fibre(&FibreParameters::secondarySpecularScale)),
          selfShadow(std::max(in.fibre(&FibreParameters::selfShadow), 0.0f)),
          lightShare(coat ? 1 : in.lightShare()),
          eyeDepth(coat ? coat->depth(point.normal, toEye) : 0),
          specular(in.fibre(&FibreParameters::specularColor) * (1 - point.transparency)) {}

    FurLayers layers(const SurfacePoint& point, const LightFromDirection& light) const {
        if (!coat) return {};
        return {eyeDepth, selfShadow * coat->depth(point.normal, light.direction)};
    }
    FibreAngles angles(const LightFromDirection& light) const { return {tangent, light.direction, toEye}; }
    /* A skin lets no light through. */
    bool isDark(const LightFromDirection& light) const { return coat && !(light.cosine > 0); }
};

struct FurComponent : StatelessComponent {
    using StatelessComponent::StatelessComponent;
    using Values = FurValues;
    Values values(const H& in, const SurfacePoint& point) const { return {in, point}; }

    miColor body(const Values& values, const SurfacePoint& point, const LightFromDirection& light) const {
        if (values.isDark(light)) return kBlack;
        const FibreAngles angles = values.angles(light);
        const miColor hairs = scattered(values, point, light, angles.diffuse() * angles.front());
        if (!values.coat) return hairs;
        return hairs + values.coat->skin * (values.layers(point, light).skin * light.cosine * point.diffuse);
    }
    miColor through(const Values& values, const SurfacePoint& point, const LightFromDirection& light) const {
        if (values.isDark(light)) return kBlack;
        const FibreAngles angles = values.angles(light);
        return scattered(values, point, light, point.translucence * angles.diffuse() * angles.behind());
    }
    miColor shine(const Values& values, const SurfacePoint& point, const LightFromDirection& light) const {
        if (values.isDark(light)) return kBlack;
        const FibreAngles angles = values.angles(light);
        const miScalar share = angles.front() + point.translucence * angles.behind();
        const miScalar s = angles.specular(values.power) * share * values.layers(point, light).hairs *
                           values.lightShare * light.strength;
        return tinted(highlightOnRay(s, values.secondaryScale, point.state), values.specular);
    }

private:
    /* Of all hairs that are seen. */
    static miColor scattered(const Values& values, const SurfacePoint& point, const LightFromDirection& light,
                             miScalar share) {
        const miColor color = values.coat ? values.coat->hairColor(values.layers(point, light)) : point.diffuseMaterial;
        return color * (share * point.diffuse * values.lightShare * light.strength);
    }
};

using FurClass = FibreSurface<P, H, FurComponent>;

}  // namespace

LUMO_EXPORT_SHADER(lumoVexaFur, FurClass, "shaders/lumoFur")

}  // namespace lumo
