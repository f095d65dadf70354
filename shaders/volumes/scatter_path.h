/* What an eye sees of the media along its ray: transmittance, emission, and where light is scattered into the ray. */
#pragma once

#include "shaders/volumes/marching.h"

namespace lumo {

/* A place at which lights are asked, and what their light is worth at the eye there. */
struct ScatterPoint {
    double t;
    miColor weight; /* times the phase function and the light: radiance */
    miScalar meanCosine;
};

/* Takes pieces from front to back. Afterwards points are drawn with a density proportional to what the pieces scatter
 * towards the eye, so that few of them do, however the media are distributed (decoupled ray marching, Kulla and Fajardo
 * 2012). */
class ScatterPath {
public:
    static constexpr bool kExtinctionOnly = false;
    static constexpr double kCoarseness = 1;

    explicit ScatterPath(double quality) : leastTransmittance_(static_cast<miScalar>(1e-3 / std::max(quality, 1.0))) {}

    miScalar transmittance() const { return largestChannel(left_); }
    bool take(const Stretch& piece, const Coefficients& mean);

    /* Of all pieces. What is nearly opaque counts as opaque. */
    const miColor& transmission() const { return left_; }
    const miColor& emission() const { return emission_; }
    bool scatters() const { return count_ > 0; }

    /* How many points show the light on the path with an error that the quality allows. */
    int pointCount(double quality) const;

    /* The points number 0 .. count - 1, spread evenly over what is scattered; `jitter`, 0 to 1, shifts them all. */
    ScatterPoint point(int number, int count, double jitter) const;

private:
    struct Piece {
        Stretch stretch;
        miColor before; /* transmittance up to here */
        miColor extinction, scattering;
        miScalar meanCosine;
        double scattered; /* mean channel; of all pieces up to the end of this one */
    };
    static constexpr std::size_t kCapacity = 192;

    void keep(const Piece& piece);
    void joinPairs();

    const miScalar leastTransmittance_;
    miColor left_ = {1, 1, 1, 1}, emission_ = kBlack;
    Piece pieces_[kCapacity];
    std::size_t count_ = 0;
};

}  // namespace lumo
