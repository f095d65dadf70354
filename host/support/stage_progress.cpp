#include "support/stage_progress.h"

#include <algorithm>
#include <mutex>

namespace lumorender {

namespace {

std::mutex& showing() {
    static std::mutex mutex;
    return mutex;
}

std::function<void(const StageState&)>& shower() {
    static std::function<void(const StageState&)> show;
    return show;
}

}  // namespace

void showProgress(std::function<void(const StageState&)> show) {
    const std::lock_guard lock(showing());
    shower() = std::move(show);
}

void tellProgress(const StageState& state) {
    const std::unique_lock lock(showing(), std::try_to_lock);
    if (lock && shower()) shower()(state);
}

double StageProgress::seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
}

void StageProgress::tell(double done) const { tellProgress({stage_, done, seconds(), 0}); }

void StageProgress::step(long count) {
    constexpr double kInterval = 0.1;
    const long taken = taken_.fetch_add(count) + count;
    double told = told_.load();
    const double now = seconds();
    if (now - told < kInterval || !told_.compare_exchange_strong(told, now)) return;
    tell(std::min(static_cast<double>(taken) / static_cast<double>(std::max(steps_, 1L)), 1.0));
}

}  // namespace lumorender
