/* The value noises, in four values at a time where the lattice has more than one dimension. */
#include "SDK/lumo.h"
#include "SDK/noise/noise_lattice.h"
#include "SDK/noise/noise_tables.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

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

/* Of three axes. Vectors of four equal elements are made when they are needed; others are read. */
constexpr Float4 kStillCells = {kCubeSide, kCubeSide, kCubeSide, 0};

std::uint32_t axis(const LatticePoint& point, int number) { return static_cast<std::uint32_t>(point.cell[number]); }

/* The B-spline per axis: along x for three y (three z) at once, which lie beside each other in memory; then along the
 * others. The fourth elements mean nothing. The bends along x are looked up: to calculate them takes as long as the rest
 * of a spline. */
float spline2(const LatticePoint& point) {
    const std::size_t first = axis(point, 0) * kLatticeRow + axis(point, 1);
    const float* const corner = kNoiseSquare.values + first;
    const Float4 rows = bentSpline(load4(corner), load4(corner + kLatticeRow), load4(kNoiseSquareBends.values + first),
                                   SplineParameter(point.t[0]));
    return spline(rows[0], rows[1], rows[2], point.t[1]);
}

/* Number of a cell's first entry in the cube. */
std::size_t cubeEntry(const LatticePoint& point) {
    return axis(point, 1) * kLatticePlane + axis(point, 0) * kLatticeRow + axis(point, 2);
}

/* The rest, of what the splines along x are at three y and z. */
float splineYZ(Float4 row0, Float4 row1, Float4 row2, Float4 t) {
    const Float4 planes = spline(row0, row1, row2, broadcast4(t[1]));
    return spline(planes[0], planes[1], planes[2], t[2]);
}

float spline3(const LatticePoint& point) {
    const std::size_t first = cubeEntry(point);
    const SplineParameter tx(point.t[0]);
    const auto row = [&](std::size_t j) {
        const std::size_t entry = first + j * kLatticePlane;
        const float* const values = kNoiseCube.values + entry;
        return bentSpline(load4(values), load4(values + kLatticeRow), load4(kNoiseCubeBends.values + entry), tx);
    };
    return splineYZ(row(0), row(1), row(2), point.t);
}

/* Lattice values around a cell: at y, x and three z each. */
using Columns = std::array<Float4, 9>;

Columns columnsAt(const float* corner) {
    Columns columns;
    for (std::size_t j = 0; j < 3; ++j)
        for (std::size_t i = 0; i < 3; ++i) columns[j * 3 + i] = load4(corner + (j * kLatticePlane + i * kLatticeRow));
    return columns;
}

float spline3(const Columns& columns, Float4 t) {
    const SplineParameter tx(t[0]);
    const auto row = [&](std::size_t j) { return spline(columns[j * 3], columns[j * 3 + 1], columns[j * 3 + 2], tx); };
    return splineYZ(row(0), row(1), row(2), t);
}

constexpr miInteger kMostTimeSteps = 60000;

/* Lattice values in motion: each runs through the fractions of its table value's multiples, three at a time. */
class Motion {
public:
    /* Cell and place in the cell of time. */
    Motion(int step, float t) : t_(t), multipliers_((threeValues(step) + 1) * kMultiplier) {}

    /* Three of a column's values count: four columns move as three. */
    Columns operator()(const Columns& columns) const {
        Columns moved;
        for (std::size_t i = 0; i < 8; i += 4) {
            const Float4 a = columns[i], b = columns[i + 1], c = columns[i + 2], d = columns[i + 3];
            const Float4 endAB = __builtin_shufflevector(a, b, 2, 6, 3, 7);
            const Float4 endCD = __builtin_shufflevector(c, d, 2, 6, 3, 7);
            const Float4 ab = at(__builtin_shufflevector(a, b, 0, 1, 4, 5));
            const Float4 cd = at(__builtin_shufflevector(c, d, 0, 1, 4, 5));
            const Float4 ends = at(__builtin_shufflevector(endAB, endCD, 0, 1, 4, 5));
            moved[i] = __builtin_shufflevector(ab, ends, 0, 1, 4, 4);
            moved[i + 1] = __builtin_shufflevector(ab, ends, 2, 3, 5, 5);
            moved[i + 2] = __builtin_shufflevector(cd, ends, 0, 1, 6, 6);
            moved[i + 3] = __builtin_shufflevector(cd, ends, 2, 3, 7, 7);
        }
        moved[8] = at(columns[8]);
        return moved;
    }

private:
    static constexpr float kMultiplier = 21568.16f / kCubeScale;

    /* Of a time step and the two behind it. */
    static Float4 threeValues(int step) {
        if (static_cast<unsigned>(step) <= unsigned{kMostTimeSteps}) [[likely]]
            return load4(&kNoiseValues[static_cast<unsigned>(step)]);
        return Float4{noiseValue(step), noiseValue(step + 1), noiseValue(step + 2), 0};
    }

    static Float4 part(Float4 value) { return value - toFloat4(truncate4(value)); }

    Float4 at(Float4 tableValues) const {
        const Float4 g = tableValues + 2 * kCubeScale;
        return spline(part(g * multipliers_[0]), part(g * multipliers_[1]), part(g * multipliers_[2]), t_);
    }

    SplineParameter t_;
    Float4 multipliers_;
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
    const LatticePoint point(placeable4(x, y, 0, 0), kStillCells);
    return spline2(point);
}

miScalar noise_scalar_3d(double x, double y, double z) {
    using namespace lumo;
    const LatticePoint point(placeable4(x, y, z, 0), kStillCells);
    return spline3(point);
}

miScalar noise_scalar_4d(double x, double y, double z, double w, miInteger n) {
    using namespace lumo;
    const float steps = static_cast<float>(std::min(n, kMostTimeSteps));
    const LatticePoint point(placeable4(x, y, z, w), Float4{kCubeSide, kCubeSide, kCubeSide, steps});
    const Motion motion(point.cell[3], point.t[3]);
    return kCubeScale * spline3(motion(columnsAt(kNoiseCube.values + cubeEntry(point))), point.t) - 1;
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
    result->x = static_cast<miScalar>(spline(slope[0], slope[1], slope[2], ty) / kSquareScale);
    result->y = static_cast<miScalar>((bend * ty - (a - b)) / kSquareScale);
    // 4 (b - a), where the spline has 2 (b - a): kept, see the header.
    result->z = static_cast<miScalar>((bend * ty + 4 * (b - a)) * ty + a + b);
    return result;
}
