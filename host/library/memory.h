// The allocator behind the memory functions of shaders: it knows every block that is alive and where it was asked for.
#pragma once

#include <cstddef>

namespace lumorender {

struct ForgottenMemory {
    std::size_t blocks = 0;
    std::size_t bytes = 0;
};

/// Frees all memory that modules allocated and did not release, arenas included, and tells where it came from: the
/// totals as info, the places as debug messages. Modules keep tables for their whole life behind static pointers, so
/// this is for the end of the program, after the exit functions of the last render.
ForgottenMemory releaseForgottenMemory();

/// What modules hold at the moment.
ForgottenMemory memoryInUse();

/// Zeroed memory of any alignment up to 16, or null when memory is short. Size 0 gives a block as well.
/// @param file source file of the request; the text must live as long as the module that asks.
void* allocateTracked(const char* file, int line, std::size_t size) noexcept;

/// The same, not zeroed and aligned to `alignment`, a power of two that divides the size.
void* allocateTrackedPage(const char* file, int line, std::size_t size, std::size_t alignment) noexcept;

/// Null is no error; a pointer that is none of ours, or was released before, is reported and left alone.
void releaseTracked(const char* file, int line, void* memory) noexcept;

/// Takes over what a module has handed to the host: memory of ours is released, anything else stays as it is.
void releaseHandedOver(void* memory) noexcept;

}  // namespace lumorender
