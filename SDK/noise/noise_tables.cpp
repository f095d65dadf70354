#include "SDK/noise/noise_tables.h"

#include <cstddef>

namespace lumo {
namespace {

/* Number of the lattice point that an entry belongs to, with the step between points along its axis. */
constexpr std::size_t point(int entry, int step) {
    return static_cast<std::size_t>((entry + kLatticeSide - 1) % kLatticeSide * step);
}

}  // namespace

constexpr std::array<float, kNoiseValueCount> kNoiseValues = {
#include "value_table.inc"
};

constinit const std::array<std::uint8_t, 256> kNoisePermutation = {
#include "permutation_table.inc"
};

constinit const NoiseSquare kNoiseSquare = [] {
    NoiseSquare square{};
    for (int x = 0; x < kLatticeColumns; ++x)
        for (int y = 0; y < kLatticeRow; ++y)
            square.values[x * kLatticeRow + y] = kNoiseValues[point(x, 1) + point(y, kLatticeSide)];
    return square;
}();

constinit const NoiseCube kNoiseCube = [] {
    constexpr int kPlane = kLatticeSide * kLatticeSide;
    NoiseCube cube{};
    for (int y = 0; y < kLatticeColumns; ++y)
        for (int x = 0; x < kLatticeColumns; ++x)
            for (int z = 0; z < kLatticeRow; ++z)
                cube.values[y * kLatticePlane + x * kLatticeRow + z] =
                    kNoiseValues[point(x, 1) + point(y, kLatticeSide) + point(z, kPlane)];
    return cube;
}();

}  // namespace lumo
