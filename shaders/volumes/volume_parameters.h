/* The parameters of the volume engine, as the renderer lays them out. */
#pragma once

#include "SDK/framework/parameters.h"
#include "SDK/noise/ramp_parameters.h"

namespace lumo {

/* A matrix among parameters. */
struct TransformParameter {
    static constexpr bool kIsTransform = true;
    miMatrix matrix;
};

/* Bodies around the origin of their own space, inside the box from -1 to 1; axes are z. */
enum VolumeShape : miInteger {
    kVolumeSphere = 0,
    kVolumeBox,
    kVolumeCylinder,
    kVolumeCone,
    kVolumeGrid,
    kVolumeShapes
};

/* How the density falls towards a border. Gradients are 0 at the low end of the axis and 1 at the high end. */
enum VolumeDropoff : miInteger {
    kDropoffNone = 0,
    kDropoffSphere,
    kDropoffCube,
    kDropoffCone,
    kDropoffDoubleCone,
    kDropoffX,
    kDropoffY,
    kDropoffZ,
    kDropoffMinusX,
    kDropoffMinusY,
    kDropoffMinusZ,
    kDropoffShape, /* towards the border of the primitive itself */
    kVolumeDropoffs
};

/* What becomes of t, which is 0 at the border and 1 at the inner end of its soft edge. */
enum DropoffProfile : miInteger { kProfileLinear = 0, kProfileSmooth, kProfileRound, kProfileBell, kDropoffProfiles };

/* What a ramp's position is. */
enum VolumeInput : miInteger {
    kInputDensity = 0,
    kInputTemperature,
    kInputRadius,
    kInputX,
    kInputY,
    kInputZ,
    kVolumeInputs
};

struct VolumePrimitiveParameters {
    miInteger shape;
    TransformParameter transform; /* from world space to the primitive's own, as an instance's */
    miTag grid;                   /* user data */
    miScalar density;
    miColor transparency; /* what a unit of length lets through at density 1 */
    miColor color;        /* scattered share of what is stopped */
    miColor incandescence;
    miScalar anisotropy;
    miInteger dropoff, dropoffProfile;
    miScalar edgeDropoff;
};

struct VolumeEngineParameters {
    ParameterArray<VolumePrimitiveParameters> primitives;
    miScalar quality, stepSize;
    miScalar scatter;
    miScalar shadowOpacity;
    miInteger selfShadow;
    miInteger opacityInput, colorInput, incandescenceInput;
    ScalarRampParameter opacityRamp;
    ColorRampParameter colorRamp, incandescenceRamp;
};

/* Parameters of primitives by number, which counts from 0. */
class VolumeHelper : public ShaderHelper<VolumeEngineParameters> {
public:
    using ShaderHelper::ShaderHelper;
    using P = VolumeEngineParameters;
    using Primitive = VolumePrimitiveParameters;

    /* 0 where there is no such primitive. */
    template <ParameterValue T>
    T primitive(miInteger number, T Primitive::* member) const {
        const auto all = primitives();
        const auto index = static_cast<std::size_t>(number);
        return index < all.size() ? element(all[index], member) : T{};
    }
    template <class T>
    bool isConnected(Primitive& primitive, T Primitive::* member) const {
        return isConnectedAddress(&(primitive.*member));
    }

    std::span<Primitive> primitives() const { return elements(&P::primitives); }

    template <class Ramp>
    void read(Ramp P::* group, LumoRamp& ramp) const {
        ramp_constructor(&ramp, state(), &(block()->*group), std::is_same_v<Ramp, ColorRampParameter>);
    }
};

}  // namespace lumo
