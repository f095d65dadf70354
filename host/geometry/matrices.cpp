#include "geometry/matrices.h"

#include "geometry/vectors.h"

#include <algorithm>
#include <cmath>

namespace lumorender {

using namespace vectors;

namespace {

/// Volume of the box of three axes in relation to their lengths, below which they count as lying in a plane. Scene
/// files carry seven digits, so what is flatter than this was meant to be flat.
constexpr double kFlat = 1e-12;

miGeoVector row(const double* m, int i) { return {m[4 * i], m[4 * i + 1], m[4 * i + 2]}; }

}  // namespace

AffineMatrix identityMatrix() { return {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}; }

AffineMatrix affineMatrix(const miScalar* m) {
    const double corner = m[15];
    const double scale = corner == 0 ? 1 : 1 / corner;
    AffineMatrix result = identityMatrix();
    for (std::size_t i = 0; i < 16; ++i)
        if (i % 4 != 3) result[i] = m[i] * scale;
    return result;
}

AffineMatrix product(const double* a, const double* b) {
    AffineMatrix result = identityMatrix();
    for (std::size_t i = 0; i < 4; ++i)
        for (std::size_t j = 0; j < 3; ++j) {
            double sum = i == 3 ? b[12 + j] : 0;
            for (std::size_t k = 0; k < 3; ++k) sum += a[4 * i + k] * b[4 * k + j];
            result[4 * i + j] = sum;
        }
    return result;
}

double determinant(const double* m) { return dot(row(m, 0), cross(row(m, 1), row(m, 2))); }

bool invert(const double* m, AffineMatrix& inverse) {
    const miGeoVector x = row(m, 0), y = row(m, 1), z = row(m, 2);
    const double volume = determinant(m);
    const double size = length(x) * length(y) * length(z);
    if (!std::isfinite(size) || !isFinite(row(m, 3)) || !(std::abs(volume) > kFlat * size)) return false;

    // The columns of the inverse are the cross products of the rows.
    const miGeoVector columns[3] = {cross(y, z), cross(z, x), cross(x, y)};
    AffineMatrix result = identityMatrix();
    for (std::size_t j = 0; j < 3; ++j) {
        result[j] = columns[j].x / volume;
        result[4 + j] = columns[j].y / volume;
        result[8 + j] = columns[j].z / volume;
    }
    const miGeoVector offset = transformVector(row(m, 3), result.data());
    result[12] = -offset.x;
    result[13] = -offset.y;
    result[14] = -offset.z;
    if (!std::all_of(result.begin(), result.end(), [](double v) { return std::isfinite(v); })) return false;
    inverse = result;
    return true;
}

AffineMatrix interpolate(const double* open, const double* close, double t) {
    AffineMatrix result;
    for (std::size_t i = 0; i < 16; ++i) result[i] = open[i] + t * (close[i] - open[i]);
    return result;
}

Placement placementOf(const AffineMatrix& localToWorld, const AffineMatrix& worldToLocal) {
    const auto narrowed = [](double v) { return static_cast<float>(v); };
    Placement placement;
    std::copy(localToWorld.begin(), localToWorld.end(), placement.localToWorld);
    std::copy(worldToLocal.begin(), worldToLocal.end(), placement.worldToLocal);
    std::transform(localToWorld.begin(), localToWorld.end(), placement.localToWorldFloat, narrowed);
    std::transform(worldToLocal.begin(), worldToLocal.end(), placement.worldToLocalFloat, narrowed);
    return placement;
}

}  // namespace lumorender
