/* Smooth noise: random gradients on the integer lattice, blended between the corners of a cell. It is 0 at the lattice
   points and has continuous first and second derivatives.
   Source: Perlin, "Improving Noise", SIGGRAPH 2002, for the blend; the gradients come from a hash of our own instead of
   a permutation table, so the pattern does not repeat, and the value is scaled to fill -1 to 1 without leaving it. */
#include "shader.h"
#include "support/quasi_random.h"

#include <array>
#include <cmath>
#include <cstdint>

namespace {

template <int D>
using Vec = std::array<float, D>;

/// Blend from 0 to 1 and its derivative.
float fade(float t) { return t * t * t * (t * (t * 6 - 15) + 10); }

float fadeSlope(float t) { return 30 * t * t * (t * (t - 2) + 1); }

/// Gradients. Scales bound the noise: where all corners pull together, unit gradients reach 1/2 in one dimension and
/// 1/sqrt(2) in two; in three the twelve edge directions of length sqrt(2) reach 1.0364.
Vec<1> gradient(std::uint32_t hash, Vec<1>) { return {static_cast<float>(hash) * 0x1p-30f - 2.0f}; }

Vec<2> gradient(std::uint32_t hash, Vec<2>) {
    constexpr float kLong = 1.41421356f;
    constexpr std::array<Vec<2>, 8> kDirections = {
        {{1, 1}, {-1, 1}, {1, -1}, {-1, -1}, {kLong, 0}, {-kLong, 0}, {0, kLong}, {0, -kLong}}};
    return kDirections[hash >> 29];
}

Vec<3> gradient(std::uint32_t hash, Vec<3>) {
    constexpr float k = 0.9649f;
    constexpr std::array<Vec<3>, 12> kEdges = {{{k, k, 0},
                                                {-k, k, 0},
                                                {k, -k, 0},
                                                {-k, -k, 0},
                                                {k, 0, k},
                                                {-k, 0, k},
                                                {k, 0, -k},
                                                {-k, 0, -k},
                                                {0, k, k},
                                                {0, -k, k},
                                                {0, k, -k},
                                                {0, -k, -k}}};
    return kEdges[(std::uint64_t{hash} * 12) >> 32];
}

template <int D>
struct Noise {
    float value = 0;
    Vec<D> slope{};
};

/// @return noise in [-1, 1] and its gradient. Where coordinates have no fraction left (2^22 and more, infinity) or are
/// not numbers, the noise is 0.
template <int D>
Noise<D> noise(const Vec<D>& position) {
    std::array<std::int32_t, D> cell;
    Vec<D> inside, blend, blendSlope;
    for (std::size_t k = 0; k < D; ++k) {
        if (!(std::fabs(position[k]) < 0x1p22f)) return {};
        const float low = std::floor(position[k]);
        cell[k] = static_cast<std::int32_t>(low);
        inside[k] = position[k] - low;
        blend[k] = fade(inside[k]);
        blendSlope[k] = fadeSlope(inside[k]);
    }

    // Every corner contributes its gradient's ramp, weighted by the product of the blends.
    Noise<D> sum;
    for (unsigned corner = 0; corner < 1u << D; ++corner) {
        std::uint32_t hash = D;
        float weight = 1;
        Vec<D> offset;
        for (std::size_t k = 0; k < D; ++k) {
            const bool high = (corner >> k) & 1;
            hash = lumorender::mixSeeds(hash, static_cast<std::uint32_t>(cell[k] + high));
            offset[k] = inside[k] - (high ? 1.0f : 0.0f);
            weight *= high ? blend[k] : 1 - blend[k];
        }
        const Vec<D> g = gradient(hash, offset);
        float ramp = 0;
        for (std::size_t k = 0; k < D; ++k) ramp += g[k] * offset[k];
        sum.value += weight * ramp;

        // Product rule: slope of the ramp, and of the weight along each axis.
        for (std::size_t k = 0; k < D; ++k) {
            float otherWeights = (corner >> k) & 1 ? blendSlope[k] : -blendSlope[k];
            for (std::size_t j = 0; j < D; ++j)
                if (j != k) otherWeights *= (corner >> j) & 1 ? blend[j] : 1 - blend[j];
            sum.slope[k] += weight * g[k] + otherWeights * ramp;
        }
    }
    return sum;
}

/// The same from 0 to 1.
template <int D>
Noise<D> unsignedNoise(const Vec<D>& position) {
    Noise<D> n = noise<D>(position);
    n.value = 0.5f + 0.5f * n.value;
    for (float& slope : n.slope) slope *= 0.5f;
    return n;
}

miScalar withSlope(const Noise<2>& n, miScalar* slopeU, miScalar* slopeV) {
    *slopeU = n.slope[0];
    *slopeV = n.slope[1];
    return n.value;
}

miScalar withSlope(const Noise<3>& n, miVector* slope) {
    *slope = {n.slope[0], n.slope[1], n.slope[2]};
    return n.value;
}

Vec<3> positionOf(const miVector* point) { return {point->x, point->y, point->z}; }

}  // namespace

extern "C" {

miScalar mi_noise_1d(miScalar u) { return noise<1>({u}).value; }

miScalar mi_noise_2d(miScalar u, miScalar v) { return noise<2>({u, v}).value; }

miScalar mi_noise_3d(miVector* point) { return noise<3>(positionOf(point)).value; }

miScalar mi_noise_1d_grad(miScalar u, miScalar* slope) {
    const Noise<1> n = noise<1>({u});
    *slope = n.slope[0];
    return n.value;
}

miScalar mi_noise_2d_grad(miScalar u, miScalar v, miScalar* slopeU, miScalar* slopeV) {
    return withSlope(noise<2>({u, v}), slopeU, slopeV);
}

miScalar mi_noise_3d_grad(miVector* point, miVector* slope) { return withSlope(noise<3>(positionOf(point)), slope); }

miScalar mi_unoise_1d(miScalar u) { return unsignedNoise<1>({u}).value; }

miScalar mi_unoise_2d(miScalar u, miScalar v) { return unsignedNoise<2>({u, v}).value; }

miScalar mi_unoise_3d(miVector* point) { return unsignedNoise<3>(positionOf(point)).value; }

miScalar mi_unoise_1d_grad(miScalar u, miScalar* slope) {
    const Noise<1> n = unsignedNoise<1>({u});
    *slope = n.slope[0];
    return n.value;
}

miScalar mi_unoise_2d_grad(miScalar u, miScalar v, miScalar* slopeU, miScalar* slopeV) {
    return withSlope(unsignedNoise<2>({u, v}), slopeU, slopeV);
}

miScalar mi_unoise_3d_grad(miVector* point, miVector* slope) {
    return withSlope(unsignedNoise<3>(positionOf(point)), slope);
}

}  // extern "C"
