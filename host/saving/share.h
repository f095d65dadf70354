// A share of a picture: some of its tiles.
#pragma once

#include "image/image.h"

#include <vector>

namespace lumorender {

/// Share `number` of `count`, from 1. Number 0 has no tiles: it makes the points of indirect light for the others.
struct Share {
    int number = 1, count = 1;
    bool isWhole() const { return number == 1 && count == 1; }
    bool isPointsOnly() const { return number == 0; }
    bool operator==(const Share&) const = default;
};

struct Tile {
    int x = 0, y = 0, width = 0, height = 0;  ///< pixels of the full image
};

/// The tiles of a window, row by row from its upper left corner. Their places in this list are their numbers.
std::vector<Tile> tilesOf(const DataWindow& window, int size);

/// The numbers of the tiles of a share, in the order in which they are rendered. Neighbours on a Z-order curve go to
/// different shares: each is spread evenly over the window, so that shares cost about the same, and their numbers of
/// tiles differ by one at most.
std::vector<int> tilesOfShare(const DataWindow& window, int size, const Share& share);

}  // namespace lumorender
