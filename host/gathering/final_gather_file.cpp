#include "gathering/final_gather_file.h"

#include "saving/record_file.h"

#include <algorithm>
#include <cstring>

namespace lumorender {

namespace {

constexpr RecordFileKind kKind = {
    {'G', 'A', 'T', 'H', 'E', 'R', 'P', 'T'}, 3, 1, sizeof(GatherPoint), "final gather points"};

}  // namespace

std::optional<std::vector<GatherPoint>> readGatherFile(const std::filesystem::path& path, std::string& problem) {
    RecordFile file;
    if (!readRecordFile(kKind, path, file, problem)) return std::nullopt;
    const auto& bytes = file.lists.front();
    std::vector<GatherPoint> points(bytes.size() / sizeof(GatherPoint));
    std::memcpy(points.data(), bytes.data(), bytes.size());
    if (std::all_of(points.begin(), points.end(), isSound)) return points;
    problem = "holds points that are no numbers";
    return std::nullopt;
}

bool isGatherFile(const std::filesystem::path& path) { return isRecordFile(kKind, path); }

bool writeGatherFile(const std::filesystem::path& path, std::span<const GatherPoint> points) {
    const auto bytes = std::as_bytes(points);
    return writeRecordFile(kKind, path, {&bytes, 1});
}

}  // namespace lumorender
