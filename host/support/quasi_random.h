// Seeds and low-discrepancy points: everything random in a render comes from here, so that the same scene gives the
// same bits whatever thread computes a sample.
//
// A state carries two words. `qmc_instance` is the running number of the eye sample within its pixel; `pad` is the seed
// of the next random decision. States at the same place of the ray tree have the same seeds in all samples of a pixel
// and differ in the number only: together their points are one well stratified sequence. `qmc_component` is
// kOrderedComponent where the first decision may be stratified together with the sample's place in the pixel.
#pragma once

#include "mi/state.h"

#include <cstdint>

namespace lumorender {

/// Finalizer with full avalanche and low bias ("lowbias32", found by automated search).
constexpr std::uint32_t hashedWord(std::uint32_t x) noexcept {
    x ^= x >> 16;
    x *= 0x7feb352du;
    x ^= x >> 15;
    x *= 0x846ca68bu;
    return x ^ (x >> 16);
}

/// Mixes two words to one in which every bit depends on every bit of both.
constexpr std::uint32_t mixSeeds(std::uint32_t a, std::uint32_t b) noexcept {
    return hashedWord(hashedWord(a + 0x9e3779b9u) ^ (b * 0x85ebca6bu + 0xc2b2ae35u));
}

constexpr miUchar kOrderedComponent = 1;

/// Sets the words of an eye state. Neighbouring pixels need different `pixelSeed`s; mixSeeds(x, y) will do.
/// @param ordered whether the sample lies in the cell of its pixel where point `sampleNumber` of Sobol' sequence does,
///     of which the first coordinate is y
inline void seedEyeState(miState& state, std::uint32_t pixelSeed, std::uint32_t sampleNumber,
                         bool ordered = false) noexcept {
    state.qmc_instance = sampleNumber;
    state.qmc_component = ordered ? kOrderedComponent : 0;
    state.pad = mixSeeds(pixelSeed, 0);
}

/// Full period: no seed repeats within a state.
constexpr std::uint32_t nextSeed(std::uint32_t seed) noexcept { return seed * 747796405u + 2891336453u; }

/// The seed for one random decision of the state: another one with each call.
inline std::uint32_t takeSeed(miState& state) noexcept {
    state.pad = nextSeed(state.pad);
    return mixSeeds(state.pad, state.qmc_component);
}

/// Gives the state of a sub-ray a seed of its own, and the parent another one for its next sub-ray.
inline void seedChildState(miState& child, miState& parent) noexcept {
    parent.pad = nextSeed(parent.pad);
    child.qmc_instance = parent.qmc_instance;
    child.qmc_component = 0;
    child.pad = hashedWord(parent.pad ^ 0x68bc21ebu);
}

/// Coordinate `dimension` of point `index`, in [0, 1). For one seed, any aligned run of 2^k indices has exactly one
/// point in each of the 2^k strata of every coordinate, and is a Sobol' net in each group of four coordinates. Source:
/// Burley, "Practical Hash-based Owen Scrambling", JCGT 9(4), 2020; groups of four are shuffled independently.
double scrambledSobol(std::uint32_t index, std::uint32_t dimension, std::uint32_t seed) noexcept;

/// The same, where points keep their order. With places of samples that follow the sequence (y first), the first
/// coordinate is stratified together with x, and the second one with y: what moves a picture to the sides, as lenses do,
/// has less noise. For one decision only: two that kept the order would go together.
double orderedSobol(std::uint32_t index, std::uint32_t dimension, std::uint32_t seed) noexcept;

/// Coordinate 0..3 of a point of Sobol' sequence as it is, as 32 bits behind the binary point. Of the first 2^2k points
/// one lies in each cell of a grid of 2^k x 2^k over the first two coordinates, and their numbers in units of 2^-2k are a
/// third coordinate that makes them a net.
std::uint32_t sobolBits(std::uint32_t index, std::uint32_t dimension) noexcept;

/// Owen scrambling of 32 bits behind the binary point: nets stay nets.
double scrambledBits(std::uint32_t bits, std::uint32_t seed) noexcept;

/// A number in [0, 1) with 53 random bits that depend on both words.
double hashedUnit(std::uint32_t a, std::uint32_t b) noexcept;

}  // namespace lumorender
