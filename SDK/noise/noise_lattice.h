/* What the lattice noises have in common: from a coordinate to its place in the lattice, and the spline through values.
 */
#pragma once

#include "SDK/framework/float4.h"

#include <cmath>

namespace lumo {

/* Where a value is followed by two more; t lies in 0 to 1 between the middles of a, b and of b, c. Twice the uniform
 * quadratic B-spline. The order of the operations is fixed, so that each noise rounds like every other. */
template <class Value, class Parameter>
Value spline(Value a, Value b, Value c, Parameter t) {
    const Value step = a - b;  // sums rather than products by 2: no constant to load
    return ((a - (b + b) + c) * t - (step + step)) * t + a + b;
}

/* The same for many splines at one t: half of it, then twice it, round like t itself, and need no sum of steps. `bend` is
 * a - 2 b + c. */
struct SplineParameter {
    explicit SplineParameter(float t) : half(broadcast4(0.5f * t)), twice(broadcast4(t + t)) {}

    Float4 half, twice;
};
inline Float4 bentSpline(Float4 a, Float4 b, Float4 bend, const SplineParameter& t) {
    return (bend * t.half - (a - b)) * t.twice + a + b;
}
inline Float4 spline(Float4 a, Float4 b, Float4 c, const SplineParameter& t) {
    return bentSpline(a, b, a - (b + b) + c, t);
}

/* A coordinate that cannot be placed counts as 0. */
template <class Number>
Number placeable(Number x) {
    return std::abs(x) <= Number(1e9) ? x : Number(0);
}

/* What lies above the next lower integer. It is exact but for small negative x, where it may round up to 1. */
template <class Number>
Number fraction(Number x) {
    auto integer = static_cast<std::int32_t>(x);
    integer -= x < static_cast<Number>(integer);  // signs come at random: calculating is faster than branching
    return x - static_cast<Number>(integer);
}

/* Of three coordinates; the last element is passed on. A vector of four equal limits would be made, not read. */
inline Float4 placeable4(Float4 x) {
    const Int4 mask = abs4(x) <= Float4{1e9f, 1e9f, 1e9f, 2e9f};
    if (bits4(mask) == 15) [[likely]]
        return x;
    return orZero4(mask, x);
}

/* Four coordinates as floats. It is the double that must be placeable; a float well inside the range says enough. */
inline Float4 placeable4(double x, double y, double z, double w) {
    using Double4 = double __attribute__((vector_size(32)));
    const Float4 point = __builtin_convertvector((Double4{x, y, z, w}), Float4);
    if (bits4(point * point < Float4{9e17f, 9e17f, 9e17f, 8e17f}) == 15) [[likely]]
        return point;
    return Float4{static_cast<float>(placeable(x)), static_cast<float>(placeable(y)), static_cast<float>(placeable(z)),
                  static_cast<float>(placeable(w))};
}

/* The fractions of four coordinates. */
inline Float4 fraction4(Float4 x) {
    const Float4 integer = toFloat4(truncate4(x));
    return x - integer + orZero4(x < integer, broadcast4(1));
}

}  // namespace lumo
