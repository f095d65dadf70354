// Where in a tree of gathering rays a thread is.
#pragma once

namespace lumorender {

/// All zero in the surface that an eye ray sees.
struct GatherPath {
    int depth = 0;                         ///< gatherings on the way to the running shader
    int reflections = 0, refractions = 0;  ///< ray levels where the first one began
};

}  // namespace lumorender
