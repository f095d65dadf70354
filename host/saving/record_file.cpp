#include "saving/record_file.h"

#include "saving/digest.h"
#include "support/abort.h"
#include "support/files.h"
#include "support/messages.h"
#include "support/whole_file.h"

#include <algorithm>
#include <cstring>
#include <fstream>

namespace lumorender {

namespace {

constexpr std::uint32_t kByteOrder = 0x01020304;
constexpr std::size_t kMostLists = 8;

struct Header {
    std::array<char, 8> magic = {};
    std::uint32_t version = 0;
    std::uint32_t byteOrder = kByteOrder;
    std::array<std::uint64_t, kMostLists> counts = {};  ///< of the records in each list
    std::uint64_t checksum = 0;                         ///< of all records
};
static_assert(sizeof(Header) == 88);

/// What is wrong with the beginning of a file of this size; empty where nothing is.
std::string problemOf(const RecordFileKind& kind, const Header& header, std::uintmax_t size) {
    if (size < sizeof header || header.magic != kind.magic) return fmt::format("is no file of {}", kind.holds);
    if (header.byteOrder != kByteOrder) return "comes from a machine with another byte order";
    if (header.version != kind.version)
        return fmt::format("has version {}, expected version {}", header.version, kind.version);
    const std::uintmax_t bytes = size - sizeof header;
    std::uintmax_t records = 0;
    bool fits = true;
    for (std::size_t i = 0; i < kMostLists; ++i) {
        fits = fits && header.counts[i] <= (i < kind.lists ? bytes / kind.recordBytes - records : 0);
        if (fits) records += header.counts[i];
    }
    if (fits && records * kind.recordBytes == bytes) return {};
    return fmt::format("has {} bytes of {}, expected as many records of {} bytes as its header says", bytes, kind.holds,
                       kind.recordBytes);
}

std::uint64_t checksumOf(std::span<const std::span<const std::byte>> lists) {
    std::uint64_t sum = 0;
    for (const auto& list : lists) sum = digestOf(list, sum);
    return sum;
}

}  // namespace

bool readRecordFile(const RecordFileKind& kind, const std::filesystem::path& path, RecordFile& file,
                    std::string& problem) {
    problem.clear();
    std::error_code ignored;
    if (!std::filesystem::exists(path, ignored)) return false;
    if (const std::string obstacle = readFile(path, file.content); !obstacle.empty()) {
        problem = "is not read: " + obstacle;
        return false;
    }
    Header header;
    std::memcpy(&header, file.content.data(), std::min(file.content.size(), sizeof header));
    problem = problemOf(kind, header, file.content.size());
    if (!problem.empty()) return false;

    file.lists.clear();
    auto left = std::as_bytes(std::span(file.content)).subspan(sizeof header);
    for (std::size_t i = 0; i < kind.lists; ++i) {
        file.lists.push_back(left.first(header.counts[i] * kind.recordBytes));
        left = left.subspan(file.lists.back().size());
    }
    if (checksumOf(file.lists) != header.checksum) problem = "is damaged: its checksum is wrong";
    return problem.empty();
}

bool isRecordFile(const RecordFileKind& kind, const std::filesystem::path& path) {
    std::ifstream stream(path, std::ios::binary);
    std::array<char, sizeof kind.magic> magic = {};
    stream.read(magic.data(), magic.size());
    return stream.gcount() == 0 ? stream.eof() : magic == kind.magic;
}

bool writeRecordFile(const RecordFileKind& kind, const std::filesystem::path& path,
                     std::span<const std::span<const std::byte>> lists) {
    Header header;
    header.magic = kind.magic;
    header.version = kind.version;
    for (std::size_t i = 0; i < lists.size(); ++i) header.counts[i] = lists[i].size() / kind.recordBytes;
    header.checksum = checksumOf(lists);
    const WorkToKeep work;
    try {
        WholeFile target(path);
        target.write(&header, sizeof header);
        for (const auto& list : lists) target.write(list.data(), list.size());
        target.keep();
        return true;
    } catch (const Failure& failure) {
        error("RC", "file of {} \"{}\" cannot be written: {}", kind.holds, path.string(), failure.what());
        return false;
    }
}

}  // namespace lumorender
