// Points as a thread finds them, place by place, and the bytes in which blocks of places are kept.
#pragma once

#include "gathering/final_gather_points.h"
#include "support/found_runs.h"

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace lumorender {

/// A run is what was found at the place of that number, in the order in which its shaders asked.
using FoundPoints = FoundRuns<GatherPoint>;

/// The runs from `firstRun` on, which are those of the block that begins at the place `block`.
std::vector<std::byte> packBlock(const FoundPoints& found, std::size_t firstRun, std::uint64_t block);
/// Adds a block's points. False, and nothing, where the bytes are no such block.
bool unpackBlock(std::span<const std::byte> bytes, std::uint64_t block, FoundPoints& found);

std::vector<std::byte> packPoints(std::span<const GatherPoint> points);
std::optional<std::vector<GatherPoint>> unpackPoints(std::span<const std::byte> bytes);

}  // namespace lumorender
