#include "support/geometry.h"

#include <ImathMatrixAlgo.h>
#include <ImathQuat.h>

#include <algorithm>

namespace lumorender {

namespace {

/// Volume of the box of three axes in relation to their lengths, below which they count as lying in a plane. Scene
/// files carry seven digits, so what is flatter than this was meant to be flat.
constexpr double kFlat = 1e-12;

/// The rotation that is nearest to the matrix, which is mirrored or not, by Newton's method. Identity where there is
/// none.
M44d rotationOf(const M44d& m) {
    M44d result = m, inverse;
    for (int j = 0; j < 3; ++j) result[3][j] = 0;
    if (mirrors(result))
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j) result[i][j] = -result[i][j];
    constexpr int kMost = 60;  // it doubles the digits once it is near, and halves the scale before
    for (int i = 0; i < kMost; ++i) {
        if (!invert(result, inverse)) return M44d();
        const M44d next = (result + inverse.transposed()) * 0.5;
        if (next.equalWithAbsError(result, 1e-15)) return next;
        result = next;
    }
    return result;
}

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

M44d turned(const M44d& open, const M44d& close, double t) {
    if (mirrors(open) != mirrors(close)) return interpolate(open, close, t);
    const M44d from = rotationOf(open), to = rotationOf(close);
    M44d stretchFrom = open * from.transposed(), stretchTo = close * to.transposed();
    for (int j = 0; j < 3; ++j) stretchFrom[3][j] = stretchTo[3][j] = 0;
    const auto turn = Imath::slerpShortestArc(Imath::extractQuat(from), Imath::extractQuat(to), t);
    M44d result = interpolate(stretchFrom, stretchTo, t) * turn.toMatrix44();
    for (int j = 0; j < 3; ++j) result[3][j] = open[3][j] + (close[3][j] - open[3][j]) * t;
    return result;
}

}  // namespace lumorender
