#include "render/sample_grid.h"

#include "render/sampling.h"

#include <algorithm>
#include <cmath>

namespace lumorender {

namespace {

/// Pixels to a side of the largest squares: 2^6.
constexpr int kLeastLevel = -6;

/// ... as long as they have no more cells to a side than this, or are pixels.
constexpr int kLargest = 256;

/// In place of a sample's number.
constexpr int kNone = -1, kForeseen = -2;

/// What is no number differs from all.
bool isBeyond(float a, float b, float c, float d, float contrast) {
    const float range = std::max(std::max(a, b), std::max(c, d)) - std::min(std::min(a, b), std::min(c, d));
    return !(range <= contrast) || std::isnan(a + b + c + d);
}

}  // namespace

SampleGrid::SampleGrid(const miOptions& options, int edge, int columns, int rows)
    : edge_(edge),
      middle_((edge - 1) / 2),
      contrast_(options.contrast),
      timeContrast_(options.time_contrast),
      filter_(options, edge) {
    const auto stepOf = [&](int level) { return level >= 0 ? std::max(edge >> level, 1) : edge << -level; };
    const int most = std::clamp(options.max_samples, kLeastLevel, PixelSampler::kMostLevel);
    const int least = std::clamp(options.min_samples, kLeastLevel, most);
    smallest_ = stepOf(most);
    largest_ = std::clamp(stepOf(least), smallest_, std::max(edge, kLargest));
    x_.cells = columns * edge;
    y_.cells = rows * edge;
}

/// Squares of all sizes begin at cells that are the same number of cells before the middle of some pixel.
int SampleGrid::startOf(int cell, int step) const {
    const int offset = middle_ % step;
    return ((cell - offset) & -step) + offset;  // steps are powers of two
}

SampleGrid::Square SampleGrid::squareOf(int x, int y, int step) const {
    return {x_.clamped(x), x_.clamped(x + step), y_.clamped(y), y_.clamped(y + step)};
}

std::size_t SampleGrid::place(int x, int y) const {
    return static_cast<std::size_t>(y - y_.first) * static_cast<std::size_t>(stride_) +
           static_cast<std::size_t>(x - x_.first);
}

void SampleGrid::aim(Side& side, int firstPixel, int pixels, const FilterSide& filter) const {
    const int first = firstPixel * edge_ + filter.first;
    side.from = std::max(first, 0);
    side.to = std::min(first + (pixels - 1) * edge_ + static_cast<int>(filter.weights.size()), side.cells);
    side.first = side.clamped(startOf(side.from, largest_));
}

bool SampleGrid::fill(const Tile& tile, const Taker& take, const Foreseer& foresee) {
    aim(x_, tile.x, tile.width, filter_.x());
    aim(y_, tile.y, tile.height, filter_.y());
    stride_ = x_.clamped(x_.to - 1 + largest_) - x_.first + 1;
    const int rows = y_.clamped(y_.to - 1 + largest_) - y_.first + 1;
    const auto cells = static_cast<std::size_t>(stride_) * static_cast<std::size_t>(rows);
    numbers_.assign(cells, kNone);
    steps_.assign(cells, 1);
    samples_.clear();
    taker_ = &take;
    foreseer_ = foresee ? &foresee : nullptr;
    for (int y = startOf(y_.from, largest_); y < y_.to; y += largest_) {
        expectRow(y);
        for (int x = startOf(x_.from, largest_); x < x_.to; x += largest_)
            if (!divide(x, y, largest_)) return false;
    }
    weights_.assign(samples_.size(), 0);
    return true;
}

/// All samples of the square.
void SampleGrid::expect(int x, int y, int step) {
    const Square s = squareOf(x, y, step);
    const auto add = [&](const Cell& cell) {
        int& number = numbers_[place(cell.x, cell.y)];
        if (number != kNone) return;
        number = kForeseen;
        expected_.push_back(cell);
    };
    add({s.left, s.bottom});
    if (step == 1) return;
    add({s.right, s.bottom});
    add({s.left, s.top});
    add({s.right, s.top});
}

void SampleGrid::expectRow(int y) {
    if (!foreseer_) return;
    for (int x = startOf(x_.from, largest_); x < x_.to; x += largest_) expect(x, y, largest_);
    foresee();
}

void SampleGrid::foresee() {
    if (expected_.empty()) return;
    int number = (*foreseer_)(expected_);
    for (const Cell& cell : expected_) numbers_[place(cell.x, cell.y)] = kForeseen - number++;
    expected_.clear();
}

bool SampleGrid::take(int x, int y) {
    int& number = numbers_[place(x, y)];
    if (number >= 0) return true;
    GridSample sample;
    if (!(*taker_)({x, y}, kForeseen - number, sample)) return false;
    number = static_cast<int>(samples_.size());
    samples_.push_back(sample);
    return true;
}

bool SampleGrid::divide(int x, int y, int step) {
    if (step == 1) return take(x, y);
    const Square s = squareOf(x, y, step);
    const bool taken = take(s.left, s.bottom) && take(s.right, s.bottom) && take(s.left, s.top) && take(s.right, s.top);
    if (!taken) return false;
    if (step > smallest_ && differs(s)) return divideInFour(x, y, step / 2);
    for (int row = std::max(y, y_.from); row < std::min(y + step, y_.to); ++row)
        for (int column = std::max(x, x_.from); column < std::min(x + step, x_.to); ++column)
            steps_[place(column, row)] = static_cast<std::uint16_t>(step);
    return true;
}

bool SampleGrid::divideInFour(int x, int y, int step) {
    const auto visit = [&](const auto& quarter) {
        for (int i = 0; i < 4; ++i) {
            const int column = x + i % 2 * step, row = y + i / 2 * step;
            if (x_.needs(column, step) && y_.needs(row, step) && !quarter(column, row)) return false;
        }
        return true;
    };
    if (foreseer_) {
        visit([&](int column, int row) {
            expect(column, row, step);
            return true;
        });
        foresee();
    }
    return visit([&](int column, int row) { return divide(column, row, step); });
}

bool SampleGrid::differs(const Square& square) const {
    const auto at = [&](int x, int y) -> const GridSample& {
        return samples_[static_cast<std::size_t>(numberAt(x, y))];
    };
    const GridSample &a = at(square.left, square.bottom), &b = at(square.right, square.bottom);
    const GridSample &c = at(square.left, square.top), &d = at(square.right, square.top);
    const miColor& most = a.moves || b.moves || c.moves || d.moves ? timeContrast_ : contrast_;
    return isBeyond(a.color.r, b.color.r, c.color.r, d.color.r, most.r) ||
           isBeyond(a.color.g, b.color.g, c.color.g, d.color.g, most.g) ||
           isBeyond(a.color.b, b.color.b, c.color.b, d.color.b, most.b) ||
           isBeyond(a.color.a, b.color.a, c.color.a, d.color.a, most.a);
}

void SampleGrid::addSample(int x, int y, float weight) {
    if (weight == 0) return;
    const int number = numberAt(x, y);
    float& sum = weights_[static_cast<std::size_t>(number)];
    if (sum == 0) parts_.push_back({number, 0});
    sum += weight;
}

void SampleGrid::add(int x, int y, float weight) {
    const int step = steps_[place(x, y)];
    if (step == 1) return addSample(x, y, weight);
    const Square s = squareOf(startOf(x, step), startOf(y, step), step);
    const float u = s.right > s.left ? static_cast<float>(x - s.left) / static_cast<float>(s.right - s.left) : 0;
    const float v = s.top > s.bottom ? static_cast<float>(y - s.bottom) / static_cast<float>(s.top - s.bottom) : 0;
    addSample(s.left, s.bottom, (1 - u) * (1 - v) * weight);
    addSample(s.right, s.bottom, u * (1 - v) * weight);
    addSample(s.left, s.top, (1 - u) * v * weight);
    addSample(s.right, s.top, u * v * weight);
}

const std::vector<SampleGrid::Part>& SampleGrid::partsOf(int x, int y) {
    parts_.clear();
    const int left = x * edge_ + filter_.x().first, bottom = y * edge_ + filter_.y().first;
    for (int row = std::max(bottom, y_.from); row < y_.to; ++row) {
        const auto j = static_cast<std::size_t>(row - bottom);
        if (j >= filter_.y().weights.size()) break;
        for (int column = std::max(left, x_.from); column < x_.to; ++column) {
            const auto i = static_cast<std::size_t>(column - left);
            if (i >= filter_.x().weights.size()) break;
            add(column, row, filter_.x().weights[i] * filter_.y().weights[j]);
        }
    }
    // A sum may have passed zero on its way: then its sample stands twice in the list, the second time without weight.
    for (Part& part : parts_) {
        float& weight = weights_[static_cast<std::size_t>(part.sample)];
        part.weight = weight;
        weight = 0;
    }
    return parts_;
}

int SampleGrid::standing(int x, int y) const {
    const int column = x * edge_ + middle_, row = y * edge_ + middle_;
    const int step = steps_[place(column, row)];
    if (step == 1) return numberAt(column, row);
    const Square s = squareOf(startOf(column, step), startOf(row, step), step);
    return numberAt(2 * (column - s.left) <= s.right - s.left ? s.left : s.right,
                    2 * (row - s.bottom) <= s.top - s.bottom ? s.bottom : s.top);
}

}  // namespace lumorender
