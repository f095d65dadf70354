#include "support/geometry.h"

#include <algorithm>

namespace lumorender {

namespace {

/// Volume of the box of three axes in relation to their lengths, below which they count as lying in a plane. Scene
/// files carry seven digits, so what is flatter than this was meant to be flat.
constexpr double kFlat = 1e-12;

}  // namespace

M44d affineMatrix(const miScalar* m) {
    const double scale = m[15] == 0 ? 1 : 1 / static_cast<double>(m[15]);
    M44d result;
    for (int i = 0; i < 16; ++i)
        if (i % 4 != 3) result[i / 4][i % 4] = m[i] * scale;
    return result;
}

void narrow(const M44d& m, miMatrix& result) {
    std::transform(m.getValue(), m.getValue() + 16, result, [](double v) { return static_cast<float>(v); });
}

bool invert(const M44d& m, M44d& inverse) {
    const V3d x = row(m, 0), y = row(m, 1), z = row(m, 2);
    const double size = length(x) * length(y) * length(z);
    if (!std::isfinite(size) || !isFinite(row(m, 3)) || !(std::abs(dot(x, cross(y, z))) > kFlat * size)) return false;
    const M44d result = m.inverse();
    if (!std::all_of(result.getValue(), result.getValue() + 16, [](double v) { return std::isfinite(v); }))
        return false;
    inverse = result;
    return true;
}

}  // namespace lumorender
