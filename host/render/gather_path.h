// Where in a tree of gathering rays a thread is.
#pragma once

#include <cstddef>
#include <vector>

namespace lumorender {

struct GatherPoint;

/// All zero in the surface that an eye ray sees.
struct GatherPath {
    int depth = 0;                               ///< gatherings on the way to the running shader
    int reflections = 0, refractions = 0;        ///< ray levels where the first one began
    std::vector<GatherPoint>* points = nullptr;  ///< takes what is gathered for surfaces that eye rays see
    std::size_t first = 0;                       ///< of the running sample's points
};

}  // namespace lumorender
