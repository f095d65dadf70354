// The renderer's own image formats: a byte that tells the format, a zero byte, width, height and version as big-endian
// 16-bit numbers, then the pixels from the lower left corner, big-endian too.
//
// ct colors (four components), st one scalar, zt depth, nt normals, mt motion, tt labels, bit one bit per pixel.
// Colors and scalars come in 8, 16 bits and floats; the bits of `bit` fill bytes from the highest, rows begin on bytes.
#include "image/file_formats.h"
#include "image/layers.h"
#include "image/pixel_encoding.h"

#include "support/messages.h"
#include "support/whole_file.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

namespace lumorender {
namespace {

struct NativeFormat {
    std::string_view name;
    int channels;
    std::uint8_t magic8, magic16, magicFloat;  ///< 0 where the format has no such depth
};

constexpr NativeFormat kFormats[] = {
    {"ct", 4, 3, 6, 11}, {"st", 1, 4, 7, 15}, {"zt", 1, 0, 0, 8},   {"nt", 3, 0, 0, 9},
    {"tt", 1, 0, 0, 10}, {"mt", 3, 0, 0, 12}, {"bit", 1, 13, 0, 0},
};

constexpr std::uint16_t kVersion = 0;
using Bytes = std::string;

void put8(Bytes& bytes, std::uint32_t value) { bytes += static_cast<char>(value & 255); }
void put16(Bytes& bytes, std::uint32_t value) { put8(bytes, value >> 8), put8(bytes, value); }
void put32(Bytes& bytes, std::uint32_t value) { put16(bytes, value >> 16), put16(bytes, value); }

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
            put16(bytes, quantize(value, 65535));
        else
            put8(bytes, quantize(value, 255));
    }
}

}  // namespace

void writeNative(WholeFile& target, const FileFormat& asked, const ImageFile& file, const DataWindow& window) {
    const auto& format = *std::find_if(std::begin(kFormats), std::end(kFormats),
                                       [&](const NativeFormat& each) { return each.name == asked.name(); });
    const FileLayer& layer = file.layers.front();
    const std::uint8_t magic = magicOf(format, pixelFormat(layer.type).bitDepth);

    Bytes bytes;
    putHeader(bytes, magic, window);
    if (pixelFormat(layer.type).integer) {
        for (const std::uint32_t label : fullLabels(*layer.image, window, false)) put32(bytes, label);
    } else {
        const int depth = magic == format.magicFloat ? 32 : magic == format.magic16 ? 16 : 8;
        const auto pixels = filePixels(layer, window, {format.channels, depth}, file.colors, false);
        if (format.name == "bit")
            putBits(bytes, pixels, window.fullWidth);
        else
            putValues(bytes, format, magic, pixels);
    }
    target.write(bytes);
}

}  // namespace lumorender
