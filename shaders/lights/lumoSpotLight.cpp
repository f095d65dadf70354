/* lumoVexaSpotLight: a cone of light that looks down the light's -z axis.
 *
 * `coneAngle` is the whole angle of the cone (radians). `penumbraAngle` softens its edge, outside the cone when
 * positive, inside when negative. `dropoff` makes the middle brighter than the edge: the cosine to the axis to this
 * power. Four barn doors cut the cone off straight, each at its angle from the axis, as seen from the light (x to the
 * right, y up). With decay regions it shines only at the distances of one of the three. Outside of all that there is no
 * light.
 *
 * In its own fog `fogSpread` says how evenly the beam fills the cone: large values evenly, small ones along the axis.
 * Textures on the color are projected like a slide that fills the cone. All else is as for the point light.
 *
 *   shader "lamp" "lumoVexaSpotLight" ( "coneAngle" .7, "penumbraAngle" .1, "dropoff" 2, "intensity" 5,
 *       "barnDoors" on, "topBarnDoor" .2 )
 */
#include <cmath>
#include <numbers>

#include "SDK/framework/double_vector.h"
#include "SDK/framework/export_shader.h"
#include "shaders/lights/lumoVexaLightDecay.h"

namespace lumo {

struct BarnDoorParameters {
    miBoolean barnDoors;
    miScalar leftBarnDoor, rightBarnDoor, topBarnDoor, bottomBarnDoor;
};

struct DecayRegionParameters {
    miBoolean decayRegions;
    miScalar startDistance1, endDistance1, startDistance2, endDistance2, startDistance3, endDistance3;
};

struct SpotLightParameters {
    miScalar coneAngle, penumbraAngle, dropoff;
    miScalar lightRadius;
    miInteger decayRate;
    EmissionParameters emission;
    ShadowParameters shadow;
    FogParameters fog;
    miScalar fogSpread;
    BarnDoorParameters doors;
    DecayRegionParameters regions;
};

namespace {

using Helper = ShaderHelper<SpotLightParameters>;
using Spot = SpotLightParameters;

/* Cosine between the axis and the light's way. */
double cosineToAxis(const LightCall& call) {
    miVector axis = {0, 0, -1};
    mi_vector_from_light(call.state(), &axis, &axis);
    return dot(normalised(DoubleVector(axis)), DoubleVector(lightDirection(call)));
}

/* 1 inside the cone, 0 outside, in the penumbra between. */
double coneFactor(double cosine, double half, double penumbra) {
    const double outer = std::cos(penumbra > 0 ? half + penumbra : half);
    // Cones wider than a half space without a penumbra fade from the horizon on; scenes are lit with that.
    const double inner = std::fabs(penumbra) < 1e-5 ? 0 : std::cos(penumbra < 0 ? half + penumbra : half);
    if (!(cosine >= outer)) return 0;
    return cosine < inner ? (cosine - outer) / (inner - outer) : 1;
}

bool passesBarnDoors(const LightCall& call, const Helper& in) {
    const auto door = [&in](auto member) { return in(&Spot::doors, member); };
    if (!door(&BarnDoorParameters::barnDoors)) return true;
    miVector way = lightDirection(call);
    mi_vector_to_light(call.state(), &way, &way);
    const miScalar right = std::atan2(way.x, -way.z), up = std::atan2(way.y, -way.z);
    return right <= door(&BarnDoorParameters::rightBarnDoor) && -right <= door(&BarnDoorParameters::leftBarnDoor) &&
           up <= door(&BarnDoorParameters::topBarnDoor) && -up <= door(&BarnDoorParameters::bottomBarnDoor);
}

bool isInDecayRegion(double dist, const Helper& in) {
    using Regions = DecayRegionParameters;
    const auto number = [&in](auto member) { return in(&Spot::regions, member); };
    const auto within = [&](miScalar Regions::* start, miScalar Regions::* end) {
        return dist >= static_cast<double>(number(start)) && dist <= static_cast<double>(number(end));
    };
    return !number(&Regions::decayRegions) || within(&Regions::startDistance1, &Regions::endDistance1) ||
           within(&Regions::startDistance2, &Regions::endDistance2) ||
           within(&Regions::startDistance3, &Regions::endDistance3);
}

/* Of the axis 1, of the cone's edge 0. */
double beamInFog(double cosine, double half, double spread) {
    const double outer = std::cos(half), width = 1 - outer;
    const double middle = width > 0 ? (cosine - outer) / width : 0;
    return middle > 0 && spread > 0 ? std::pow(middle, 1 / spread) : 0;
}

/* How much of the light goes this way. */
double beam(const LightCall& call, const Helper& in) {
    const double half = static_cast<double>(in(&Spot::coneAngle)) / 2, cosine = cosineToAxis(call);
    double factor = coneFactor(cosine, half, static_cast<double>(in(&Spot::penumbraAngle)));
    if (factor == 0 || !isInDecayRegion(call.state()->dist, in) || !passesBarnDoors(call, in)) return 0;
    if (const miScalar dropoff = in(&Spot::dropoff); dropoff != 0)
        factor *= std::pow(std::fmax(cosine, 0), static_cast<double>(dropoff));
    if (call.record().evaluatesFog) factor *= beamInFog(cosine, half, static_cast<double>(in(&Spot::fogSpread)));
    return factor;
}

/* The slide in front of the lamp, 0 to 1 across the cone. */
miVector slideCoordinate(const LightCall& call, const Helper& in) {
    const double half = static_cast<double>(in(&Spot::coneAngle)) / 2;
    const miVector p = pointInLight(call.state());
    double scale = std::fabs(std::fmod(half, std::numbers::pi)) < 1e-5 ? 1 : std::tan(half);
    if (std::fabs(p.z) >= VEXA_EPS) scale *= static_cast<double>(p.z);
    const auto across = [scale](miScalar c) {
        return static_cast<miScalar>((static_cast<double>(c) / scale + 1) * 0.5);
    };
    return {across(p.x), across(p.y), p.z};
}

miBoolean shine(miColor* result, const Helper& in) {
    const LightCall call(in.state(), "vexa_spotlight(): Internal state error.");
    if (!call) return miFALSE;
    const LightTexture texture(call.state(), slideCoordinate(call, in));
    const auto factor = static_cast<miScalar>(beam(call, in));
    if (factor == 0) return giveNothing(call, *result);

    const miScalar intensity = intensityAtPoint(call, in, factor * in(&Spot::emission, &EmissionParameters::intensity));
    return giveLight(call, *result, in, intensity, {ShadowEmitter::kRadius, in(&Spot::lightRadius)});
}

}  // namespace

LUMO_EXPORT_FUNCTION_SHADER(lumoVexaSpotLight, shine, miColor, SpotLightParameters)

}  // namespace lumo
