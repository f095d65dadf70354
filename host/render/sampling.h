// Where in a pixel and in the shutter interval the samples lie.
#pragma once

#include <cstdint>
#include <vector>

namespace lumorender {

struct SamplePosition {
    double x = 0.5, y = 0.5;  ///< in the pixel, 0..1
    double time = 0;          ///< fraction of the shutter interval
};

/// The samples of a pixel: a grid of n x n, moved inside its cells by `jitter` (0..1), with low-discrepancy times. Where
/// every pixel has all of them, places are stratified together with times, and with what goes by orderedSobol().
/// A pixel with one sample is sampled at its centre, and at shutter open.
class PixelSampler {
public:
    static constexpr int kMostLevel = 8;

    /// @param level samples are 4^level per pixel; below 0 counts as 0, above `kMostLevel` as that.
    /// @param shutterOpens whether times differ; without, all are 0.
    PixelSampler(int level, double jitter, bool shutterOpens);

    int count() const { return edge_ * edge_; }
    int edge() const { return edge_; }
    /// The sample that unfiltered buffers keep: the first of those nearest to the pixel's centre.
    int standing() const { return standing_; }
    /// Numbers samples anew for pixels that take only some: those of each level up to the largest come first, so that
    /// their numbers are a run of their own, which is stratified well.
    void numberByLevels(int leastLevel);
    /// What low-discrepancy points of the sample in this cell go by.
    std::uint32_t number(int cell) const { return numbers_[static_cast<std::size_t>(cell)]; }
    /// Whether numbers are those of the points of Sobol' sequence that lie in the cells.
    bool ordered() const { return ordered_; }
    SamplePosition position(std::uint32_t pixelSeed, int cell) const;

private:
    int level_ = 0, edge_ = 1;  ///< powers of two: cells and places in them need no division
    double cellSize_ = 1;
    double jitter_ = 0;
    bool timed_ = false;
    int standing_ = 0;
    bool ordered_ = false;
    std::vector<std::uint32_t> numbers_;  ///< by cell
};

}  // namespace lumorender
