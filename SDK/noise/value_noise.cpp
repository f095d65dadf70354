/* The value noises, in four rows of values at a time where the lattice has more than one dimension. */
#include "SDK/lumo.h"
#include "SDK/noise/noise_lattice.h"
#include "SDK/noise/noise_tables.h"

#include <algorithm>
#include <cstddef>

namespace lumo {
namespace {

/* Lattices wrap after 32 cells, whatever part of a period a cell is. */
constexpr int kAxisBits = 5;
constexpr int kAxisMask = (1 << kAxisBits) - 1;

/* Cell and place in the cell, along four axes. */
struct LatticePoint {
    /* `cells` is the number of cells in a period of each axis. */
    LatticePoint(Float4 coordinates, Float4 cells) {
        const Float4 scaled = fraction4(coordinates) * cells;
        cell = truncate4(scaled);
        t = scaled - toFloat4(cell);
    }

    Int4 cell;
    Float4 t;
};

float cubeSide() { return static_cast<float>(VEXA_CUBE_SIDE); }

/* Splines along three rows at once, one result per row. The fourth elements mean nothing. */
Float4 splineAlongRows(Float4 row0, Float4 row1, Float4 row2, float t) {
    const Float4 low = __builtin_shufflevector(row0, row1, 0, 4, 1, 5);
    const Float4 high = __builtin_shufflevector(row0, row1, 2, 6, 3, 7);
    const Float4 a = __builtin_shufflevector(low, row2, 0, 1, 4, 4);
    const Float4 b = __builtin_shufflevector(low, row2, 2, 3, 5, 5);
    const Float4 c = __builtin_shufflevector(high, row2, 0, 1, 6, 6);
    return spline(a, b, c, t);
}

/* Offsets of a cell and its neighbours along the axis whose cells lie 1 << shift values apart. */
struct Neighbours {
    Neighbours(int cell, int shift) {
        const int axis = kAxisMask << shift;
        at[1] = (cell << shift) & axis;
        at[0] = (at[1] - (1 << shift)) & axis;
        at[2] = (at[1] + (1 << shift)) & axis;
    }

    std::ptrdiff_t at[3];
};

/* Three values around cell x of a row; the fourth element means nothing. Nearly all cells have their neighbours beside
 * them in memory. */
constexpr auto kValuesBeside = [](const float* plane, std::ptrdiff_t row, int x) {
    return load4(plane + (x - 1) + row);
};

/* The first and the last cell have not. */
constexpr auto kValuesAround = [](const float* plane, std::ptrdiff_t row, int x) {
    const float* values = plane + row;
    return Float4{values[(x - 1) & kAxisMask], values[x & kAxisMask], values[(x + 1) & kAxisMask], 0};
};

/* Twice the B-spline per axis. `values` is one of the two functions above, `evaluate` makes lattice values of them. */
template <class Values>
float spline2(const LatticePoint& point, Values values) {
    const Neighbours y(point.cell[1], kAxisBits);
    const int x = point.cell[0] & kAxisMask;
    const auto row = [&](int j) { return values(kNoiseValues.data(), y.at[j], x); };
    const Float4 rows = splineAlongRows(row(0), row(1), row(2), point.t[0]);
    return spline(rows[0], rows[1], rows[2], point.t[1]);
}

template <class Values, class Evaluate>
float spline3(const LatticePoint& point, Values values, Evaluate evaluate) {
    const Neighbours y(point.cell[1], kAxisBits), z(point.cell[2], 2 * kAxisBits);
    const int x = point.cell[0] & kAxisMask;
    const auto row = [&](int l, int j) { return evaluate(values(kNoiseValues.data() + z.at[l], y.at[j], x)); };
    const auto acrossZ = [&](int j) { return splineAlongRows(row(0, j), row(1, j), row(2, j), point.t[0]); };
    const Float4 planes = spline(acrossZ(0), acrossZ(1), acrossZ(2), point.t[1]);
    return spline(planes[0], planes[1], planes[2], point.t[2]);
}

/* The rare cells apart from the others, which keeps the others' code straight. */
[[gnu::cold, gnu::noinline]] float spline2AtEnd(const LatticePoint& point) { return spline2(point, kValuesAround); }

template <class Evaluate>
[[gnu::cold, gnu::noinline]] float spline3AtEnd(const LatticePoint& point, Evaluate evaluate) {
    return spline3(point, kValuesAround, evaluate);
}

bool isAtEnd(int cell) { return ((cell + 1) & kAxisMask) < 2; }

float spline2(const LatticePoint& point) {
    return isAtEnd(point.cell[0]) ? spline2AtEnd(point) : spline2(point, kValuesBeside);
}

template <class Evaluate>
float spline3(const LatticePoint& point, Evaluate evaluate) {
    return isAtEnd(point.cell[0]) ? spline3AtEnd(point, evaluate) : spline3(point, kValuesBeside, evaluate);
}

constexpr miInteger kMostTimeSteps = 60000;

/* Lattice values in motion: each runs through the fractions of its table value's multiples, three at a time. */
class Motion {
public:
    /* Cell and place in the cell of time. */
    Motion(int step, float t) : t_(t) {
        for (int e = 0; e < 3; ++e) multipliers_[e] = (noise_table_scalar(step + e) + 1) * kMultiplier;
    }

