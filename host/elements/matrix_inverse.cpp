#include "elements/matrix_inverse.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

namespace lumorender {

namespace {

constexpr int kSize = 4;
using Row = double[2 * kSize];  // of the matrix, and beside it what becomes the inverse

/// Brings the row with the largest element of the column to the diagonal. False where all are zero or not finite.
bool pivot(Row* rows, int column) {
    int best = column;
    for (int r = column + 1; r < kSize; ++r)
        if (std::abs(rows[r][column]) > std::abs(rows[best][column])) best = r;
    std::swap_ranges(rows[best], rows[best] + 2 * kSize, rows[column]);
    const double size = std::abs(rows[column][column]);
    return size > 1e-30 && std::isfinite(size);
}

void eliminate(Row* rows, int column) {
    const double scale = 1 / rows[column][column];
    for (double& element : rows[column]) element *= scale;
    for (int r = 0; r < kSize; ++r) {
        if (r == column) continue;
        const double factor = rows[r][column];
        for (int c = 0; c < 2 * kSize; ++c) rows[r][c] -= factor * rows[column][c];
    }
}

}  // namespace

bool invert(const miMatrix& matrix, miMatrix& inverse) {
    Row rows[kSize] = {};
    for (int r = 0; r < kSize; ++r) {
        for (int c = 0; c < kSize; ++c) rows[r][c] = static_cast<double>(matrix[kSize * r + c]);
        rows[r][kSize + r] = 1;
    }
    for (int column = 0; column < kSize; ++column) {
        if (!pivot(rows, column)) return false;
        eliminate(rows, column);
    }
    miMatrix result;
    for (int r = 0; r < kSize; ++r)
        for (int c = 0; c < kSize; ++c) result[kSize * r + c] = static_cast<float>(rows[r][kSize + c]);
    if (!std::all_of(std::begin(result), std::end(result), [](float x) { return std::isfinite(x); })) return false;
    std::copy(std::begin(result), std::end(result), std::begin(inverse));
    return true;
}

void setIdentity(miMatrix& matrix) {
    for (int i = 0; i < kSize * kSize; ++i) matrix[i] = i % (kSize + 1) == 0 ? 1.0f : 0.0f;
}

}  // namespace lumorender
