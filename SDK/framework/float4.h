/* Four floats at a time. Only operations that round each element as a single float is rounded, so that the results are
 * the same bits as one by one, on every machine.
 */
#pragma once

#include <cstdint>
#include <cstring>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace lumo {

using Float4 = float __attribute__((vector_size(16)));
using Int4 = std::int32_t __attribute__((vector_size(16)));

/* No alignment is needed. */
inline Float4 load4(const float* from) {
    Float4 result;
    std::memcpy(&result, from, sizeof result);
    return result;
}

inline void store4(float* to, Float4 value) { std::memcpy(to, &value, sizeof value); }

inline Float4 broadcast4(float value) { return Float4{value, value, value, value}; }

/* As a conversion in C: towards zero. */
inline Int4 truncate4(Float4 value) { return __builtin_convertvector(value, Int4); }
inline Float4 toFloat4(Int4 value) { return __builtin_convertvector(value, Float4); }

/* The value where the mask, the result of a comparison, is set; elsewhere 0, and elsewhere no number. */
inline Float4 orZero4(Int4 mask, Float4 value) {
    return reinterpret_cast<Float4>(mask & reinterpret_cast<Int4>(value));
}
inline Float4 orNaN4(Int4 mask, Float4 value) {
    return reinterpret_cast<Float4>(~mask | reinterpret_cast<Int4>(value));
}

inline Float4 abs4(Float4 v) { return reinterpret_cast<Float4>(reinterpret_cast<Int4>(v) & 0x7FFFFFFF); }

/* The greater one; where one is not a number, the second. */
inline Float4 max4(Float4 a, Float4 b) { return a > b ? a : b; }
inline Float4 min4(Float4 a, Float4 b) { return a < b ? a : b; }

/* Bit k is set where element k of the mask is. */
inline unsigned bits4(Int4 mask) {
#if defined(__SSE2__)
    return static_cast<unsigned>(_mm_movemask_ps(reinterpret_cast<__m128>(mask)));
#else
    const Int4 bits = mask & Int4{1, 2, 4, 8};
    return static_cast<unsigned>(bits[0] | bits[1] | bits[2] | bits[3]);
#endif
}

}  // namespace lumo
