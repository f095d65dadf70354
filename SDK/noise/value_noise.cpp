/* The value noises, in four values at a time where the lattice has more than one dimension. */
#include "SDK/lumo.h"
#include "SDK/noise/noise_lattice.h"
#include "SDK/noise/noise_tables.h"

#include <algorithm>

namespace lumo {
namespace {

/* Cell and place in the cell, along four axes. Lattices wrap after 32 cells, whatever part of a period a cell is. */
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

constexpr float kCubeSide = kLatticeSide;

/* Twice the B-spline per axis: along x for three y (three z) at once, which lie beside each other in memory; then along
 * the others. The fourth elements mean nothing. `evaluate` makes lattice values of those in the table. */
float spline2(const LatticePoint& point) {
    const float* const corner = kNoiseSquare.values + (point.cell[0] * kLatticeRow + point.cell[1]);
    const auto column = [&](int i) { return load4(corner + i * kLatticeRow); };
    const Float4 rows = spline(column(0), column(1), column(2), broadcast4(point.t[0]));
    return spline(rows[0], rows[1], rows[2], point.t[1]);
}

template <class Evaluate>
float spline3(const LatticePoint& point, Evaluate evaluate) {
    const float* const corner =
        kNoiseCube.values + (point.cell[1] * kLatticePlane + point.cell[0] * kLatticeRow + point.cell[2]);
    const auto column = [&](int j, int i) { return evaluate(load4(corner + (j * kLatticePlane + i * kLatticeRow))); };
    const Float4 tx = broadcast4(point.t[0]);
    const auto row = [&](int j) { return spline(column(j, 0), column(j, 1), column(j, 2), tx); };
    const Float4 planes = spline(row(0), row(1), row(2), broadcast4(point.t[1]));
    return spline(planes[0], planes[1], planes[2], point.t[2]);
}

constexpr miInteger kMostTimeSteps = 60000;

/* Lattice values in motion: each runs through the fractions of its table value's multiples, three at a time. */
class Motion {
public:
    /* Cell and place in the cell of time. */
    Motion(int step, float t) : t_(t) {
        for (int e = 0; e < 3; ++e) multipliers_[e] = (noiseValue(step + e) + 1) * kMultiplier;
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
    const float scaled = fraction(static_cast<float>(placeable(x))) * kCubeSide;
    // No lattice point lies before the first one: the first cell is the second one's parabola drawn out, at t < 0. The
    // last cell is the 32nd, and that only where the fraction rounds up to 1.
    const int cell = std::max(1, static_cast<int>(scaled));
    const float* values = &kNoiseValues[static_cast<unsigned>(cell)];
    return 0.25f * spline(values[-1], values[0], values[1], scaled - static_cast<float>(cell));
}

miScalar noise_scalar_2d(double x, double y) {
    using namespace lumo;
    const LatticePoint point(placeable4(x, y, 0, 0), broadcast4(kCubeSide));
    return 0.25f * spline2(point);
}

miScalar noise_scalar_3d(double x, double y, double z) {
    using namespace lumo;
    const LatticePoint point(placeable4(x, y, z, 0), broadcast4(kCubeSide));
    const auto still = [](Float4 values) { return values; };
    return 0.125f * spline3(point, still);
}

miScalar noise_scalar_4d(double x, double y, double z, double w, miInteger n) {
    using namespace lumo;
    const float steps = static_cast<float>(std::min(n, kMostTimeSteps));
    const LatticePoint point(placeable4(x, y, z, w), Float4{kCubeSide, kCubeSide, kCubeSide, steps});
    const Motion motion(point.cell[3], point.t[3]);
    return 0.125f * spline3(point, motion) - 1;
}

miVector* noise_vector_2d(miVector* result, double x, double y) {
    using namespace lumo;
    const double scaledX = fraction(placeable(x)) * VEXA_CUBE_SIDE, scaledY = fraction(placeable(y)) * VEXA_CUBE_SIDE;
    const int cellX = static_cast<int>(scaledX), cellY = static_cast<int>(scaledY);
    const double tx = scaledX - cellX, ty = scaledY - cellY;

    double value[3], slope[3];
    for (int j = 0; j < 3; ++j) {
        const auto entry = [&](int i) -> double { return kNoiseSquare.values[(cellX + i) * kLatticeRow + cellY + j]; };
        const double a = entry(0), b = entry(1), c = entry(2);
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
