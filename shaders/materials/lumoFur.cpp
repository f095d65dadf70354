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
        const miVector hair = skinHair(point.normal);
        return skinColor(FurLayers(depth(hair, point.normal, fromEye(point)), 0));
    }

    /* What layers show together, with skin at `skinLight` of their light. */
    miColor skinColor(const FurLayers& layers) const {
        return hairColor(layers) + (*this)(&P::skinColor) * layers.skin;
    }
    miColor hairColor(const FurLayers& layers) const {
        const miColor root = common(&LambertParameters::color), tip = fibre(&FibreParameters::tipColor);
        return tip * layers.hairs + (root - tip) * layers.tipToRoot;
    }

    miVector skinHair(const miVector& normal) const {
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

    /* Of the whole coat, for light or view along a direction. Infinite along the skin. */
    miScalar depth(const miVector& hair, const miVector& normal, const miVector& direction) const {
        const miScalar cosine = std::max(std::fabs(mi_vector_dot(&normal, &direction)), 1e-4f);
        const miScalar tall = std::max((*this)(&P::length), 0.0f) * std::max((*this)(&P::density), 0.0f);
        const miScalar depth = tall * meanWidth() * sineOf(mi_vector_dot(&hair, &direction)) / cosine;
        return depth < 50 ? depth : 50;  // of which nothing is left
    }

    static miVector fromEye(const SurfacePoint& point) {
        const miVector& dir = point.state->dir;
        return {-dir.x, -dir.y, -dir.z};
    }

private:
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
    const H& in;
    bool isSkin;
    miVector tangent, toEye;
    miScalar power, secondaryScale, selfShadow, lightShare;
    miScalar eyeDepth = 0;
    miColor specular;

    FurValues(const H& helper, const SurfacePoint& point)
        : in(helper),
          isSkin(in.isSkin()),
          tangent(isSkin ? in.skinHair(point.normal) : in.tangent()),
          toEye(H::fromEye(point)),
          power(in(&P::specularPower)),
          secondaryScale(in.fibre(&FibreParameters::secondarySpecularScale)),
          selfShadow(std::max(in.fibre(&FibreParameters::selfShadow), 0.0f)),
          lightShare(isSkin ? 1 : in.lightShare()),
          specular(in.fibre(&FibreParameters::specularColor) * (1 - point.transparency)) {
        if (isSkin) eyeDepth = in.depth(tangent, point.normal, toEye);
    }

    FurLayers layers(const SurfacePoint& point, const LightFromDirection& light) const {
        if (!isSkin) return {};
        return {eyeDepth, selfShadow * in.depth(tangent, point.normal, light.direction)};
    }
};

struct FurComponent : StatelessComponent {
    using StatelessComponent::StatelessComponent;
    using Values = FurValues;
    Values values(const H& in, const SurfacePoint& point) const { return {in, point}; }

    miColor body(const Values& values, const SurfacePoint& point, const LightFromDirection& light) const {
        const FibreAngles angles(values.tangent, light.direction, values.toEye);
        const miColor hairs = scattered(values, point, light, angles.diffuse() * angles.front());
        if (!values.isSkin || !(light.cosine > 0)) return hairs;
        const miScalar share = values.layers(point, light).skin * light.cosine * point.diffuse;
        return hairs + values.in(&P::skinColor) * share;
    }
    miColor through(const Values& values, const SurfacePoint& point, const LightFromDirection& light) const {
        const FibreAngles angles(values.tangent, light.direction, values.toEye);
        return scattered(values, point, light, point.translucence * angles.diffuse() * angles.behind());
    }
    miColor shine(const Values& values, const SurfacePoint& point, const LightFromDirection& light) const {
        if (values.isSkin && !(light.cosine > 0)) return kBlack;
        const FibreAngles angles(values.tangent, light.direction, values.toEye);
        const miScalar share = angles.front() + point.translucence * angles.behind();
        const miScalar s = angles.specular(values.power) * share * values.layers(point, light).hairs *
                           values.lightShare * light.strength;
        return tinted(highlightOnRay(s, values.secondaryScale, point.state), values.specular);
    }

private:
    /* Of all hairs that are seen. A skin lets no light through. */
    static miColor scattered(const Values& values, const SurfacePoint& point, const LightFromDirection& light,
                             miScalar share) {
        if (values.isSkin && !(light.cosine > 0)) return kBlack;
        const miColor color = values.isSkin ? values.in.hairColor(values.layers(point, light)) : point.diffuseMaterial;
        return color * (share * point.diffuse * values.lightShare * light.strength);
    }
};

using FurClass = FibreSurface<P, H, FurComponent>;

}  // namespace

LUMO_EXPORT_SHADER(lumoVexaFur, FurClass, "shaders/lumoFur")

}  // namespace lumo
