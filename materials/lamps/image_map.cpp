#include "lamps/image_map.h"

#include "math/chromaticity.h"

#include <algorithm>

namespace materials {

namespace {

/* Sums from 0 to 1; even where all is black. */
void accumulate(const miScalar* weights, int count, miScalar* sums) {
    miScalar total = 0;
    for (int i = 0; i < count; ++i) total += weights[i];
    sums[0] = 0;
    for (int i = 0; i < count; ++i) {
        const miScalar share = total > 0 ? weights[i] / total : 1 / static_cast<miScalar>(count);
        sums[i + 1] = sums[i] + share;
    }
    sums[count] = 1;
}

struct Pick {
    int cell;
    miScalar place; /* in the cell, 0 to 1 */
    miScalar share; /* of the cell */
};

Pick pickFrom(const miScalar* sums, int count, miScalar x) {
    const int above = static_cast<int>(std::upper_bound(sums, sums + count + 1, x) - sums);
    const int cell = std::clamp(above - 1, 0, count - 1);
    const miScalar share = sums[cell + 1] - sums[cell];
    return {cell, share > 0 ? clamped((x - sums[cell]) / share, 0, 1) : .5f, share};
}

miScalar brightness(miState* state, miTag texture, miScalar u, miScalar v) {
    const miScalar value = luminanceOf(positive(finite(pictureAt(state, texture, {u, v, 0}))));
    return std::isfinite(value) ? value : 0;
}

}  // namespace

miVector directionAt(miScalar u, miScalar v, miScalar rotate) {
    const miScalar around = 2 * kPi * (u - .5f) - rotate, up = kPi * (v - .5f);
    return {std::cos(up) * std::sin(around), std::sin(up), -std::cos(up) * std::cos(around)};
}

miColor imageSeen(miState* state, miTag texture, const miVector& dir, miScalar rotate) {
    return pictureAt(state, texture,
                     {fraction(wayAround(dir) + rotate / (2 * kPi)), clamped(wayUp(dir), 0, .999999f), 0});
}

ImageMap::ImageMap(miState* state, miTag texture) {
    constexpr int kLooks = 3; /* in a cell, across and up */
    miScalar rowSums[kRows], cells[kColumns], total = 0, sky = 0;
    miScalar all[kRows][kColumns];
    for (int row = 0; row < kRows; ++row) {
        const miScalar middle = kPi * ((static_cast<miScalar>(row) + .5f) / kRows - .5f), width = std::cos(middle);
        for (int column = 0; column < kColumns; ++column) {
            miScalar sum = 0;
            for (int look = 0; look < kLooks * kLooks; ++look) {
                const auto across = static_cast<miScalar>(look % kLooks), up = static_cast<miScalar>(look / kLooks);
                sum += brightness(state, texture, (static_cast<miScalar>(column) + (across + .5f) / kLooks) / kColumns,
                                  (static_cast<miScalar>(row) + (up + .5f) / kLooks) / kRows);
            }
            all[row][column] = sum * width;
            total += sum * width;
            sky += width;
        }
    }
    const miScalar floor = total > 0 ? .01f * total / sky : 1;
    for (int row = 0; row < kRows; ++row) {
        const miScalar middle = kPi * ((static_cast<miScalar>(row) + .5f) / kRows - .5f);
        rowSums[row] = 0;
        for (int column = 0; column < kColumns; ++column) {
            cells[column] = all[row][column] + floor * std::cos(middle);
            rowSums[row] += cells[column];
        }
        accumulate(cells, kColumns, columns_[row]);
    }
    accumulate(rowSums, kRows, rows_);
}

SampledDirection ImageMap::pick(miScalar x, miScalar y, miScalar rotate) const {
    const Pick row = pickFrom(rows_, kRows, y), column = pickFrom(columns_[row.cell], kColumns, x);
    const miScalar u = (static_cast<miScalar>(column.cell) + column.place) / kColumns;
    const miScalar v = (static_cast<miScalar>(row.cell) + row.place) / kRows;
    /* A unit of the picture is 2 pi^2 cos(up) of the sphere. */
    const miScalar area = 2 * kPi * kPi * std::max(std::cos(kPi * (v - .5f)), 1e-4f);
    return {directionAt(u, v, rotate), row.share * kRows * column.share * kColumns / area};
}

}  // namespace materials
