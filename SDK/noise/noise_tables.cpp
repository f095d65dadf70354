#include "SDK/noise/noise_tables.h"

#include <cstddef>
#include <iterator>

namespace lumo {
namespace {

/* Number of the lattice point that an entry belongs to, with the step between points along its axis. */
constexpr std::size_t point(int entry, int step) {
    return static_cast<std::size_t>((entry + kLatticeSide - 1) % kLatticeSide * step);
}

template <class Lattice>
constexpr Lattice bends(const Lattice& lattice) {
    Lattice result{};
    for (std::size_t i = 0; i + 2 * kLatticeRow < std::size(lattice.values); ++i) {
        const float a = lattice.values[i], b = lattice.values[i + kLatticeRow];
        result.values[i] = a - (b + b) + lattice.values[i + 2 * kLatticeRow];
    }
    return result;
}

}  // namespace

constexpr std::array<float, kNoiseValueCount> kNoiseValues = {
#include "value_table.inc"
};

constexpr NoiseSquare kNoiseSquare = [] {
    NoiseSquare square{};
    for (int x = 0; x < kLatticeColumns; ++x)
        for (int y = 0; y < kLatticeRow; ++y)
            square.values[x * kLatticeRow + y] = kSquareScale * kNoiseValues[point(x, 1) + point(y, kLatticeSide)];
    return square;
}();

constexpr NoiseCube kNoiseCube = [] {
    constexpr int kPlane = kLatticeSide * kLatticeSide;
    NoiseCube cube{};
    for (int y = 0; y < kLatticeColumns; ++y)
        for (int x = 0; x < kLatticeColumns; ++x)
            for (int z = 0; z < kLatticeRow; ++z)
                cube.values[y * kLatticePlane + x * kLatticeRow + z] =
                    kCubeScale * kNoiseValues[point(x, 1) + point(y, kLatticeSide) + point(z, kPlane)];
    return cube;
}();

constinit const NoiseSquare kNoiseSquareBends = bends(kNoiseSquare);
constinit const NoiseCube kNoiseCubeBends = bends(kNoiseCube);

}  // namespace lumo
