// Digests: short numbers that tell contents apart. They find accidents and differences, not forgeries.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>

namespace lumorender {

/// XXH64 of the bytes; another `seed` gives another digest of the same bytes.
std::uint64_t digestOf(std::span<const std::byte> bytes, std::uint64_t seed = 0);
std::uint64_t digestOf(std::string_view text);

/// What tells a file from another version of it: a digest of its content up to 64 MB, its size and time of change
/// above. Copies of small files are equal whatever their times; large ones would have to be read for that.
/// Empty where it is no regular file or cannot be read.
std::string fileDigest(const std::filesystem::path& file);

}  // namespace lumorender
