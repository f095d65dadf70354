#include "support/quasi_random.h"

#include <array>

namespace lumorender {

namespace {

constexpr std::uint32_t kGroup = 4;  // coordinates that are stratified together
constexpr std::uint32_t kBits = 32;

using Directions = std::array<std::uint32_t, kBits>;

/// Primitive polynomial and first direction numbers of a coordinate, from the table of Joe and Kuo, "Constructing Sobol
/// sequences with better two-dimensional projections", SIAM J. Sci. Comput. 30, 2008.
struct Polynomial {
    std::uint32_t degree, coefficients;
    std::array<std::uint32_t, 3> first;
};
constexpr std::array<Polynomial, kGroup - 1> kPolynomials = {{{1, 0, {1, 0, 0}}, {2, 1, {1, 3, 0}}, {3, 1, {1, 3, 1}}}};

constexpr Directions directionsOf(const Polynomial& p) {
    Directions v{};
    for (std::uint32_t i = 0; i < kBits; ++i) {
        if (i < p.degree) {
            v[i] = p.first[i] << (kBits - 1 - i);
            continue;
        }
        v[i] = v[i - p.degree] ^ (v[i - p.degree] >> p.degree);
        for (std::uint32_t k = 1; k < p.degree; ++k)
            if ((p.coefficients >> (p.degree - 1 - k)) & 1) v[i] ^= v[i - k];
    }
    return v;
}

constexpr Directions bitReversal() {
    Directions v{};
    for (std::uint32_t i = 0; i < kBits; ++i) v[i] = 1u << (kBits - 1 - i);
    return v;
}

constexpr std::array<Directions, kGroup> kDirections = {bitReversal(), directionsOf(kPolynomials[0]),
                                                        directionsOf(kPolynomials[1]), directionsOf(kPolynomials[2])};

std::uint32_t reversed(std::uint32_t x) noexcept {
    x = __builtin_bswap32(x);
    x = ((x >> 4) & 0x0f0f0f0fu) | ((x & 0x0f0f0f0fu) << 4);
    x = ((x >> 2) & 0x33333333u) | ((x & 0x33333333u) << 2);
    return ((x >> 1) & 0x55555555u) | ((x & 0x55555555u) << 1);
}

/// Owen scrambling: each bit is flipped by a hash of the bits above it. Multiplications carry from low to high bits
/// only, hence the reversals.
std::uint32_t scrambled(std::uint32_t x, std::uint32_t seed) noexcept {
    x = reversed(x);
    x ^= x * 0x3d20adeau;
    x += seed;
    x *= (seed >> 16) | 1;
    x ^= x * 0x05526c56u;
    x ^= x * 0x53a22864u;
    return reversed(x);
}

}  // namespace

std::uint32_t sobolBits(std::uint32_t index, std::uint32_t coordinate) noexcept {
    std::uint32_t bits = 0;
    for (std::uint32_t i = 0; index != 0; ++i, index >>= 1)
        if (index & 1) bits ^= kDirections[coordinate][i];
    return bits;
}

double scrambledBits(std::uint32_t bits, std::uint32_t seed) noexcept { return scrambled(bits, seed) * 0x1p-32; }

double scrambledSobol(std::uint32_t index, std::uint32_t dimension, std::uint32_t seed) noexcept {
    const std::uint32_t groupSeed = mixSeeds(seed, dimension / kGroup);
    const std::uint32_t shuffledIndex = scrambled(index, groupSeed);  // maps aligned runs to aligned runs
    return scrambledBits(sobolBits(shuffledIndex, dimension % kGroup), mixSeeds(groupSeed, 1 + dimension));
}

double orderedSobol(std::uint32_t index, std::uint32_t dimension, std::uint32_t seed) noexcept {
    return scrambledBits(sobolBits(index, dimension % kGroup), mixSeeds(seed, 1 + dimension));
}

double hashedUnit(std::uint32_t a, std::uint32_t b) noexcept {
    const std::uint64_t high = mixSeeds(a, b);
    const std::uint64_t low = mixSeeds(b ^ 0x5bd1e995u, a);
    return static_cast<double>((high << 21) ^ (low >> 11)) * 0x1p-53;
}

}  // namespace lumorender
