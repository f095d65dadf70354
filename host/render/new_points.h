// Points that a thread makes before tiles are rendered, and look-ups that know of them.
#pragma once

#include "mi/types.h"

#include <cstddef>
#include <vector>

namespace lumorender {

struct GatherPoint;
struct GatherQuery;
class GatherPoints;

/// Takes the points of one kind; no vector while none are made.
struct NewPoints {
    std::vector<GatherPoint>* points = nullptr;
    std::size_t first = 0;  ///< of the running sample's points
};

/// What is known of a place, from the points around it or, where points are made, from one that the running sample has
/// just made there. `query.enough` counts while points are made: places that are reached less get one of their own.
bool findKnown(const GatherPoints& known, const NewPoints& made, GatherQuery query, miColor& value);

}  // namespace lumorender
