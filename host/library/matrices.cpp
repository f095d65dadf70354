/* Matrices for row vectors, p' = p M: row major, translation in elements 12 to 14. Results may alias inputs. */
#include "shader.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <vector>

namespace {

/// A pivot this much smaller than the largest coefficient of its row makes the system singular: the coefficients are
/// single precision, so such a pivot holds nothing but their rounding.
constexpr double kSingular = 1e-12;

/// A system of n equations with several right hand sides, one row of `width` numbers per equation.
struct Equations {
    double* rows;
    int n, width;

    double& at(int row, int column) const { return rows[row * width + column]; }

    /// Makes the largest coefficient of each row 1, so that pivots can be compared. False where a row has none.
    bool balance() const {
        for (int row = 0; row < n; ++row) {
            double largest = 0;
            for (int column = 0; column < n; ++column) largest = std::max(largest, std::fabs(at(row, column)));
            if (!(largest > 0) || !std::isfinite(largest)) return false;
            for (int column = 0; column < width; ++column) at(row, column) /= largest;
        }
        return true;
    }

    void swapRows(int a, int b) const { std::swap_ranges(rows + a * width, rows + (a + 1) * width, rows + b * width); }

    int rowOfLargest(int column) const {
        int best = column;
        for (int row = column + 1; row < n; ++row)
            if (std::fabs(at(row, column)) > std::fabs(at(best, column))) best = row;
        return best;
    }

