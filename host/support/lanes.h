// Vectors in single precision, four numbers at a time: the three coordinates are computed together, each as it would be
// alone.
#pragma once

#include "mi/types.h"

#include <cstdint>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace lumorender {

using Lanes = float __attribute__((vector_size(16)));
using Words = std::uint32_t __attribute__((vector_size(16)));  ///< four numbers as they lie in memory

inline Lanes lanes(const miVector& v) {
#if defined(__SSE2__)
    const __m128 xy = _mm_castpd_ps(_mm_load_sd(reinterpret_cast<const double*>(&v.x)));
    return _mm_movelh_ps(xy, _mm_load_ss(&v.z));
#else
    return Lanes{v.x, v.y, v.z, 0};
#endif
}
inline Lanes allLanes(float value) { return Lanes{value, value, value, value}; }
inline miVector vectorOf(Lanes v) { return {v[0], v[1], v[2]}; }

}  // namespace lumorender
