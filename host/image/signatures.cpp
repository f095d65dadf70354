#include "image/signatures.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <string_view>

namespace lumorender {

namespace {

using namespace std::string_view_literals;

constexpr std::string_view kSignatures[] = {
    "\x89PNG\r\n\x1a\n"sv,
    "II*\0"sv,
    "MM\0*"sv,
    "II+\0"sv,
    "MM\0+"sv,             // png, tif
    "\x76\x2f\x31\x01"sv,  // exr
    "\xff\xd8\xff"sv,      // jpg
    "#?RADIANCE"sv,
    "#?RGBE"sv,  // hdr
    "FOR4"sv,
    "\x01\xda"sv,
    "SDPX"sv,
    "XPDS"sv,
    "\x53\x80\xf6\x34"sv,  // iff, rgb, dpx, pic
};

std::uint32_t bigEndian16(const unsigned char* bytes) { return bytes[0] * 256u + bytes[1]; }
std::uint32_t littleEndian16(const unsigned char* bytes) { return bytes[1] * 256u + bytes[0]; }

/// Formats whose letters could begin a text as well: more of their header has to fit.
bool hasTextSignature(std::string_view head) {
    const bool isPnm = head.size() > 2 && head[0] == 'P' &&
                       ((head[1] >= '1' && head[1] <= '7') || head[1] == 'F' || head[1] == 'f') &&
                       (head[2] == '\n' || head[2] == ' ' || head[2] == '\t' || head[2] == '\r');
    const bool isBmp = head.size() > 14 && head.starts_with("BM") && head.substr(6, 4) == "\0\0\0\0"sv;
    const bool isWebp = head.starts_with("RIFF") && head.size() > 12 && head.substr(8, 4) == "WEBP";
    return isPnm || isBmp || isWebp;
}

/// The renderer's own: a number, zero, width and height, and as many bytes as these say.
bool isNative(const unsigned char* head, std::size_t count, std::uintmax_t size) {
    constexpr struct {
        int magic;
        unsigned bits;
    } kKinds[] = {{3, 32}, {6, 64}, {11, 128}, {4, 8},   {7, 16}, {15, 32},
                  {8, 32}, {9, 96}, {10, 32},  {12, 96}, {13, 1}};
    if (count < 8 || head[1] != 0) return false;
    const std::uintmax_t width = bigEndian16(head + 2), height = bigEndian16(head + 4);
    return std::any_of(std::begin(kKinds), std::end(kKinds), [&](const auto& kind) {
        return head[0] == kind.magic && size == 8 + height * ((width * kind.bits + 7) / 8);
    });
}

/// Formats without a signature: a kind of pixels that exists, and a size.
bool isTarga(const unsigned char* head, std::size_t count) {
    if (count < 18) return false;
    const bool isKind = head[2] == 1 || head[2] == 2 || head[2] == 3 || (head[2] >= 9 && head[2] <= 11);
    const bool hasBits = head[16] == 8 || head[16] == 15 || head[16] == 16 || head[16] == 24 || head[16] == 32;
    return head[1] <= 1 && isKind && hasBits && littleEndian16(head + 12) > 0 && littleEndian16(head + 14) > 0;
}

bool isRla(const unsigned char* head, std::size_t count) {
    constexpr std::size_t kHeaderSize = 740, kRevision = 26;
    return count >= kHeaderSize && bigEndian16(head + kRevision) >= 0xFFFD;
}

}  // namespace

bool isImageFile(const std::filesystem::path& file) {
    std::error_code problem;
    const std::uintmax_t size = std::filesystem::file_size(file, problem);
    if (problem) return false;
    if (size == 0) return true;
    std::array<char, 1024> bytes{};
    std::ifstream stream(file, std::ios::binary);
    stream.read(bytes.data(), bytes.size());
    const auto count = static_cast<std::size_t>(stream.gcount());
    const std::string_view head(bytes.data(), count);
    const auto* raw = reinterpret_cast<const unsigned char*>(bytes.data());
    return std::any_of(std::begin(kSignatures), std::end(kSignatures),
                       [&](std::string_view signature) { return head.starts_with(signature); }) ||
           hasTextSignature(head) || isNative(raw, count, size) || isTarga(raw, count) || isRla(raw, count);
}

}  // namespace lumorender
