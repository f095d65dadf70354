// Finds points of the plane by their place.
#pragma once

#include <cstdint>
#include <vector>

namespace lumorender {

/// Points in cells of a regular grid, about two to a cell. Keeps its memory from one use to the next.
class CornerGrid {
public:
    struct Box {
        double left, low, right, high;
    };

    /// For so many points that lie within the box.
    void start(const Box& box, std::uint32_t points);
    void add(std::uint32_t point, double x, double y);
    bool isUsed() const { return columns_ > 0; }
    void clear() { columns_ = 0; }

    /// Calls `visit(point)` for every point of the cells that the box touches, until it answers false. Returns whether it
    /// never did.
    template <class Visit>
    bool all(const Box& box, const Visit& visit) const {
        const std::uint32_t right = column(box.right), high = row(box.high);
        for (std::uint32_t y = row(box.low); y <= high; ++y)
            for (std::uint32_t x = column(box.left); x <= right; ++x)
                for (std::uint32_t point = first_[y * columns_ + x]; point != kNone; point = next_[point])
                    if (!visit(point)) return false;
        return true;
    }

private:
    static constexpr std::uint32_t kNone = ~std::uint32_t{0};

    Box box_{};
    double columnsPerUnit_ = 0, rowsPerUnit_ = 0;
    std::uint32_t columns_ = 0;
    std::vector<std::uint32_t> first_,
        next_;  ///< of each cell the point that was added last; behind each point the next

    std::uint32_t cell(double distance, double cellsPerUnit) const {
        const double at = distance * cellsPerUnit;
        if (!(at > 0)) return 0;
        return at < columns_ - 1 ? static_cast<std::uint32_t>(at) : columns_ - 1;
    }
    std::uint32_t column(double x) const { return cell(x - box_.left, columnsPerUnit_); }
    std::uint32_t row(double y) const { return cell(y - box_.low, rowsPerUnit_); }
};

}  // namespace lumorender
