#include "application/progress_line.h"

#include "application/closing_line.h"
#include "support/messages.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>

namespace lumorender {

namespace {

std::string timeLeft(const StageState& state) {
    if (!(state.done > 0)) return "";
    return fmt::format(", {} left", wholeDurationText(state.seconds * (1 - state.done) / state.done));
}

}  // namespace

ProgressLine::ProgressLine() : terminal_(isatty(STDERR_FILENO) == 1) {
    showProgress([this](const StageState& state) { show(state); });
}

ProgressLine::~ProgressLine() {
    showProgress({});
    clear();
}

void ProgressLine::clear() {
    if (shown_) std::fputs("\r\033[K", stderr);
    shown_ = false;
}

void ProgressLine::show(const StageState& state) {
    if (state.stage != stage_) {
        stage_ = state.stage;
        lastSeconds_ = lastDone_ = 0;
    }
    terminal_ ? rewriteLine(state) : writeLine(state);
}

void ProgressLine::rewriteLine(const StageState& state) {
    constexpr double kInterval = 0.1;
    if (state.done >= 1) return clear();
    if (state.seconds - lastSeconds_ < kInterval) return;
    lastSeconds_ = state.seconds;
    const std::string rays =
        state.raysPerSecond > 0 ? fmt::format(", {:.2f} million rays/s", state.raysPerSecond / 1e6) : "";
    std::fputs(fmt::format("\r\033[K{}: {:.1f} %{}{}", state.stage, 100 * state.done, rays, timeLeft(state)).c_str(),
               stderr);
    shown_ = true;
}

void ProgressLine::writeLine(const StageState& state) {
    constexpr double kLeast = 1, kMost = 30;  // seconds
    const double waited = state.seconds - lastSeconds_;
    const bool isNext = std::floor(10 * state.done + 1e-9) > std::floor(10 * lastDone_ + 1e-9);
    if (waited < kLeast || state.done >= 1 || !(isNext || waited >= kMost)) return;
    lastSeconds_ = state.seconds;
    lastDone_ = state.done;
    announce("RC", fmt::format("{}: {:.0f} %{}", state.stage, std::floor(100 * state.done), timeLeft(state)));
}

}  // namespace lumorender
