#include "support/abort.h"

#include "support/messages.h"

#include <atomic>

namespace lumorender {

namespace {
std::atomic<bool> requested{false};
std::atomic<int> works{0};
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free,
              "signal handlers use them");
}  // namespace

void requestAbort() noexcept { requested.store(true, std::memory_order_relaxed); }

void clearAbort() noexcept { requested.store(false, std::memory_order_relaxed); }

bool abortRequested() noexcept { return requested.load(std::memory_order_relaxed); }

void throwIfAborted() {
    if (abortRequested()) throw Failure("it was stopped");
}

WorkToKeep::WorkToKeep() noexcept { ++works; }

WorkToKeep::~WorkToKeep() { --works; }

bool WorkToKeep::exists() noexcept { return works.load() > 0; }

}  // namespace lumorender
