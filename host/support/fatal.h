// The end of the program at a shader's wish, or where the renderer's contract leaves no other way out.
#pragma once

namespace lumorender {

/// Called on the failing thread before the process ends, to write what is finished. It must not wait for render
/// threads: one of them is the caller. A hook that fails fatally itself ends the process at once.
using FatalHook = void (*)();
void setFatalHook(FatalHook hook) noexcept;

/// Runs the hook, flushes all open files and ends the process with exit code 1, without destructors: other threads are
/// still running. Other threads that get here wait for the end.
[[noreturn]] void endFatally() noexcept;

/// Prints a fatal message of the module and ends the process as above.
[[noreturn]] void endFatally(const char* module, const char* text) noexcept;

}  // namespace lumorender
