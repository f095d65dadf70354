// What geometry may take of the machine's memory.
#pragma once

#include "support/limits.h"
#include "support/messages.h"

#include <atomic>
#include <cstdint>

namespace lumorender {

/// Counts what is about to be made, before it is made. From any thread.
class MemoryBudget {
public:
    /// Throws Failure where it does not fit any more. `what` names it in the message: `object "o"`.
    void take(double bytes, std::string_view what) {
        const double before = taken_.fetch_add(bytes, std::memory_order_relaxed);
        const auto limit = static_cast<double>(limits().memoryBytes);
        if (before + bytes <= limit) return;
        constexpr double kMegabyte = 1 << 20;
        throw Failure(
            fmt::format("{} needs about {:.0f} MB; with what there is already, geometry would take {:.0f} MB "
                        "of the {:.0f} MB that it may have (-memory)",
                        what, bytes / kMegabyte, (before + bytes) / kMegabyte, limit / kMegabyte));
    }

    /// Counts what is needed now in any case. True where it does not fit.
    bool takeAnyway(double bytes) {
        return taken_.fetch_add(bytes, std::memory_order_relaxed) + bytes > static_cast<double>(limits().memoryBytes);
    }
    void give(double bytes) { taken_.fetch_sub(bytes, std::memory_order_relaxed); }
    double taken() const { return taken_.load(std::memory_order_relaxed); }

private:
    std::atomic<double> taken_ = 0;
};

}  // namespace lumorender
