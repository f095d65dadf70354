#include "photometry/photometric_files.h"

#include "photometry/photometric_text.h"

#include <fmt/format.h>

#include <fstream>
#include <string>

namespace lumorender {

namespace {

constexpr std::size_t kLargestFile = std::size_t{16} << 20;

std::string contentOf(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::string content;
    char block[1 << 14];
    while (in.read(block, sizeof block) || in.gcount() > 0) {
        content.append(block, static_cast<std::size_t>(in.gcount()));
        if (content.size() > kLargestFile)
            throw PhotometricError{0, fmt::format("found more than {} bytes, expected a light profile", kLargestFile)};
    }
    if (content.empty()) throw PhotometricError{0, "the file cannot be read, or is empty"};
    return content;
}

}  // namespace

LightDistribution readPhotometricFile(const std::filesystem::path& file, PhotometricFormat format, Curve curve) {
    const std::string content = contentOf(file);
    return {format == PhotometricFormat::Ies ? readIes(content) : readEulumdat(content), curve};
}

}  // namespace lumorender
