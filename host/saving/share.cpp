#include "saving/share.h"

#include <algorithm>
#include <cstdint>
#include <numeric>

namespace lumorender {

namespace {

/// The bits of a number with a gap behind each.
std::uint64_t spread(std::uint64_t bits) {
    bits = (bits | bits << 16) & 0x0000ffff0000ffffU;
    bits = (bits | bits << 8) & 0x00ff00ff00ff00ffU;
    bits = (bits | bits << 4) & 0x0f0f0f0f0f0f0f0fU;
    bits = (bits | bits << 2) & 0x3333333333333333U;
    return (bits | bits << 1) & 0x5555555555555555U;
}

}  // namespace

std::vector<Tile> tilesOf(const DataWindow& window, int size) {
    std::vector<Tile> tiles;
    for (int y = window.y0 + window.height; y > window.y0; y -= size)
        for (int x = window.x0; x < window.x0 + window.width; x += size) {
            const int low = std::max(window.y0, y - size);
            tiles.push_back({x, low, std::min(size, window.x0 + window.width - x), y - low});
        }
    return tiles;
}

std::vector<int> tilesOfShare(const DataWindow& window, int size, const Share& share) {
    const int columns = (window.width + size - 1) / size, rows = (window.height + size - 1) / size;
    std::vector<int> tiles(static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows));
    std::iota(tiles.begin(), tiles.end(), 0);
    if (share.isWhole()) return tiles;
    const auto place = [&](int tile) {
        return spread(static_cast<std::uint64_t>(tile % columns)) | spread(static_cast<std::uint64_t>(tile / columns))
                                                                        << 1;
    };
    std::sort(tiles.begin(), tiles.end(), [&](int a, int b) { return place(a) < place(b); });
    std::vector<int> own;
    if (!share.isPointsOnly())
        for (auto i = static_cast<std::size_t>(share.number - 1); i < tiles.size();
             i += static_cast<std::size_t>(share.count))
            own.push_back(tiles[i]);
    std::sort(own.begin(), own.end());
    return own;
}

}  // namespace lumorender
