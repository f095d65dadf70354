// How far a stage is that takes long, for whoever wants to show it.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <string>

namespace lumorender {

struct StageState {
    std::string stage;         ///< "rendering", "final gathering ..."
    double done = 0;           ///< 0 to 1
    double seconds = 0;        ///< since the stage began
    double raysPerSecond = 0;  ///< 0 where they are not counted
};

/// Hands every state to `show`, which one thread at a time calls; an empty function ends that.
void showProgress(std::function<void(const StageState&)> show);

/// Tells it a state. Threads do not wait for each other: what comes while another is shown is not shown.
void tellProgress(const StageState& state);

/// A stage of so many equal steps, taken by any thread. Tells of it at most ten times a second, and at its end.
class StageProgress {
public:
    StageProgress(std::string stage, long steps) : stage_(std::move(stage)), steps_(steps) {}
    ~StageProgress() { tell(1); }
    void step(long count = 1);

private:
    void tell(double done) const;
    double seconds() const;

    const std::string stage_;
    const long steps_;
    const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    std::atomic<long> taken_{0};
    std::atomic<double> told_{0};  ///< when, in seconds
};

}  // namespace lumorender
