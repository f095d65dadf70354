#include "SDK/noise/noise_tables.h"

namespace lumo {

constinit const std::array<float, kNoiseValueCount> kNoiseValues = {
#include "value_table.inc"
};

constinit const std::array<std::uint8_t, 256> kNoisePermutation = {
#include "permutation_table.inc"
};

}  // namespace lumo
