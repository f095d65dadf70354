/* Direct access to the table of values, and the seeded generator. */
#include "SDK/lumo.h"
#include "SDK/noise/noise_tables.h"

namespace lumo {
namespace {

constexpr miUint kCount = kNoiseValueCount;

miUint advance(miUint* seed) { return *seed = (*seed * 25173 + 13849) & 0xFFFF; }

}  // namespace
}  // namespace lumo

miScalar noise_table_scalar(miInteger i) { return lumo::noiseValue(i); }

miVector* noise_table_vector(miVector* result, miInteger i) {
    using lumo::kCount, lumo::kNoiseValues;
    const miUint bits = static_cast<miUint>(i);
    const miUint first = (i == -2 || i == -1 ? bits + kCount : bits) % kCount;
    *result = {kNoiseValues[first], kNoiseValues[(first + 1) % kCount], kNoiseValues[(first + 2) % kCount]};
    return result;
}

double noise_drand(miUint* seed) { return lumo::advance(seed) / 65535.0; }

miScalar noise_frand(miUint* seed) { return static_cast<miScalar>(lumo::advance(seed)) / 65535.0f; }
