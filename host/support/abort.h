// The wish to stop the render: set by the user's signal or by a shader, watched by everything that takes long.
#pragma once

#include <atomic>

namespace lumorender {

namespace detail {
inline std::atomic<bool> stopRequested{false};
static_assert(std::atomic<bool>::is_always_lock_free, "signal handlers set it");
}  // namespace detail

/// Asks the render to stop soon. May be called from any thread and from a signal handler.
void requestAbort() noexcept;

/// Forgets an earlier request: call before a render starts.
void clearAbort() noexcept;

/// Costs a load: asked before every call of a shader.
inline bool abortRequested() noexcept { return detail::stopRequested.load(std::memory_order_relaxed); }

/// Throws Failure where a stop was requested: for what cannot be left half done.
void throwIfAborted();

/// While an object lives there is finished work that is not in its file yet. A program that is to stop waits for it;
/// without, it may be ended at any moment, and nothing is lost.
class WorkToKeep {
public:
    WorkToKeep() noexcept;
    ~WorkToKeep();
    WorkToKeep(const WorkToKeep&) = delete;
    WorkToKeep& operator=(const WorkToKeep&) = delete;

    /// May be called from a signal handler.
    static bool exists() noexcept;
};

}  // namespace lumorender
