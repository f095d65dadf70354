#include "saving/tile_record.h"

#include <algorithm>

namespace lumorender {

namespace {

/// The rows of a tile in one of an image's planes, in words: colors and labels have the same size.
class TilePlane {
public:
    TilePlane(void* pixels, int imageWidth, int channels, const DataWindow& window, const Tile& tile)
        : first_(static_cast<std::uint32_t*>(pixels) +
                 (static_cast<std::size_t>(tile.y - window.y0) * static_cast<std::size_t>(imageWidth) +
                  static_cast<std::size_t>(tile.x - window.x0)) *
                     static_cast<std::size_t>(channels)),
          step_(static_cast<std::size_t>(imageWidth) * static_cast<std::size_t>(channels)),
          words_(static_cast<std::size_t>(tile.width) * static_cast<std::size_t>(channels)),
          rows_(static_cast<std::size_t>(tile.height)) {}

    bool isZero() const {
        for (std::size_t row = 0; row < rows_; ++row)
            if (std::any_of(at(row), at(row) + words_, [](std::uint32_t word) { return word != 0; })) return false;
        return true;
    }
    void put(ByteWriter& out) const {
        const bool zero = isZero();
        out.put(static_cast<std::uint8_t>(!zero));
        for (std::size_t row = 0; row < rows_ && !zero; ++row) out.putWords(at(row), words_);
    }
    void get(ByteReader& in) const {
        const bool stands = in.take<std::uint8_t>() != 0;
        for (std::size_t row = 0; row < rows_; ++row)
            if (stands)
                in.getWords(at(row), words_);
            else
                std::fill_n(at(row), words_, 0U);
    }

private:
    std::uint32_t* at(std::size_t row) const { return first_ + row * step_; }

    std::uint32_t* first_;
    std::size_t step_, words_, rows_;
};

/// All planes of the images, in their order in records. Only the tile's part of them is touched.
template <class Visit>
void forEachPlane(const std::vector<LayerImage>& images, const DataWindow& window, const Tile& tile, Visit visit) {
    for (const LayerImage& image : images) {
        const PixelFormat format = pixelFormat(image.type);
        const int channels = format.integer ? 1 : format.channels;
        const auto plane = [&](const auto& pixels) {
            visit(TilePlane(const_cast<void*>(static_cast<const void*>(pixels.data())), image.width, channels, window,
                            tile));
        };
        if (format.integer)
            plane(image.labels);
        else
            plane(image.pixels);
        if (!image.shown.empty()) plane(image.shown);
    }
}

}  // namespace

TileCost& TileCost::operator+=(const TileCost& other) {
    eyeRays += other.eyeRays;
    secondaryRays += other.secondaryRays;
    shadowRays += other.shadowRays;
    shaderCalls += other.shaderCalls;
    droppedSamples += other.droppedSamples;
    seconds = std::max(seconds, other.seconds);
    return *this;
}

TileCost TileCost::operator-(const TileCost& before) const {
    return {eyeRays - before.eyeRays,         secondaryRays - before.secondaryRays,   shadowRays - before.shadowRays,
            shaderCalls - before.shaderCalls, droppedSamples - before.droppedSamples, seconds};
}

std::vector<std::byte> packTile(const std::vector<LayerImage>& images, const DataWindow& window, const Tile& tile,
                                const TileCost& cost) {
    ByteWriter out;
    out.put(cost);
    forEachPlane(images, window, tile, [&](const TilePlane& plane) { plane.put(out); });
    return std::move(out.bytes);
}

TileCost unpackTile(std::span<const std::byte> bytes, const DataWindow& window, const Tile& tile,
                    std::vector<LayerImage>& images) {
    ByteReader in(bytes);
    const auto cost = in.take<TileCost>();
    forEachPlane(images, window, tile, [&](const TilePlane& plane) { plane.get(in); });
    if (!in.atEnd()) throw Failure("a tile holds more than it should");
    return cost;
}

}  // namespace lumorender
