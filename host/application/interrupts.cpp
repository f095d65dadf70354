#include "application/interrupts.h"

#include "support/abort.h"
#include "support/whole_file.h"

#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <string_view>

namespace lumorender {

namespace {

constexpr suseconds_t kPatience = 800'000;  ///< microseconds: with what ending takes, about a second

std::atomic<bool> isInterrupted{false};

void tell(std::string_view text) {
    [[maybe_unused]] const auto ignored = ::write(STDERR_FILENO, text.data(), text.size());
}

void waitForTheEnd() {
    const itimerval once{{0, 0}, {0, kPatience}};
    setitimer(ITIMER_REAL, &once, nullptr);
}

/// Some things cannot be asked to stop: a library that unpacks an image, a shader that begins with a long computation.
extern "C" void onAlarm(int) {
    if (WorkToKeep::exists()) return waitForTheEnd();
    removeUnfinishedFiles();
    tell("stopped\n");
    _exit(1);
}

extern "C" void onInterrupt(int signal) {
    if (isInterrupted.exchange(true)) {
        removeUnfinishedFiles();
        std::signal(signal, SIG_DFL);
        std::raise(signal);
        return;
    }
    requestAbort();
    tell(WorkToKeep::exists() ? "\nstopping; what is finished is written first, another interrupt gives it up\n"
                              : "\nstopping\n");
    waitForTheEnd();
}

}  // namespace

void answerInterrupts() {
    std::signal(SIGALRM, onAlarm);
    std::signal(SIGINT, onInterrupt);
    std::signal(SIGTERM, onInterrupt);
}

}  // namespace lumorender
