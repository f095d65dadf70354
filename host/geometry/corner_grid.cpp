#include "geometry/corner_grid.h"

#include <algorithm>
#include <cmath>

namespace lumorender {

void CornerGrid::start(const Box& box, std::uint32_t points) {
    constexpr double kPointsToACell = 2, kMostColumns = 4096;
    box_ = box;
    columns_ = static_cast<std::uint32_t>(std::clamp(std::sqrt(points / kPointsToACell), 1.0, kMostColumns));
    const auto perUnit = [this](double size) { return size > 0 ? columns_ / size : 0; };
    columnsPerUnit_ = perUnit(box.right - box.left);
    rowsPerUnit_ = perUnit(box.high - box.low);
    first_.assign(std::size_t{columns_} * columns_, kNone);
    next_.clear();
}

void CornerGrid::add(std::uint32_t point, double x, double y) {
    if (next_.size() <= point) next_.resize(std::size_t{point} + 1, kNone);
    std::uint32_t& first = first_[std::size_t{row(y)} * columns_ + column(x)];
    next_[point] = first;
    first = point;
}

}  // namespace lumorender
