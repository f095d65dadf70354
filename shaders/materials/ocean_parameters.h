/* The parameters of lumoVexaOceanShader, and the waves that they make. */
#pragma once

#include "SDK/noise/ramp_parameters.h"
#include "SDK/ocean/ocean_waves.h"
#include "SDK/surface/surface_gloss.h"

#include <algorithm>

namespace lumo {

struct OceanShaderParameters {
    LambertParameters surface;
    GlossParameters gloss;
    miScalar eccentricity;
    miColor waterAbsorption;
    miScalar troughShadowing;
    miInteger space;
    miScalar scale, time;
    miInteger waveCount, seed;
    miScalar shortestWave, longestWave;
    miInteger spectrum;
    miScalar windSpeed, fetch, windDirection, windSpread, waterDepth, observerSpeed;
    miScalar waveHeight, waveTurbulence, wavePeaking;
    ScalarRampParameter heightRamp, turbulenceRamp, peakingRamp;
    miScalar filterSize;
    miBoolean isDisplaced;
    miScalar shortestDisplacedWave;
    miInteger foamSource;
    miScalar foamThreshold, foamEmission, foamOffset;
    miColor foamColor;
};

enum OceanSpace : miInteger { kOceanObject = 0, kOceanWorld = 1, kOceanTexture = 2 };
enum FoamSource : miInteger { kFoamByFolding = 0, kFoamByHeight = 1 };

/* Reads what makes the waves. */
class OceanSettingsHelper : public GlossHelper<OceanShaderParameters> {
public:
    using GlossHelper::GlossHelper;
    using P = OceanShaderParameters;

    /* Where nothing that the waves depend on is connected, they are the same at every call. */
    bool wavesAreFixed() const {
        const auto anyConnected = [this](auto... members) { return (this->isConnected(members) || ...); };
        return !anyConnected(&P::time, &P::waveCount, &P::seed, &P::shortestWave, &P::longestWave, &P::spectrum,
                             &P::windSpeed, &P::fetch, &P::windDirection, &P::windSpread, &P::waterDepth,
                             &P::observerSpeed, &P::waveHeight, &P::waveTurbulence, &P::wavePeaking) &&
               !rampIsConnected(&P::heightRamp) && !rampIsConnected(&P::turbulenceRamp) &&
               !rampIsConnected(&P::peakingRamp);
    }

    void buildWaves(OceanWaves& waves) const {
        LumoRamp ramps[3];
        OceanSettings settings;
        settings.heightRamp = read(&P::heightRamp, ramps[0]);
        settings.turbulenceRamp = read(&P::turbulenceRamp, ramps[1]);
        settings.peakingRamp = read(&P::peakingRamp, ramps[2]);
        settings.count = (*this)(&P::waveCount);
        settings.seed = (*this)(&P::seed);
        settings.shortest = (*this)(&P::shortestWave);
        settings.longest = (*this)(&P::longestWave);
        settings.spectrum = (*this)(&P::spectrum);
        settings.windSpeed = (*this)(&P::windSpeed);
        settings.fetch = (*this)(&P::fetch);
        settings.windDirection = (*this)(&P::windDirection);
        settings.windSpread = (*this)(&P::windSpread);
        settings.waterDepth = (*this)(&P::waterDepth);
        settings.time = (*this)(&P::time);
        settings.observerSpeed = (*this)(&P::observerSpeed);
        settings.height = (*this)(&P::waveHeight);
        settings.turbulence = (*this)(&P::waveTurbulence);
        settings.peaking = (*this)(&P::wavePeaking);
        waves.build(settings);
    }

    /* Metres in a unit of the space that the waves are given in. */
    miScalar metres() const {
        const miScalar scale = (*this)(&P::scale);
        return scale > 0 && std::isfinite(scale) ? scale : 1;
    }

private:
    const LumoRamp* read(ScalarRampParameter P::* group, LumoRamp& ramp) const {
        ramp_constructor(&ramp, state(), &(block()->*group), 0);
        return &ramp;
    }

    bool rampIsConnected(ScalarRampParameter P::* group) const {
        ScalarRampParameter& ramp = block()->*group;
        if (isConnectedAddress(&ramp.start) || isConnectedAddress(&ramp.count)) return true;
        const auto entries = elementsOf(ramp);
        return std::any_of(entries.begin(), entries.end(), [this](RampScalarEntry& entry) {
            return isConnectedAddress(&entry.position) || isConnectedAddress(&entry.value) ||
                   isConnectedAddress(&entry.interpolation);
        });
    }
};

}  // namespace lumo
