#include "photometry/photometric_files.h"

#include "photometry/photometric_text.h"
#include "support/files.h"

#include <fmt/format.h>

#include <string>

namespace lumorender {

namespace {

constexpr std::size_t kLargestFile = std::size_t{16} << 20;

std::string contentOf(const std::filesystem::path& file) {
    std::string content;
    if (const std::string problem = readFile(file, content); !problem.empty()) throw PhotometricError{0, problem};
    if (content.size() > kLargestFile)
        throw PhotometricError{0, fmt::format("found more than {} bytes, expected a light profile", kLargestFile)};
    if (content.empty()) throw PhotometricError{0, "the file is empty"};
    return content;
}

}  // namespace

LightDistribution readPhotometricFile(const std::filesystem::path& file, PhotometricFormat format, Curve curve) {
    const std::string content = contentOf(file);
    return {format == PhotometricFormat::Ies ? readIes(content) : readEulumdat(content), curve};
}

}  // namespace lumorender
