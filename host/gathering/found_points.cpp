#include "gathering/found_points.h"

#include "saving/bytes.h"

#include <algorithm>

namespace lumorender {

std::vector<std::byte> packBlock(const FoundPoints& found, std::size_t firstRun, std::uint64_t block) {
    ByteWriter out;
    for (std::size_t i = firstRun; i < found.runs.size(); ++i) {
        const FoundPoints::Run& run = found.runs[i];
        out.put(static_cast<std::uint32_t>(run.number - block));
        out.put(static_cast<std::uint32_t>(run.count));
        out.putWords(&found.entries[run.first], run.count);
    }
    return std::move(out.bytes);
}

bool unpackBlock(std::span<const std::byte> bytes, std::uint64_t block, FoundPoints& found) {
    const std::size_t points = found.entries.size(), runs = found.runs.size();
    bool good = true;
    try {
        for (ByteReader in(bytes); good && !in.atEnd();) {
            const auto place = in.take<std::uint32_t>(), count = in.take<std::uint32_t>();
            const std::size_t first = found.entries.size();
            good = count <= bytes.size() / sizeof(GatherPoint);
            if (!good) break;
            found.entries.resize(first + count);
            in.getWords(found.entries.data() + first, count);
            found.runs.push_back({block + place, first, count});
        }
    } catch (const Failure&) {
        good = false;
    }
    good =
        good && std::all_of(found.entries.begin() + static_cast<std::ptrdiff_t>(points), found.entries.end(), isSound);
    if (good) return true;
    found.entries.resize(points);
    found.runs.resize(runs);
    return false;
}

std::vector<std::byte> packPoints(std::span<const GatherPoint> points) {
    const auto bytes = std::as_bytes(points);
    return {bytes.begin(), bytes.end()};
}

std::optional<std::vector<GatherPoint>> unpackPoints(std::span<const std::byte> bytes) {
    std::vector<GatherPoint> points(bytes.size() / sizeof(GatherPoint));
    if (bytes.size() != points.size() * sizeof(GatherPoint)) return std::nullopt;
    ByteReader(bytes).getWords(points.data(), points.size());
    if (!std::all_of(points.begin(), points.end(), isSound)) return std::nullopt;
    return points;
}

}  // namespace lumorender
