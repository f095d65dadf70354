#include "saving/digest.h"

#include <OpenImageIO/hash.h>
#include <fmt/format.h>

#include <fstream>
#include <vector>

namespace lumorender {

namespace {

constexpr std::uintmax_t kReadWhole = std::uintmax_t{64} << 20;

}  // namespace

std::uint64_t digestOf(std::span<const std::byte> bytes, std::uint64_t seed) {
    return OIIO::xxhash::XXH64(bytes.data(), bytes.size(), seed);
}

std::uint64_t digestOf(std::string_view text) { return OIIO::xxhash::XXH64(text.data(), text.size(), 0); }

std::string fileDigest(const std::filesystem::path& file) {
    std::error_code failure;
    if (!std::filesystem::is_regular_file(file, failure)) return {};
    const std::uintmax_t size = std::filesystem::file_size(file, failure);
    if (failure) return {};
    if (size > kReadWhole) {
        const auto changed = std::filesystem::last_write_time(file, failure).time_since_epoch();
        if (failure) return {};
        return fmt::format("{} bytes of {}", size, std::chrono::duration_cast<std::chrono::seconds>(changed).count());
    }
    std::vector<char> content(size);
    std::ifstream stream(file, std::ios::binary);
    if (!stream.read(content.data(), static_cast<std::streamsize>(size))) return {};
    return fmt::format("{} bytes {:016x}", size, digestOf(std::string_view(content.data(), content.size())));
}

}  // namespace lumorender
