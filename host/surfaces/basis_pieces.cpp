#include "surfaces/basis_pieces.h"

#include <algorithm>
#include <array>

namespace lumorender {

namespace {

using Kind = BasisSource::Kind;
using Matrix = std::vector<double>;  // square, by rows

constexpr int kMostPoints = 32;

double binomial(int n, int k) {
    double result = 1;
    for (int i = 1; i <= k; ++i) result = result * (n - k + i) / i;
    return result;
}

/// Bezier points of the part [from, to] of a Bezier curve, as weights of its points: point k of the part is the blossom
/// of the curve at `from` (degree - k times) and `to` (k times).
Matrix partOfBezier(int degree, double from, double to) {
    const int n = degree + 1;
    Matrix part(static_cast<std::size_t>(n * n));
    for (int k = 0; k < n; ++k)
        for (int source = 0; source < n; ++source) {
            std::array<double, kMostPoints> points = {};
            points[static_cast<std::size_t>(source)] = 1;
            for (int round = 0; round < degree; ++round) {
                const double t = round < degree - k ? from : to;
                for (std::size_t i = 0; i < static_cast<std::size_t>(degree - round); ++i)
                    points[i] = points[i] * (1 - t) + points[i + 1] * t;
            }
            part[static_cast<std::size_t>(k * n + source)] = points[0];
        }
    return part;
}

/// The weights of control points in the Bezier points of a polynomial whose control points have these factors of 1, t,
/// t^2 ...
Matrix bezierOfPowers(int degree, const auto& factor) {
    const int n = degree + 1;
    Matrix matrix(static_cast<std::size_t>(n * n));
    for (int j = 0; j < n; ++j)
        for (int point = 0; point < n; ++point) {
            double sum = 0;
            for (int k = 0; k <= j; ++k) sum += binomial(j, k) / binomial(degree, k) * factor(point, k);
            matrix[static_cast<std::size_t>(j * n + point)] = sum;
        }
    return matrix;
}

Matrix product(const Matrix& a, const Matrix& b, int n) {
    Matrix result(a.size(), 0.0);
    for (int i = 0; i < n; ++i)
        for (int k = 0; k < n; ++k)
            for (int j = 0; j < n; ++j)
                result[static_cast<std::size_t>(i * n + j)] +=
                    a[static_cast<std::size_t>(i * n + k)] * b[static_cast<std::size_t>(k * n + j)];
    return result;
}

/// Of all kinds but B-splines, whose pieces are alike.
Matrix bezierOf(const BasisSource& basis) {
    switch (basis.kind) {
        case Kind::Taylor:
            return bezierOfPowers(basis.degree, [](int point, int power) { return point == power ? 1.0 : 0.0; });
        case Kind::Cardinal: {
            // Through the second and third point, with tangents of half the way between their neighbours.
            static constexpr double kFactors[4][4] = {
                {0, -.5, 1, -.5}, {1, 0, -2.5, 1.5}, {0, .5, 2, -1.5}, {0, 0, -.5, .5}};
            return bezierOfPowers(3, [](int point, int power) { return kFactors[point][power]; });
        }
        case Kind::Matrix:
            return bezierOfPowers(basis.degree, [&](int point, int power) {
                return static_cast<double>(basis.matrix[static_cast<std::size_t>(point * (basis.degree + 1) + power)]);
            });
        default: return partOfBezier(basis.degree, 0, 1);
    }
}

std::size_t stepOf(const BasisSource& basis) {
    switch (basis.kind) {
        case Kind::Taylor: return static_cast<std::size_t>(basis.degree) + 1;
        case Kind::Cardinal: return 1;
        case Kind::Matrix: return static_cast<std::size_t>(basis.step);
        default: return static_cast<std::size_t>(basis.degree);
    }
}

/// The part [from, to] of the piece behind knot `span` as Bezier points: blossoms of the B-spline, by de Boor's algorithm
/// with another parameter in each round.
Matrix bezierOfSpline(const std::vector<float>& knots, int degree, std::size_t span, double from, double to) {
    const int n = degree + 1;
    const std::size_t first = span - static_cast<std::size_t>(degree);
    const auto knot = [&](std::size_t i) { return static_cast<double>(knots[i]); };
    Matrix matrix(static_cast<std::size_t>(n * n));
    for (int k = 0; k < n; ++k)
        for (int source = 0; source < n; ++source) {
            std::array<double, kMostPoints> points = {};
            points[static_cast<std::size_t>(source)] = 1;
            for (int round = 1; round <= degree; ++round) {
                const double t = round <= degree - k ? from : to;
                for (int j = degree; j >= round; --j) {
                    const std::size_t at = first + static_cast<std::size_t>(j);
                    const double low = knot(at), high = knot(at + static_cast<std::size_t>(n - round));
                    const double share = (t - low) / (high - low);
                    double& point = points[static_cast<std::size_t>(j)];
                    point = points[static_cast<std::size_t>(j - 1)] * (1 - share) + point * share;
                }
            }
            matrix[static_cast<std::size_t>(k * n + source)] = points[static_cast<std::size_t>(degree)];
        }
    return matrix;
}

}  // namespace

std::size_t controlPointsOf(const DirectionSource& direction) {
    const BasisSource& basis = direction.basis;
    const std::size_t parameters = direction.parameters.size(), degree = static_cast<std::size_t>(basis.degree);
    if (basis.kind == Kind::BSpline) return parameters - degree - 1;
    return (parameters - 2) * stepOf(basis) + degree + 1;
}

std::vector<BasisPiece> piecesOf(const DirectionSource& direction) {
    const BasisSource& basis = direction.basis;
    const auto& ends = direction.parameters;
    const bool isSpline = basis.kind == Kind::BSpline;
    const std::size_t skip = isSpline ? static_cast<std::size_t>(basis.degree) : 0;
    const Matrix whole = isSpline ? Matrix() : bezierOf(basis);
    std::vector<BasisPiece> pieces;
    for (std::size_t i = skip; i + 1 + skip < ends.size(); ++i) {
        BasisPiece piece;
        const double from = static_cast<double>(ends[i]), to = static_cast<double>(ends[i + 1]);
        piece.low = std::max(from, static_cast<double>(direction.low));
        piece.high = std::min(to, static_cast<double>(direction.high));
        if (!(piece.low < piece.high)) continue;
        if (isSpline) {
            piece.firstPoint = i - skip;
            piece.toBezier = bezierOfSpline(ends, basis.degree, i, piece.low, piece.high);
        } else {
            piece.firstPoint = i * stepOf(basis);
            piece.toBezier = whole;
            if (piece.low > from || piece.high < to)
                piece.toBezier = product(
                    partOfBezier(basis.degree, (piece.low - from) / (to - from), (piece.high - from) / (to - from)),
                    whole, basis.degree + 1);
        }
        pieces.push_back(std::move(piece));
    }
    return pieces;
}

Bernstein::Bernstein(int degree, double t) {
    const double s = 1 - t;
    const auto raise = [&](double* to, const double* from, int n) {
        double before = 0;
        for (int i = 0; i <= n; ++i) {
            const double here = i < n ? from[i] : 0;
            to[i] = before * t + here * s;
            before = here;
        }
    };
    // Those of the two degrees below give the derivatives.
    double lower[kMost] = {1}, lowest[kMost] = {0};
    values_[0] = 1;
    for (int n = 1; n <= degree; ++n) {
        std::copy_n(lower, kMost, lowest);
        std::copy_n(values_, n, lower);
        raise(values_, lower, n);
    }
    const auto difference = [](const double* list, int i, int n) {
        return (i > 0 ? list[i - 1] : 0) - (i < n ? list[i] : 0);
    };
    for (int i = 0; i <= degree; ++i) {
        first_[i] = degree * difference(lower, i, degree);
        second_[i] = 0;
        if (degree < 2) continue;
        const double above = i > 0 ? difference(lowest, i - 1, degree - 1) : 0;
        const double here = i < degree ? difference(lowest, i, degree - 1) : 0;
        second_[i] = degree * (degree - 1) * (above - here);
    }
}

}  // namespace lumorender
