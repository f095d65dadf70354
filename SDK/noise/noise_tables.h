/* The constant tables of all noise functions. noise/generate_tables.py made them. */
#pragma once

#include <array>
#include <cstdint>

namespace lumo {

inline constexpr int kNoiseValueCount = 65535;

/* The value noises' lattices wrap after this many points along each axis. */
inline constexpr int kLatticeSide = 32;

/* Their values, repeated beyond the ends: entry 0 belongs to point -1, and there is one for each neighbour of points 0
 * to 32. Along the last axis four may be loaded from each. So no index is wrapped, and no cell is at an end. */
inline constexpr int kLatticeColumns = kLatticeSide + 3, kLatticeRow = kLatticeSide + 4;
inline constexpr int kLatticePlane = kLatticeColumns * kLatticeRow;

/* Each value in them is multiplied by one half per axis, as a spline is twice what it should be: that rounds nothing. */
inline constexpr float kSquareScale = 0.25f, kCubeScale = 0.125f;

struct NoiseSquare {
    float values[kLatticePlane]; /* of x, y: at x * kLatticeRow + y */
};
struct NoiseCube {
    float values[kLatticeColumns * kLatticePlane]; /* of x, y, z: at y * kLatticePlane + x * kLatticeRow + z */
};

extern const std::array<float, kNoiseValueCount> kNoiseValues;
extern const NoiseSquare kNoiseSquare;
extern const NoiseCube kNoiseCube;

/* a - 2 b + c of each entry and the two behind it along x, in the order of the splines' sums. */
extern const NoiseSquare kNoiseSquareBends;
extern const NoiseCube kNoiseCubeBends;

/* Of 0 to 255, twice in a row. */
inline constexpr std::array<std::uint8_t, 512> kNoisePermutation = {
#include "SDK/noise/permutation_table.inc"
#include "SDK/noise/permutation_table.inc"
};

/* Entry |i|, wrapped. */
inline float noiseValue(std::int32_t i) {
    const auto bits = static_cast<std::uint32_t>(i);
    return kNoiseValues[(i < 0 ? 0 - bits : bits) % std::uint32_t{kNoiseValueCount}];
}

}  // namespace lumo
