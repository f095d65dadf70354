#include "shaders/volumes/scatter_path.h"

namespace lumo {
namespace {

/* Integral of the transmittance over a piece: its length where it is thin, in which the quotient would cancel. */
miScalar seenLength(miScalar extinction, miScalar transmittance, miScalar length) {
    return extinction * length < 1e-4f ? length : (1 - transmittance) / extinction;
}

miColor seenLength(const miColor& extinction, const miColor& transmittance, miScalar length) {
    const miScalar r = seenLength(extinction.r, transmittance.r, length);
    if (extinction.g == extinction.r && extinction.b == extinction.r) return {r, r, r, r};
    return {r, seenLength(extinction.g, transmittance.g, length), seenLength(extinction.b, transmittance.b, length), r};
}

double mean(const miColor& c) {
    return (static_cast<double>(c.r) + static_cast<double>(c.g) + static_cast<double>(c.b)) / 3;
}

}  // namespace

bool ScatterPath::take(const Stretch& stretch, const Coefficients& coefficients) {
    const auto length = static_cast<miScalar>(stretch.end - stretch.begin);
    const miColor through = beerLambert(coefficients.extinction * length);
    const miColor seen = left_ * seenLength(coefficients.extinction, through, length);
    emission_ = emission_ + coefficients.emission * seen;
    if (const double scattered = mean(coefficients.scattering * seen); scattered > 0) {
        const double before = count_ > 0 ? pieces_[count_ - 1].scattered : 0;
        keep({stretch, left_, coefficients.extinction, coefficients.scattering, coefficients.meanCosine(),
              before + scattered});
    }
    left_ = left_ * through;
    if (transmittance() >= leastTransmittance_) return true;
    left_ = kBlack;
    return false;
}

void ScatterPath::keep(const Piece& piece) {
    if (count_ == kCapacity) joinPairs();
    pieces_[count_++] = piece;
}

/* Makes room: neighbours become one, with the means of their coefficients over both, gaps between them included. */
void ScatterPath::joinPairs() {
    const std::size_t half = kCapacity / 2;
    for (std::size_t i = 0; i < half; ++i) {
        const Piece &a = pieces_[2 * i], &b = pieces_[2 * i + 1];
        const double first = a.stretch.end - a.stretch.begin, second = b.stretch.end - b.stretch.begin;
        const double whole = b.stretch.end - a.stretch.begin;
        const auto u = static_cast<miScalar>(first / whole), v = static_cast<miScalar>(second / whole);
        pieces_[i] = {{a.stretch.begin, b.stretch.end},
                      a.before,
                      a.extinction * u + b.extinction * v,
                      a.scattering * u + b.scattering * v,
                      (a.meanCosine * u + b.meanCosine * v) / (u + v),
                      b.scattered};
    }
    count_ = half;
}

int ScatterPath::pointCount(double quality) const {
    constexpr double kPoints = 8;
    const double opacity = 1 - mean(left_);
    const double points = std::ceil(kPoints * quality * std::sqrt(opacity));
    return points > 1 ? static_cast<int>(std::min(points, 64.0)) : 1;  // one, too, where it is no number
}

ScatterPoint ScatterPath::point(int number, int count, double jitter) const {
    const double total = pieces_[count_ - 1].scattered;
    // Every other point is shifted the other way, so that what is first order in the shift cancels.
    const double target = (number + (number % 2 ? 1 - jitter : jitter)) / count * total;
    const Piece* piece = std::lower_bound(pieces_, pieces_ + count_, target,
                                          [](const Piece& each, double value) { return each.scattered < value; });
    if (piece == pieces_ + count_) --piece;
    const double before = piece == pieces_ ? 0 : piece[-1].scattered;
    const double share = piece->scattered - before;
    const double u = std::clamp((target - before) / share, 0.0, 1 - 1e-6);

    // Inside the piece the mean channel's transmittance is followed; the others are weighted by how they differ from it.
    const double length = piece->stretch.end - piece->stretch.begin, sigma = mean(piece->extinction);
    const double depth = sigma * length, stopped = -std::expm1(-depth);
    const double way = depth < 1e-4 ? u * length : -std::log1p(-u * stopped) / sigma;
    const double density = depth < 1e-4 ? 1 / length : sigma * (1 - u * stopped) / stopped;
    const auto worth = static_cast<miScalar>(total / (count * share * density));
    const miColor through = beerLambert(piece->extinction * static_cast<miScalar>(way));
    return {piece->stretch.begin + std::min(way, length), piece->before * through * piece->scattering * worth,
            piece->meanCosine};
}

}  // namespace lumo
