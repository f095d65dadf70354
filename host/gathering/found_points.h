// Points as a thread finds them, place by place, and the bytes in which blocks of places are kept.
#pragma once

#include "gathering/final_gather_points.h"

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace lumorender {

struct FoundPoints {
    /// What was found at one place, in the order in which its shaders asked.
    struct Run {
        long place;
        std::size_t first, count;
    };
    std::vector<GatherPoint> points;
    std::vector<Run> runs;

    void clear() {
        points.clear();
        runs.clear();
    }
};

/// The runs from `firstRun` on, which are those of the block that begins at the place `block`.
std::vector<std::byte> packBlock(const FoundPoints& found, std::size_t firstRun, long block);
/// Adds a block's points. False, and nothing, where the bytes are no such block.
bool unpackBlock(std::span<const std::byte> bytes, long block, FoundPoints& found);

std::vector<std::byte> packPoints(std::span<const GatherPoint> points);
std::optional<std::vector<GatherPoint>> unpackPoints(std::span<const std::byte> bytes);

}  // namespace lumorender
