// The renderer's own image formats: a byte that tells the format, a zero byte, width, height and version as big-endian
// 16-bit numbers, then the pixels from the lower left corner, big-endian too.
//
// ct colors (four components), st one scalar, zt depth, nt normals, mt motion, tt labels, bit one bit per pixel.
// Colors and scalars come in 8, 16 bits and floats; the bits of `bit` fill bytes from the highest, rows begin on bytes.
#include "image/layers.h"

#include "support/messages.h"
#include "support/whole_file.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

namespace lumorender {
namespace {

struct NativeFormat {
    const char* name;
    int channels;
    bool integer;
    std::uint8_t magic8, magic16, magicFloat;  ///< 0 where the format has no such depth
};

constexpr NativeFormat kFormats[] = {
    {"ct", 4, false, 3, 6, 11}, {"st", 1, false, 4, 7, 15}, {"zt", 1, false, 0, 0, 8},   {"nt", 3, false, 0, 0, 9},
    {"tt", 1, true, 0, 0, 10},  {"mt", 3, false, 0, 0, 12}, {"bit", 1, false, 13, 0, 0},
};

constexpr std::uint16_t kVersion = 0;
constexpr int kLargestSize = 65535;

const NativeFormat* find(const std::string& name) {
    const auto* end = std::end(kFormats);
    const auto* found = std::find_if(std::begin(kFormats), end, [&](const NativeFormat& f) { return name == f.name; });
    return found == end ? nullptr : found;
}

using Bytes = std::string;

void put8(Bytes& bytes, std::uint32_t value) { bytes += static_cast<char>(value & 255); }
void put16(Bytes& bytes, std::uint32_t value) { put8(bytes, value >> 8), put8(bytes, value); }
void put32(Bytes& bytes, std::uint32_t value) { put16(bytes, value >> 16), put16(bytes, value); }

/// Nearest of the numbers 0..largest; what is no number becomes 0.
std::uint32_t quantise(float value, float largest) {
    return value > 0 ? static_cast<std::uint32_t>(std::lround(std::min(value, 1.0f) * largest)) : 0;
}

void putHeader(Bytes& bytes, std::uint8_t magic, const DataWindow& window) {
    put8(bytes, magic);
    put8(bytes, 0);
    put16(bytes, static_cast<std::uint32_t>(window.fullWidth));
    put16(bytes, static_cast<std::uint32_t>(window.fullHeight));
    put16(bytes, kVersion);
}

void putBits(Bytes& bytes, const std::vector<float>& pixels, int width) {
    for (std::size_t first = 0; first < pixels.size(); first += static_cast<std::size_t>(width)) {
        for (int x = 0; x < width; x += 8) {
            std::uint32_t byte = 0;
            for (int bit = 0; bit < std::min(8, width - x); ++bit)
                if (pixels[first + static_cast<std::size_t>(x + bit)] >= 0.5f) byte |= 128u >> bit;
            put8(bytes, byte);
        }
    }
}

void putLabels(Bytes& bytes, const LayerImage& layer, const DataWindow& window) {
    for (int y = 0; y < window.fullHeight; ++y)
        for (int x = 0; x < window.fullWidth; ++x) {
            const int column = x - window.x0, row = y - window.y0;
            const bool inside = column >= 0 && column < window.width && row >= 0 && row < window.height;
            put32(bytes, inside ? layer.labels[static_cast<std::size_t>(row) * static_cast<std::size_t>(window.width) +
                                               static_cast<std::size_t>(column)]
                                : 0);
        }
}

/// The magic byte for the layer's depth, or for the next better depth that the format has.
std::uint8_t magicOf(const NativeFormat& format, int bitDepth) {
    if (bitDepth <= 8 && format.magic8) return format.magic8;
    if (bitDepth <= 16 && format.magic16) return format.magic16;
    return format.magicFloat ? format.magicFloat : format.magic8;
}

void putValues(Bytes& bytes, const NativeFormat& format, std::uint8_t magic, const std::vector<float>& pixels) {
    for (const float value : pixels) {
        if (magic == format.magicFloat)
            put32(bytes, std::bit_cast<std::uint32_t>(value));
        else if (magic == format.magic16)
            put16(bytes, quantise(value, 65535));
        else
            put8(bytes, quantise(value, 255));
    }
}

void checkFit(const NativeFormat& format, const LayerImage& layer, const DataWindow& window) {
    const PixelFormat pixel = pixelFormat(layer.type);
    const bool color = format.channels == 4 && pixel.channels >= 3 && pixel.color;
    if (pixel.integer != format.integer || (!color && pixel.channels != format.channels))
        throw Failure(
            fmt::format("the format {} cannot hold the data type {}", format.name, imageTypeName(layer.type)));
    if (std::max(window.fullWidth, window.fullHeight) > kLargestSize)
        throw Failure(fmt::format("the format {} ends at {} pixels", format.name, kLargestSize));
}

}  // namespace

bool isNativeFormat(const std::string& format) { return find(format) != nullptr; }

void writeNative(WholeFile& target, const std::string& name, const LayerImage& layer, const DataWindow& window) {
    const NativeFormat& format = *find(name);
    checkFit(format, layer, window);
    const std::uint8_t magic = magicOf(format, pixelFormat(layer.type).bitDepth);

    Bytes bytes;
    putHeader(bytes, magic, window);
    if (format.integer)
        putLabels(bytes, layer, window);
    else if (const auto pixels = fullImage(layer.type, layer.pixels, window, format.channels, false); name == "bit")
        putBits(bytes, pixels, window.fullWidth);
    else
        putValues(bytes, format, magic, pixels);
    target.write(bytes);
}

}  // namespace lumorender
