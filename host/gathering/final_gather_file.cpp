#include "gathering/final_gather_file.h"

#include "support/abort.h"
#include "support/files.h"
#include "support/messages.h"
#include "support/whole_file.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <fstream>

namespace lumorender {

namespace {

constexpr std::array<char, 8> kMagic = {'G', 'A', 'T', 'H', 'E', 'R', 'P', 'T'};
constexpr std::uint32_t kVersion = 2;
constexpr std::uint32_t kByteOrder = 0x01020304;

struct Header {
    std::array<char, 8> magic = kMagic;
    std::uint32_t version = kVersion;
    std::uint32_t byteOrder = kByteOrder;
    std::uint64_t count = 0;
    std::uint64_t checksum = 0;  ///< of the points
};
static_assert(sizeof(Header) == 32);

/// FNV-1a over 32-bit words.
std::uint64_t checksumOf(std::span<const GatherPoint> points) {
    std::uint64_t sum = 0xcbf29ce484222325u;
    for (const GatherPoint& point : points) {
        std::array<std::uint32_t, sizeof point / 4> words;
        std::memcpy(words.data(), &point, sizeof point);
        for (const std::uint32_t word : words) sum = (sum ^ word) * 0x100000001b3u;
    }
    return sum;
}

/// What is wrong with the beginning of a file of this size; empty where nothing is.
std::string problemOf(const Header& header, std::uintmax_t size) {
    if (size < sizeof header || header.magic != kMagic) return "is no file of final gather points";
    if (header.byteOrder != kByteOrder) return "comes from a machine with another byte order";
    if (header.version != kVersion) return fmt::format("has version {}, expected version {}", header.version, kVersion);
    const std::uintmax_t bytes = size - sizeof header;
    if (header.count != bytes / sizeof(GatherPoint) || bytes % sizeof(GatherPoint) != 0)
        return fmt::format("has {} bytes of points, expected {} points of {} bytes", bytes, header.count,
                           sizeof(GatherPoint));
    return {};
}

}  // namespace

std::optional<std::vector<GatherPoint>> readGatherFile(const std::filesystem::path& file, std::string& problem) {
    problem.clear();
    std::error_code ignored;
    if (!std::filesystem::exists(file, ignored)) return std::nullopt;
    std::string content;
    if (const std::string obstacle = readFile(file, content); !obstacle.empty()) {
        problem = "is not read: " + obstacle;
        return std::nullopt;
    }
    Header header;
    header.magic = {};
    std::memcpy(&header, content.data(), std::min(content.size(), sizeof header));
    problem = problemOf(header, content.size());
    if (!problem.empty()) return std::nullopt;

    std::vector<GatherPoint> points(header.count);
    std::memcpy(points.data(), content.data() + sizeof header, content.size() - sizeof header);
    if (checksumOf(points) != header.checksum)
        problem = "is damaged: its checksum is wrong";
    else if (!std::all_of(points.begin(), points.end(), isSound))
        problem = "holds points that are no numbers";
    if (!problem.empty()) return std::nullopt;
    return points;
}

bool isGatherFile(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    std::array<char, kMagic.size()> magic = {};
    stream.read(magic.data(), magic.size());
    return stream.gcount() == 0 ? stream.eof() : magic == kMagic;
}

bool writeGatherFile(const std::filesystem::path& file, std::span<const GatherPoint> points) {
    Header header;
    header.count = points.size();
    header.checksum = checksumOf(points);
    const WorkToKeep work;
    try {
        WholeFile target(file);
        target.write(&header, sizeof header);
        target.write(points.data(), points.size_bytes());
        target.keep();
        return true;
    } catch (const Failure& failure) {
        error("RC", "final gather file \"{}\" cannot be written: {}", file.string(), failure.what());
        return false;
    }
}

}  // namespace lumorender
