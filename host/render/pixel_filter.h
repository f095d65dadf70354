// How much of each sample around a pixel counts for it.
#pragma once

#include "mi/options.h"

#include <vector>

namespace lumorender {

/// The weights of one direction: those of cells of a grid, `edge` of them across a pixel.
struct FilterSide {
    int first = 0;               ///< cell of the first weight, counted from the pixel's first cell
    std::vector<float> weights;  ///< their sum is 1
};

/// The product of a curve along x and one along y. A cell weighs what the curve has above it.
class PixelFilter {
public:
    /// No filter is wider, in pixels.
    static constexpr float kWidest = 16;

    PixelFilter(const miOptions& options, int edge);

    const FilterSide& x() const { return x_; }
    const FilterSide& y() const { return y_; }
    /// The mean of the pixel's own samples.
    bool isMeanOfPixel() const { return isMean_; }
    /// Pixels end at the smallest and largest of their samples, so that nothing rings.
    bool clips() const { return clips_; }

private:
    FilterSide x_, y_;
    bool isMean_ = false;
    bool clips_ = false;
};

}  // namespace lumorender
