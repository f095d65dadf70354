// A finished tile as a record: the pixels of all layers.
#pragma once

#include "image/image.h"
#include "saving/bytes.h"
#include "saving/share.h"

#include <array>
#include <vector>

namespace lumorender {

/// What tiles took.
struct TileCost {
    std::uint64_t eyeRays = 0, secondaryRays = 0, shadowRays = 0, shaderCalls = 0;
    std::uint64_t droppedSamples = 0;  ///< that were not finite
    double seconds = 0;                ///< that the render had taken at the end of the tile, over all runs of it

    /// Counts are added; time goes on.
    TileCost& operator+=(const TileCost& other);
    /// The counts since `before`, at the time of this one.
    TileCost operator-(const TileCost& before) const;
};

/// The images' pixels in the tile. Of layers that are black there, nothing but that.
std::vector<std::byte> packTile(const std::vector<LayerImage>& images, const DataWindow& window, const Tile& tile,
                                const TileCost& cost);

/// Puts the tile back in its place. Throws Failure where the bytes do not fit.
TileCost unpackTile(std::span<const std::byte> bytes, const DataWindow& window, const Tile& tile,
                    std::vector<LayerImage>& images);

}  // namespace lumorender
