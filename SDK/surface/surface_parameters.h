/* The parameters that every surface material begins with, and their names. */
#pragma once

#include <concepts>
#include "SDK/framework/shader_object.h"

namespace lumo {

struct SurfacePoint;

/* Other materials' records begin with this one as `LambertParameters surface`, and append theirs. */
struct LambertParameters {
    MaterialHeader header;
    miColor color;
    miColor transparency;
    miInteger matteOpacityMode; /* 0 black hole, 1 solid, 2 opacity gain */
    miScalar matteOpacity;
    miScalar glowIntensity;
    miBoolean refractions;
    miScalar refractiveIndex;
    miScalar refractionDepth;
    miScalar diffuse;
    miColor ambientColor;
    miColor incandescence;
    miScalar translucence, translucenceFocus, translucenceDepth;
    miInteger reserved;
    miBoolean hideSource;
    miScalar lightAbsorbance;
    miScalar surfaceThickness;
    miScalar shadowAttenuation;
    miScalar transparencyDepth;
    miBoolean chromaticAberration;
    miVector normalCamera; /* a connected bump */
    miColor irradiance;    /* used when connected */
    miColor irradianceColor;
    miScalar refractionBlur;
    miInteger refractionLimit, refractionRays;
    miScalar scatterRadius;
    miColor scatterColor;
    miScalar scatterAccuracy;
    miInteger scatterFalloff, scatterLimit, scatterCache;
};

/* Scenes know the block by its words. */

/* A material's block: the common one, or a record that begins with it as `surface`. */
template <class P>
concept SurfaceParameters = std::same_as<P, LambertParameters> || requires(P p) {
    { p.surface } -> std::same_as<LambertParameters&>;
};

/* Reads the common parameters, whatever a material appends; its own ones are read by in(&TheParameters::name). */
template <SurfaceParameters P>
class SurfaceHelper : public ShaderHelper<P> {
public:
    using ShaderHelper<P>::ShaderHelper;

    /* Told where the per-sample record is missing; a material may have its own. */
    static constexpr const char* kComplaint = "LumoShaderSDK(): Internal state error.";

    /* A shadow ray that has less light left ends, where the material stands behind many of its kind. */
    static constexpr miScalar kLeastLight = 0;

    template <ParameterValue T>
    T common(T LambertParameters::* member) const {
        return this->evaluated(&(surface().*member));
    }
    template <ParameterValue T>
    T header(T MaterialHeader::* member) const {
        return this->evaluated(&(surface().header.*member));
    }

    template <class T>
    bool commonIsConnected(T LambertParameters::* member) const {
        return this->isConnectedAddress(&(surface().*member));
    }

    /* A material whose color or transparency comes from elsewhere has one of its own. The color is asked for when the
     * rest of the point is known. */
    miColor color(const SurfacePoint&) const { return common(&LambertParameters::color); }
    miColor transparency() const { return common(&LambertParameters::transparency); }

    /* For the functions of the SDK that read a parameter themselves. */
    template <class T>
    const T* commonAddress(T LambertParameters::* member) const {
        return &(surface().*member);
    }

    /* Calls that a surface has nothing to say to: photons pass it by. */
    bool isHandled() const { return miRAY_PHOTON(this->state()->type); }

private:
    LambertParameters& surface() const {
        if constexpr (std::same_as<P, LambertParameters>)
            return *this->block();
        else
            return this->block()->surface;
    }
};

}  // namespace lumo
