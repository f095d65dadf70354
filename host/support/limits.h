// What scenes may take of this machine. The command line may change it before anything is read.
#pragma once

#include <cstddef>
#include <cstdint>

namespace lumorender {

struct Limits {
    /// A file that a scene names may be so large, packed and, where it is an image, unpacked.
    std::uint64_t fileBytes = std::uint64_t{4} << 30;
    /// Geometry, and pictures while they are rendered, may take so much; four fifths of the machine's memory at first.
    std::uint64_t memoryBytes;

    Limits();
};

/// Of the process. Change them only while one thread runs.
Limits& limits();

}  // namespace lumorender
