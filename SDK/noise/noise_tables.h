/* The constant tables of all noise functions. noise/generate_tables.py made them. */
#pragma once

#include <array>
#include <cstdint>

namespace lumo {

inline constexpr int kNoiseValueCount = 65535;

extern const std::array<float, kNoiseValueCount> kNoiseValues;
extern const std::array<std::uint8_t, 256> kNoisePermutation;

}  // namespace lumo
