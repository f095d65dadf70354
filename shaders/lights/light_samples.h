/* Points on a square or a disc that cover it evenly, however few of them are used. */
#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <numbers>
#include <utility>

#include <shader.h>

namespace lumo {

struct SquarePoint {
    double u, v; /* 0 to 1 */
};

struct DiscPoint {
    double x, y; /* within 1 of the center */
};

/* From the unit square, rings of equal area for squares around its center (Shirley and Chiu 1997). */
inline DiscPoint toDisc(const SquarePoint& at) {
    constexpr double kQuarter = std::numbers::pi / 4;
    const double a = 2 * at.u - 1, b = 2 * at.v - 1;
    if (a == 0 && b == 0) return {0, 0};
    const bool wide = std::fabs(a) > std::fabs(b);
    const double radius = wide ? a : b;
    const double angle = wide ? kQuarter * (b / a) : 2 * kQuarter - kQuarter * (a / b);
    return {radius * std::cos(angle), radius * std::sin(angle)};
}

/* The first two dimensions of Sobol's sequence, in which each first 2^k points are stratified in all ways at once, with
 * the digits scrambled (Owen 1995, by the hash of Laine and Karras 2011). Pixels, and points that bent rays meet,
 * scramble differently, so that neighbours do not repeat each other's errors and the eye sees fine grain, not bands. */
class LightSamples {
public:
    /* For one sample of a light with so many rays. Where eye rays end, the samples that the renderer numbers go on with
     * one sequence in all of the pixel, so that together they cover the light evenly. Of other points one eye sample
     * may have many, which must not repeat each other: they are told apart by where they are. Lights are told apart by
     * their place among what the sample asks for, not by tags, which are others when the same scene is read otherwise.
     */
    LightSamples(miState* state, std::uint32_t rays) {
        if (state->qmc_instance != 0 && state->parent && isEndOfEyeRay(*state->parent)) {
            first_ = state->qmc_instance * rays;
            stir(std::floor(state->raster_x));
            stir(std::floor(state->raster_y));
        } else {
            for (const miScalar word :
                 {state->raster_x, state->raster_y, state->point.x, state->point.y, state->point.z, state->time})
                stir(word);
        }
        stir(static_cast<miScalar>(numberOfPlace(state)));
        stir(static_cast<std::uint32_t>(state->count));
    }

    SquarePoint operator[](std::uint32_t number) const {
        const std::uint32_t index = first_ + number;
        const std::uint32_t x = scrambled(reversed(index), seed_);
        const std::uint32_t y = scrambled(secondDimension(index), hash(seed_ ^ 0x9e3779b9u));
        return {unit(x), unit(y)};
    }

private:
    /* What the renderer draws first in the state: another number for each light that a point asks for, and, without the
     * number of the sample, the same in all samples of a pixel. */
    static double numberOfPlace(miState* state) {
        const miUint sample = std::exchange(state->qmc_instance, 0);
        double number = 0;
        int taken = 0;
        mi_sample(&number, &taken, state, 1, nullptr);
        state->qmc_instance = sample;
        return number;
    }

    /* Light below surfaces is asked for elsewhere, with the state of the ray that met the surface. */
    static bool isEndOfEyeRay(const miState& lit) {
        constexpr double kNear = 1e-3;
        if (lit.type != miRAY_EYE) return false;
        const double x = lit.org.x + lit.dist * lit.dir.x - lit.point.x;
        const double y = lit.org.y + lit.dist * lit.dir.y - lit.point.y;
        const double z = lit.org.z + lit.dist * lit.dir.z - lit.point.z;
        return std::max({std::fabs(x), std::fabs(y), std::fabs(z)}) <= kNear * lit.dist;
    }

    void stir(miScalar word) { stir(std::bit_cast<std::uint32_t>(word)); }
    void stir(std::uint32_t word) { seed_ = hash(seed_ * 0x01000193u ^ word); }

    /* Every bit of the result depends on every bit of the argument. */
    static constexpr std::uint32_t hash(std::uint32_t x) {
        x = (x ^ (x >> 16)) * 0x7feb352du;
        x = (x ^ (x >> 15)) * 0x846ca68bu;
        return x ^ (x >> 16);
    }

    static constexpr std::uint32_t reversed(std::uint32_t x) {
        x = (x & 0x55555555u) << 1 | (x >> 1 & 0x55555555u);
        x = (x & 0x33333333u) << 2 | (x >> 2 & 0x33333333u);
        x = (x & 0x0f0f0f0fu) << 4 | (x >> 4 & 0x0f0f0f0fu);
        return __builtin_bswap32(x);
    }

    static constexpr std::uint32_t secondDimension(std::uint32_t index) {
        std::uint32_t result = 0;
        for (std::uint32_t column = 1u << 31; index; index >>= 1, column ^= column >> 1)
            if (index & 1) result ^= column;
        return result;
    }

    /* Flips each binary digit by a hash of the digits before it. */
    static constexpr std::uint32_t scrambled(std::uint32_t x, std::uint32_t seed) {
        x = reversed(x) + seed;
        for (const std::uint32_t factor : {0x6c50b47cu, 0xb82f1e52u, 0xc7afe638u, 0x8d22f6e6u}) x ^= x * factor;
        return reversed(x);
    }

    static constexpr double unit(std::uint32_t x) { return (x + 0.5) / 4294967296.0; }

    std::uint32_t seed_ = 0, first_ = 0;
};

}  // namespace lumo
