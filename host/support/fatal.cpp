#include "support/fatal.h"

#include "support/messages.h"

#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>

namespace lumorender {

namespace {

std::atomic<FatalHook> fatalHook{nullptr};

}  // namespace

void setFatalHook(FatalHook hook) noexcept { fatalHook = hook; }

void endFatally() noexcept {
    static std::atomic<bool> ending{false};
    thread_local bool endsHere = false;
    if (endsHere) std::_Exit(EXIT_FAILURE);
    if (ending.exchange(true))
        while (true) pause();
    endsHere = true;
    if (const FatalHook hook = fatalHook) hook();
    std::fflush(nullptr);
    std::_Exit(EXIT_FAILURE);
}

void endFatally(const char* module, const char* text) noexcept {
    message(MessageClass::Fatal, module, text);
    endFatally();
}

}  // namespace lumorender