    Float4 operator()(Float4 tableValues) const {
        const Float4 g = tableValues + 2;
        return spline(part(g * multipliers_[0]), part(g * multipliers_[1]), part(g * multipliers_[2]), t_);
    }

private:
    static constexpr float kMultiplier = 21568.16f;

    static Float4 part(Float4 value) { return value - toFloat4(truncate4(value)); }

    float t_;
    float multipliers_[3];
};

}  // namespace
}  // namespace lumo

miScalar noise_scalar_1d(double x) {
    using namespace lumo;
    const float scaled = fraction(static_cast<float>(placeable(x))) * cubeSide();
    // No lattice point lies before the first one: the first cell is the second one's parabola drawn out, at t < 0. The
    // last cell is the 32nd, and that only where the fraction rounds up to 1.
    const int cell = std::max(1, static_cast<int>(scaled));
    const float* values = &kNoiseValues[static_cast<unsigned>(cell)];
    return 0.25f * spline(values[-1], values[0], values[1], scaled - static_cast<float>(cell));
}

miScalar noise_scalar_2d(double x, double y) {
    using namespace lumo;
    const LatticePoint point(placeable4(x, y, 0, 0), broadcast4(cubeSide()));
    return 0.25f * spline2(point);
}

miScalar noise_scalar_3d(double x, double y, double z) {
    using namespace lumo;
    const LatticePoint point(placeable4(x, y, z, 0), broadcast4(cubeSide()));
    const auto still = [](Float4 values) { return values; };
    return 0.125f * spline3(point, still);
}

miScalar noise_scalar_4d(double x, double y, double z, double w, miInteger n) {
    using namespace lumo;
    const float steps = static_cast<float>(std::min(n, kMostTimeSteps));
    const LatticePoint point(placeable4(x, y, z, w), Float4{cubeSide(), cubeSide(), cubeSide(), steps});
    const Motion motion(point.cell[3], point.t[3]);
    return 0.125f * spline3(point, motion) - 1;
}

miVector* noise_vector_2d(miVector* result, double x, double y) {
    using namespace lumo;
    const double scaledX = fraction(placeable(x)) * VEXA_CUBE_SIDE, scaledY = fraction(placeable(y)) * VEXA_CUBE_SIDE;
    const int cellX = static_cast<int>(scaledX), cellY = static_cast<int>(scaledY);
    const double tx = scaledX - cellX, ty = scaledY - cellY;
    const Neighbours rows(cellY, kAxisBits);

    double value[3], slope[3];
    for (int j = 0; j < 3; ++j) {
        const Float4 around = kValuesAround(kNoiseValues.data(), rows.at[j], cellX);
        const double a = around[0], b = around[1], c = around[2];
        value[j] = spline(a, b, c, tx);
        slope[j] = (a - 2 * b + c) * tx - (a - b);
    }
    const double a = value[0], b = value[1], c = value[2], bend = a - 2 * b + c;
    result->x = static_cast<miScalar>(spline(slope[0], slope[1], slope[2], ty));
    result->y = static_cast<miScalar>(bend * ty - (a - b));
    // 4 (b - a), where the spline has 2 (b - a): kept, see the header.
    result->z = static_cast<miScalar>(0.25 * ((bend * ty + 4 * (b - a)) * ty + a + b));
    return result;
}
