#include "support/abort.h"

#include "support/messages.h"

namespace lumorender {

namespace {
std::atomic<int> works{0};
static_assert(std::atomic<int>::is_always_lock_free, "signal handlers read it");
}  // namespace

void requestAbort() noexcept { detail::stopRequested.store(true, std::memory_order_relaxed); }

void clearAbort() noexcept { detail::stopRequested.store(false, std::memory_order_relaxed); }

void throwIfAborted() {
    if (abortRequested()) throw Failure("it was stopped");
}

WorkToKeep::WorkToKeep() noexcept { ++works; }

WorkToKeep::~WorkToKeep() { --works; }

bool WorkToKeep::exists() noexcept { return works.load() > 0; }

}  // namespace lumorender
