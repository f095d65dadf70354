// Threads that render.
#pragma once

#include <functional>

namespace lumorender {

/// The number that a setting asks for; 0 = one per core.
int threadsToUse(int setting);

/// Runs `body(index)` on so many threads, with stacks deep enough for shaders, and waits for all of them. Work stays on
/// its thread: nothing is stolen. An exception stops the render and is thrown again here; with several, one of them.
void onThreads(int threads, const std::function<void(int)>& body);

}  // namespace lumorender
