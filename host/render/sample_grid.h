// Adaptive sampling: where samples lie close together, and what lies between the others.
//
// The whole picture has one grid, as fine as its largest number of samples asks for. Squares of the grid begin as large as
// the smallest number allows, with a sample at each corner; where corners differ by more than the contrast a square is
// divided in four. What no sample is taken of is interpolated between the corners of its square, so that pixels share
// samples. All this depends on the place in the picture only, never on which part of it is worked on.
#pragma once

#include "mi/options.h"
#include "render/pixel_filter.h"
#include "saving/share.h"

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace lumorender {

/// What a sample tells of whether more are needed around it.
struct GridSample {
    miColor color = {};
    bool moves = false;  ///< it has met moving geometry
};

class SampleGrid {
public:
    struct Cell {
        int x, y;
    };
    /// Takes the sample of a cell of the grid; false where the render was stopped. `foreseen` is the cell's number among
    /// those that were looked at ahead, or negative.
    using Taker = std::function<bool(const Cell& cell, int foreseen, GridSample& sample)>;
    /// Looks ahead at cells whose samples will be taken. Gives the number of the first; the others have those behind it.
    using Foreseer = std::function<int(std::span<const Cell> cells)>;

    /// A part of a sample; samples have the numbers in which they were taken.
    struct Part {
        int sample;
        float weight;
    };

    /// @param edge cells of the grid across a pixel
    SampleGrid(const miOptions& options, int edge, int columns, int rows);

    /// Takes all samples that pixels of the tile need. False where the render was stopped. `foresee` may be empty.
    bool fill(const Tile& tile, const Taker& take, const Foreseer& foresee = {});

    /// The samples that a pixel of the tile is the sum of, each once, in an order that depends on the pixel only.
    const std::vector<Part>& partsOf(int x, int y);

    /// The sample nearest to the pixel's middle.
    int standing(int x, int y) const;

    const PixelFilter& filter() const { return filter_; }

private:
    /// One direction of the grid.
    struct Side {
        int cells = 0;         ///< of the whole picture
        int from = 0, to = 0;  ///< those that pixels of the tile need
        int first = 0;         ///< that is stored

        int clamped(int x) const { return x < 0 ? 0 : x < cells ? x : cells - 1; }
        bool needs(int x, int step) const { return x < to && x + step > from; }
    };
    /// The corners of a square, or of what lies of it in the picture.
    struct Square {
        int left, right, bottom, top;
    };

    void aim(Side& side, int firstPixel, int pixels, const FilterSide& filter) const;
    int startOf(int cell, int step) const;
    Square squareOf(int x, int y, int step) const;
    std::size_t place(int x, int y) const;
    int numberAt(int x, int y) const { return numbers_[place(x, y)]; }
    void expect(int x, int y, int step);
    void expectRow(int y);
    void foresee();
    bool take(int x, int y);
    bool divide(int x, int y, int step);
    bool divideInFour(int x, int y, int step);
    bool differs(const Square& square) const;
    void add(int x, int y, float weight);
    void addSample(int x, int y, float weight);

    const int edge_;
    const int middle_;  ///< cell of a pixel that is in all grids
    int largest_ = 1, smallest_ = 1;
    miColor contrast_, timeContrast_;
    PixelFilter filter_;
    Side x_, y_;
    int stride_ = 0;
    const Taker* taker_ = nullptr;
    const Foreseer* foreseer_ = nullptr;
    std::vector<Cell> expected_;        ///< that will be taken
    std::vector<int> numbers_;          ///< by cell, of samples; kNone, or below, kForeseen - its number there
    std::vector<std::uint16_t> steps_;  ///< by cell, of the square around it
    std::vector<GridSample> samples_;
    std::vector<float> weights_;  ///< by sample, of the running pixel
    std::vector<Part> parts_;
};

}  // namespace lumorender
