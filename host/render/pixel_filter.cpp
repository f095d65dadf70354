#include "render/pixel_filter.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace lumorender {

namespace {

constexpr int kPerCell = 64;  // points of a cell at which its curve is looked at

double sinc(double x) {
    if (std::abs(x) < 1e-9) return 1;
    return std::sin(std::numbers::pi * x) / (std::numbers::pi * x);
}

/// Mitchell and Netravali's with B = C = 1/3, which ends at 2.
double mitchell(double x) {
    if (x < 1) return (7 * x * x * x - 12 * x * x + 16.0 / 3) / 6;
    return (-7.0 / 3 * x * x * x + 12 * x * x - 20 * x + 32.0 / 3) / 6;
}

/// @param x distance from the middle; the curve ends at 1
double curve(char kind, double x) {
    if (x > 1) return 0;
    switch (kind) {
        case 't': return 1 - x;
        case 'g': return std::exp(-4.5 * x * x);  // three standard deviations
        case 'm': return mitchell(2 * x);
        case 'l': return sinc(2 * x) * sinc(x);
        default: return 1;
    }
}

/// What is no number counts as the narrowest.
float boundedWidth(float width, int edge) {
    const float narrowest = .25F / static_cast<float>(edge);
    return width > narrowest ? std::min(width, PixelFilter::kWidest) : narrowest;
}

FilterSide sideOf(char kind, double width, int edge) {
    const double middle = .5 * edge;
    const double reach = .5 * width * edge;  // in cells
    FilterSide side;
    side.first = static_cast<int>(std::floor(middle - reach));
    const int last = static_cast<int>(std::ceil(middle + reach)) - 1;
    double sum = 0;
    std::vector<double> weights;
    for (int cell = side.first; cell <= last; ++cell) {
        double weight = 0;
        for (int i = 0; i < kPerCell; ++i) weight += curve(kind, std::abs(cell + (i + .5) / kPerCell - middle) / reach);
        weights.push_back(weight);
        sum += weight;
    }
    for (const double weight : weights) side.weights.push_back(static_cast<float>(weight / sum));
    return side;
}

}  // namespace

PixelFilter::PixelFilter(const miOptions& options, int edge) {
    const bool isCapital = options.filter >= 'A' && options.filter <= 'Z';
    const char kind = isCapital ? static_cast<char>(options.filter - 'A' + 'a') : options.filter;
    x_ = sideOf(kind, boundedWidth(options.filter_size_x, edge), edge);
    y_ = sideOf(kind, boundedWidth(options.filter_size_y, edge), edge);
    isMean_ = kind == 'b' && options.filter_size_x == 1 && options.filter_size_y == 1;
    clips_ = isCapital;
}

}  // namespace lumorender
