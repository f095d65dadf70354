#include "application/progress_line.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace lumorender {

namespace {

constexpr double kSecondsBetweenUpdates = 0.1;

std::string duration(double seconds) {
    const long whole = static_cast<long>(seconds + 0.5);
    if (whole >= 3600) return fmt::format("{}:{:02}:{:02}", whole / 3600, whole / 60 % 60, whole % 60);
    return fmt::format("{}:{:02}", whole / 60, whole % 60);
}

}  // namespace

ProgressLine::ProgressLine() : terminal_(isatty(STDERR_FILENO) == 1) {}

ProgressLine::~ProgressLine() { clear(); }

void ProgressLine::clear() {
    if (shown_) std::fputs("\r\033[K", stderr);
    shown_ = false;
}

void ProgressLine::show(const RenderProgress& progress) {
    if (!terminal_) return;
    const bool last = progress.done == progress.total;
    if (last) return clear();
    if (progress.seconds - lastSeconds_ < kSecondsBetweenUpdates) return;
    lastSeconds_ = progress.seconds;
    const double part = static_cast<double>(progress.done) / progress.total;
    const double left = part > 0 ? progress.seconds * (1 - part) / part : 0;
    const std::string line =
        fmt::format("\r\033[K{:5.1f} %  {:.2f} million rays/s  {} left", 100 * part,
                    static_cast<double>(progress.rays) / std::max(progress.seconds, 1e-6) / 1e6, duration(left));
    std::fputs(line.c_str(), stderr);
    shown_ = true;
}

}  // namespace lumorender
