// Points of indirect light between runs of a render: what a former run made, and where new ones are kept.
#pragma once

#include "saving/record_writer.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <unordered_map>
#include <vector>

namespace lumorender {

/// Blocks of places of a grid, as bytes. One without contents has none, and keeps none.
class SavedPoints {
public:
    using Bytes = std::vector<std::byte>;

    /// A number for block `block` of the grid `level` of a stage.
    static std::uint32_t numberOf(bool isOcclusion, int level, long block) {
        return (isOcclusion ? 1U : 0U) << 31 | static_cast<std::uint32_t>(level & 7) << 28 |
               (static_cast<std::uint32_t>(block) & 0x0fffffffU);
    }

    /// What the block holds, or null where it was not finished.
    const Bytes* find(std::uint32_t number) const {
        const auto found = blocks_.find(number);
        return found == blocks_.end() ? nullptr : &found->second;
    }
    /// Keeps a finished block. From any thread.
    void keep(std::uint32_t number, Bytes block) const {
        if (onRecord) onRecord(RecordKind::PointBlock, number, std::move(block));
    }
    /// Keeps the points that came from files, which may be others when the render goes on.
    void keepGiven(Bytes points) const {
        if (onRecord) onRecord(RecordKind::GivenPoints, 0, std::move(points));
    }
    bool keeps() const { return static_cast<bool>(onRecord); }

    void restore(std::uint32_t number, Bytes block) { blocks_.insert_or_assign(number, std::move(block)); }

    std::optional<Bytes> given;                                             ///< what the first run took from files
    std::function<void(RecordKind, std::uint32_t number, Bytes)> onRecord;  ///< takes what is new

private:
    std::unordered_map<std::uint32_t, Bytes> blocks_;
};

}  // namespace lumorender
