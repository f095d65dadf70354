// Threads that render.
#pragma once

#include <atomic>
#include <cstddef>
#include <functional>

namespace lumorender {

/// Where the running thread's stack gets too short to call another shader. Null in threads that call none.
inline constinit thread_local const char* stackFloor = nullptr;

/// Finds `stackFloor` for the running thread.
void noteStack();

/// False where another call of a shader could overflow the stack; with `spare` that many bytes earlier.
inline bool stackHasRoom(std::size_t spare = 0) {
    return static_cast<const char*>(__builtin_frame_address(0)) > stackFloor + spare;
}

/// The index that `onThreads` gave the running thread; 0 in all others.
inline constinit thread_local int threadIndex = 0;

/// How many threads the render that runs has, for modules that make room for each of them.
inline constinit std::atomic<int> threadsOfRender{1};

/// The number that a setting asks for; 0 = one per core.
int threadsToUse(int setting);

/// Runs `body(index)` on so many threads, with stacks deep enough for shaders, and waits for all of them. Work stays on
/// its thread: nothing is stolen. An exception stops the render and is thrown again here; with several, one of them.
void onThreads(int threads, const std::function<void(int)>& body);

}  // namespace lumorender
