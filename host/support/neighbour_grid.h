// Things by their place, for those that lie near a point.
#pragma once

#include "support/geometry.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <unordered_map>
#include <utility>
#include <vector>

namespace lumorender {

/// Values in cells of space: those that lie no farther from a point than the width of a cell are in its own or in one of
/// the 26 around it.
template <class Value>
class NeighbourGrid {
public:
    /// `width` is above 0.
    explicit NeighbourGrid(double width) : scale_(1 / width) {}

    void add(const V3d& place, Value value) { cells_[cellOf(place)].push_back(std::move(value)); }

    /// The first value in the cells around the place that `isIt` accepts, or null.
    template <class Predicate>
    Value* find(const V3d& place, Predicate isIt) {
        const Cell own = cellOf(place);
        for (int i = 0; i < 27; ++i) {
            const auto cell = cells_.find({own[0] + i / 9 - 1, own[1] + i / 3 % 3 - 1, own[2] + i % 3 - 1});
            if (cell == cells_.end()) continue;
            const auto found = std::find_if(cell->second.begin(), cell->second.end(), isIt);
            if (found != cell->second.end()) return &*found;
        }
        return nullptr;
    }

private:
    using Cell = std::array<std::int64_t, 3>;

    struct CellHash {
        std::size_t operator()(const Cell& cell) const {
            std::uint64_t hash = 0;
            for (const std::int64_t part : cell) hash = (hash ^ static_cast<std::uint64_t>(part)) * 0x9E3779B97F4A7C15U;
            return hash ^ (hash >> 29);
        }
    };

    Cell cellOf(const V3d& place) const {
        const auto part = [this](double x) {
            // In this order what is no number is the upper bound.
            return static_cast<std::int64_t>(std::floor(std::max(-1e18, std::min(1e18, x * scale_))));
        };
        return {part(place.x), part(place.y), part(place.z)};
    }

    double scale_;
    std::unordered_map<Cell, std::vector<Value>, CellHash> cells_;
};

}  // namespace lumorender
