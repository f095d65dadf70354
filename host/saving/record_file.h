// Files that keep lists of records of one size from one render to the next: points of indirect light, photons.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

namespace lumorender {

/// A kind of such files.
struct RecordFileKind {
    std::array<char, 8> magic;
    std::uint32_t version;
    std::uint32_t lists;        ///< in each file, up to 8
    std::uint32_t recordBytes;  ///< of each record of all lists
    const char* holds;          ///< what the file holds, for messages: "photon maps"
};

/// The lists of a file, as bytes of whole records. They stand in `content`: it stays where it is as long as they are used.
struct RecordFile {
    std::string content;
    std::vector<std::span<const std::byte>> lists;
};

/// Reads a file. False where it is missing or broken: why is written to `problem`, empty where the file is just not
/// there. A file that was cut short or changed is told from a good one by its length and its checksum.
bool readRecordFile(const RecordFileKind& kind, const std::filesystem::path& path, RecordFile& file,
                    std::string& problem);

/// Whether the file begins as those of the kind do, or is empty.
bool isRecordFile(const RecordFileKind& kind, const std::filesystem::path& path);

/// Writes as many lists as the kind has. The file is either the old one or the new one. Reports errors itself.
bool writeRecordFile(const RecordFileKind& kind, const std::filesystem::path& path,
                     std::span<const std::span<const std::byte>> lists);

}  // namespace lumorender
