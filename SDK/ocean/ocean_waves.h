/* The waves of a sea: a table of many waves of all lengths, longest first, made from what artists say of the sea.
 *
 * All lengths are in metres, times in seconds. The same settings give the same table on all threads: directions and
 * phases come from an integer hash of the wave's number and the seed.
 */
#pragma once

#include "SDK/lumo.h"

namespace lumo {

enum OceanSpectrum : miInteger { kOceanFree = 0, kOceanPhillips = 1, kOceanPiersonMoskowitz = 2, kOceanJonswap = 3 };

/* What is no number, or out of range, is brought into it when the table is made. */
struct OceanSettings {
    miInteger count = 64;                    /* of waves, 1 to kMostWaves */
    miInteger seed = 0;                      /* other seas of the same kind */
    miScalar shortest = 0.1f, longest = 100; /* wavelengths, above 0; in any order */
    miInteger spectrum = kOceanFree;         /* how high waves of each length are; see the source */
    miScalar windSpeed = 10, fetch = 100000; /* for spectra; the fetch is the way that the wind had over the water */
    miScalar windDirection = 0, windSpread = 30; /* degrees from x towards z, and largest deviation; 0 to 180 */
    miScalar waterDepth = 0;                     /* not above 0: deep */
    miScalar time = 0;
    miScalar observerSpeed = 0; /* with the wind: the place moves along the waves */
    /* Over the logarithm of the wavelength, 0 the shortest, 1 the longest; a ramp without entries is 1 everywhere. */
    miScalar height = 1, turbulence = 0, peaking = 0;
    const LumoRamp* heightRamp = nullptr;
    const LumoRamp* turbulenceRamp = nullptr;
    const LumoRamp* peakingRamp = nullptr;
};

/* Angular frequency of a free wave, 1 / s, of wave number k, 1 / m: w^2 = (g k + s k^3) tanh(k h) for gravity and the
 * tension of the water's surface. `depth` not above 0: deep. Source: H. Lamb, "Hydrodynamics", 1932. */
double oceanFrequency(double k, double depth);

/* Share of an octave of free waves of height 1 in the sea: the standard deviation of the height over the length. An
 * octave of it is about as steep as waves get before they break. */
inline constexpr double kFreeSteepness = 1.0 / 50;

/* Variance of the height per unit of ln k, m^2, of waves of wave number k. Sources: J. Tessendorf, "Simulating Ocean
 * Water", 2001, for Phillips' spectrum, scaled to the heights of the next one; W. J. Pierson and L. Moskowitz, "A
 * Proposed Spectral Form for Fully Developed Wind Seas", 1964, with the wind at 19.5 m; K. Hasselmann et al.,
 * "Measurements of Wind-Wave Growth and Swell Decay during the Joint North Sea Wave Project", 1973. */
double oceanVariance(OceanSpectrum spectrum, double k, double windSpeed, double fetch);

/* A plain record of floats, without alignment beyond theirs: objects of shaders hold it, or a stack does. */
class OceanWaves {
public:
    static constexpr int kMostWaves = 256, kLanes = 4, kMostGroups = kMostWaves / kLanes;

    /* Variances of what the waves from one group on do: slopes, and how much they fold the surface. */
    struct Slopes {
        miScalar xx = 0, xz = 0, zz = 0, fold = 0;
    };

    void build(const OceanSettings& settings);

    int groups() const { return groups_; }
    bool isPeaked() const { return peaked_; }         /* whether any wave moves the surface sideways */
    miScalar deviation() const { return deviation_; } /* standard deviation of the height, m */

    /* Of four waves each: what one group needs lies together. The argument of a wave at (x, z) is turnsX x + turnsZ z +
     * turns, in turns: far from the origin a float would have lost the wave. */
    struct Group {
        double turnsX[kLanes], turnsZ[kLanes], turns[kLanes];
        miScalar kx[kLanes], kz[kLanes];
        miScalar amplitude[kLanes];
        miScalar moveX[kLanes], moveZ[kLanes]; /* sideways, against the direction of the wave */
    };
    const Group& group(int i) const { return table_[i]; }
    const Slopes& slopesFrom(int group) const { return from_[group]; }
    miScalar leastSquaredK(int group) const { return least_[group]; } /* never falls from group to group */

private:
    void addWave(const OceanSettings& settings, int number, int count);
    void sumUp();

    int groups_ = 0;
    bool peaked_ = false;
    miScalar deviation_ = 0;
    Group table_[kMostGroups];
    Slopes from_[kMostGroups + 1];
    miScalar least_[kMostGroups];
};

}  // namespace lumo
