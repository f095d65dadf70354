// Points of final gathering in files, kept from one render to the next.
#pragma once

#include "gathering/final_gather_points.h"

#include <filesystem>
#include <optional>
#include <vector>

namespace lumorender {

/// The points of a file, or none where it is missing or broken: why is written to `problem`, empty where the file is
/// just not there. A file that was cut short or changed is told from a good one by its checksum.
std::optional<std::vector<GatherPoint>> readGatherFile(const std::filesystem::path& path, std::string& problem);

/// Whether the file begins as those of points do, or is empty.
bool isGatherFile(const std::filesystem::path& path);

/// The file is either the old one or the new one. Reports errors itself.
bool writeGatherFile(const std::filesystem::path& path, std::span<const GatherPoint> points);

}  // namespace lumorender
