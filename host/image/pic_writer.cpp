// `pic`, the picture format of old animation packages that archived scenes name most: a big-endian header of 104 bytes, a
// description of channel packets, then the rows from the top, each packet of a row in mixed run lengths.
//
// header   magic 0x5380F634, version (float), 80 bytes of comment, "PICT", width, height (16 bits each), shape of a pixel
//          (float, width by height), fields (3 = whole frames), 2 bytes of padding
// packet   1 where another follows, bits per value, 2 for mixed run lengths, channels (0x80 red, 0x40, 0x20, 0x10 alpha)
// run      a byte n: below 128, n + 1 different pixels follow; 128, a 16-bit count and one pixel; above, one pixel
//          n - 127 times
#include "image/layers.h"
#include "image/pixel_encoding.h"

#include "support/whole_file.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace lumorender {
namespace {

using Bytes = std::string;

constexpr std::uint32_t kMagic = 0x5380F634;
constexpr float kVersion = 3.5f;
constexpr std::size_t kCommentSize = 80;
constexpr std::uint32_t kWholeFrames = 3, kMixedRunLengths = 2, kColors = 0xE0, kAlpha = 0x10;
constexpr std::size_t kLongestRaw = 128, kLongestRun = 65535, kShortestLongRun = 129;

void put8(Bytes& bytes, std::uint32_t value) { bytes += static_cast<char>(value & 255); }
void put16(Bytes& bytes, std::uint32_t value) { put8(bytes, value >> 8), put8(bytes, value); }
void put32(Bytes& bytes, std::uint32_t value) { put16(bytes, value >> 16), put16(bytes, value); }
void putFloat(Bytes& bytes, float value) { put32(bytes, std::bit_cast<std::uint32_t>(value)); }

void putHeader(Bytes& bytes, const DataWindow& window, float shape, std::string comment) {
    put32(bytes, kMagic);
    putFloat(bytes, kVersion);
    comment.resize(kCommentSize - 1);
    bytes += comment;
    put8(bytes, 0);
    bytes += "PICT";
    put16(bytes, static_cast<std::uint32_t>(window.fullWidth));
    put16(bytes, static_cast<std::uint32_t>(window.fullHeight));
    putFloat(bytes, shape);
    put16(bytes, kWholeFrames);
    put16(bytes, 0);
}

void putPacket(Bytes& bytes, bool another, std::uint32_t channels) {
    put8(bytes, another ? 1 : 0);
    put8(bytes, 8);
    put8(bytes, kMixedRunLengths);
    put8(bytes, channels);
}

/// A row of one packet: `size` bytes for each of `count` pixels.
void putRow(Bytes& bytes, const char* row, std::size_t count, std::size_t size) {
    const auto same = [&](std::size_t a, std::size_t b) {
        return std::memcmp(row + a * size, row + b * size, size) == 0;
    };
    const auto runAt = [&](std::size_t at) {
        std::size_t end = at + 1;
        while (end < count && end - at < kLongestRun && same(at, end)) ++end;
        return end - at;
    };
    for (std::size_t at = 0; at < count;) {
        const std::size_t run = runAt(at);
        if (run > 1) {
            put8(bytes, static_cast<std::uint32_t>(run < kShortestLongRun ? run + 127 : 128));
            if (run >= kShortestLongRun) put16(bytes, static_cast<std::uint32_t>(run));
            bytes.append(row + at * size, size);
            at += run;
            continue;
        }
        std::size_t end = at + 1;
        while (end < count && end - at < kLongestRaw && runAt(end) == 1) ++end;
        put8(bytes, static_cast<std::uint32_t>(end - at - 1));
        bytes.append(row + at * size, (end - at) * size);
        at = end;
    }
}

std::string textOf(const Metadata& metadata, const char* key) {
    const auto found = metadata.find(key);
    const auto* text = found == metadata.end() ? nullptr : std::get_if<std::string>(&found->second);
    return text ? *text : std::string();
}

}  // namespace

void writePic(WholeFile& target, const ImageFile& file, const DataWindow& window, const Metadata& metadata) {
    const FileLayer& layer = file.layers.front();
    const bool hasAlpha = pixelFormat(layer.type).channels == 4;
    const std::size_t channels = hasAlpha ? 4 : 3, width = static_cast<std::size_t>(window.fullWidth);
    const std::vector<float> pixels = filePixels(layer, window, {static_cast<int>(channels), 8}, file.colors, true);

    Bytes bytes;
    const std::string incomplete = textOf(metadata, "incomplete");
    putHeader(bytes, window, pixelShape(metadata), incomplete.empty() ? textOf(metadata, "software") : incomplete);
    putPacket(bytes, hasAlpha, kColors);
    if (hasAlpha) putPacket(bytes, false, kAlpha);
    target.write(bytes);

    Bytes colors(width * 3, '\0'), alphas(width, '\0');
    for (std::size_t first = 0; first < pixels.size(); first += width * channels) {
        for (std::size_t x = 0; x < width; ++x) {
            const float* pixel = &pixels[first + x * channels];
            for (std::size_t c = 0; c < 3; ++c) colors[x * 3 + c] = static_cast<char>(quantize(pixel[c], 255));
            if (hasAlpha) alphas[x] = static_cast<char>(quantize(pixel[3], 255));
        }
        bytes.clear();
        putRow(bytes, colors.data(), width, 3);
        if (hasAlpha) putRow(bytes, alphas.data(), width, 1);
        target.write(bytes);
    }
}

}  // namespace lumorender