    /// Gauss-Jordan elimination with partial pivoting: turns the right hand sides into the solutions. False when
    /// singular or not finite.
    bool solve() const {
        if (!balance()) return false;
        for (int pivot = 0; pivot < n; ++pivot) {
            swapRows(pivot, rowOfLargest(pivot));
            if (!(std::fabs(at(pivot, pivot)) > kSingular)) return false;
            const double scale = 1 / at(pivot, pivot);
            for (int column = pivot; column < width; ++column) at(pivot, column) *= scale;
            for (int row = 0; row < n; ++row) {
                const double factor = row == pivot ? 0 : at(row, pivot);
                if (factor == 0) continue;
                for (int column = pivot; column < width; ++column) at(row, column) -= factor * at(pivot, column);
            }
        }
        return true;
    }
};

constexpr miScalar kIdentity[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

/// Rotation about a unit axis, counter-clockwise for one who looks against it.
/// Source: Rodrigues' formula, R = cos I + sin [a]x + (1 - cos) a a^T, transposed for row vectors.
void rotationAbout(miScalar* m, double x, double y, double z, double angle) {
    const double s = std::sin(angle), c = std::cos(angle), k = 1 - c;
    const double rows[9] = {c + k * x * x,     k * x * y + s * z, k * x * z - s * y,  //
                            k * x * y - s * z, c + k * y * y,     k * y * z + s * x,  //
                            k * x * z + s * y, k * y * z - s * x, c + k * z * z};
    mi_matrix_ident(m);
    for (int i = 0; i < 9; ++i) m[i / 3 * 4 + i % 3] = static_cast<miScalar>(rows[i]);
}

}  // namespace

extern "C" {

/* Divides by the fourth coordinate where the matrix is a projection. */
void mi_point_transform(miVector* result, const miVector* point, const miMatrix m) {
    const auto [x, y, z] = *point;
    result->x = x * m[0] + y * m[4] + z * m[8] + m[12];
    result->y = x * m[1] + y * m[5] + z * m[9] + m[13];
    result->z = x * m[2] + y * m[6] + z * m[10] + m[14];
    const miScalar w = x * m[3] + y * m[7] + z * m[11] + m[15];
    if (w != 1 && w != 0) mi_vector_div(result, w);
}

void mi_vector_transform(miVector* result, const miVector* vector, const miMatrix m) {
    const auto [x, y, z] = *vector;
    result->x = x * m[0] + y * m[4] + z * m[8];
    result->y = x * m[1] + y * m[5] + z * m[9];
    result->z = x * m[2] + y * m[6] + z * m[10];
}

void mi_vector_transform_T(miVector* result, const miVector* vector, const miMatrix m) {
    const auto [x, y, z] = *vector;
    result->x = x * m[0] + y * m[1] + z * m[2];
    result->y = x * m[4] + y * m[5] + z * m[6];
    result->z = x * m[8] + y * m[9] + z * m[10];
}

void mi_matrix_ident(miMatrix m) { std::copy(kIdentity, kIdentity + 16, m); }

void mi_matrix_prod(miMatrix result, const miMatrix a, const miMatrix b) {
    miMatrix product;
    for (int row = 0; row < 4; ++row)
        for (int column = 0; column < 4; ++column) {
            double sum = 0;
            for (int k = 0; k < 4; ++k) sum += static_cast<double>(a[4 * row + k]) * b[4 * k + column];
            product[4 * row + column] = static_cast<miScalar>(sum);
        }
    mi_matrix_copy(result, product);
}

miBoolean mi_matrix_invert(miMatrix result, const miMatrix m) {
    std::array<double, 32> rows{};
    const Equations equations{rows.data(), 4, 8};
    for (int row = 0; row < 4; ++row) {
        for (int column = 0; column < 4; ++column) equations.at(row, column) = m[4 * row + column];
        equations.at(row, 4 + row) = 1;
    }
    if (!equations.solve()) return miFALSE;
    for (int i = 0; i < 16; ++i) result[i] = static_cast<miScalar>(equations.at(i / 4, 4 + i % 4));
    return miTRUE;
}

miBoolean mi_matrix_isident(const miMatrix m) { return std::equal(kIdentity, kIdentity + 16, m); }

miBoolean mi_matrix_isnull(const miMatrix m) {
    return std::all_of(m, m + 16, [](miScalar value) { return value == 0; });
}

/* About x first, then y, then z. */
void mi_matrix_rotate(miMatrix result, miScalar x, miScalar y, miScalar z) {
    miMatrix about;
    rotationAbout(result, 1, 0, 0, x);
    rotationAbout(about, 0, 1, 0, y);
    mi_matrix_prod(result, result, about);
    rotationAbout(about, 0, 0, 1, z);
    mi_matrix_prod(result, result, about);
}

/* The axis need not be of unit length; without an axis there is no rotation. */
void mi_matrix_rotate_axis(miMatrix result, const miVector* axis, miScalar angle) {
    const double x = axis->x, y = axis->y, z = axis->z;
    const double length = std::sqrt(x * x + y * y + z * z);
    if (length > 0)
        rotationAbout(result, x / length, y / length, z / length, angle);
    else
        mi_matrix_ident(result);
}

miScalar mi_matrix_rot_det(const miMatrix m) {
    const auto minor = [m](int a, int b, int c, int d) {
        return static_cast<double>(m[a]) * m[d] - static_cast<double>(m[b]) * m[c];
    };
    return static_cast<miScalar>(m[0] * minor(5, 6, 9, 10) - m[1] * minor(4, 6, 8, 10) + m[2] * minor(4, 5, 8, 9));
}

miBoolean mi_matrix_solve(miScalar* x, const miScalar* a, const miScalar* b, int n) {
    if (n <= 0) return miFALSE;
    try {
        const auto unknowns = static_cast<std::size_t>(n);
        std::vector<double> rows(unknowns * (unknowns + 1));
        const Equations equations{rows.data(), n, n + 1};
        for (int row = 0; row < n; ++row) {
            std::copy(a + row * n, a + (row + 1) * n, &equations.at(row, 0));
            equations.at(row, n) = b[row];
        }
        if (!equations.solve()) return miFALSE;
        for (int row = 0; row < n; ++row) x[row] = static_cast<miScalar>(equations.at(row, n));
        return miTRUE;
    } catch (const std::bad_alloc&) {
        return miFALSE;
    }
}

}  // extern "C"
