#include "renderer.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

#include <mi/functions.h>

struct miLock_s {
    std::mutex mutex;
};

namespace twin {

namespace {

miLock_s theGlobalLock;

}  // namespace

Renderer* currentRenderer = new Renderer;

void resetRenderer() {
    delete currentRenderer;
    currentRenderer = nullptr;
    currentRenderer = new Renderer;
}

Renderer::Renderer() {
    stringOptions = database.add(miSCENE_LOCAL, 8);
    frameBuffers = database.add(miSCENE_FBINFO, 8);
    globalLock.ptr = &theGlobalLock;
}

std::vector<Message> Renderer::messages() {
    const std::lock_guard lock(mutex_);
    return messages_;
}

int Renderer::messageCount(const std::string& level, const std::string& text) {
    const std::lock_guard lock(mutex_);
    return static_cast<int>(std::count_if(messages_.begin(), messages_.end(), [&](const Message& each) {
        return each.level == level && each.text.find(text) != std::string::npos;
    }));
}

std::vector<std::string> Renderer::violations() {
    const std::lock_guard lock(mutex_);
    return violations_;
}

void Renderer::say(const std::string& level, const std::string& text) {
    const std::lock_guard lock(mutex_);
    messages_.push_back({level, text});
}

void Renderer::violation(const std::string& what) {
    const std::lock_guard lock(mutex_);
    violations_.push_back(what);
}

}  // namespace twin

using twin::renderer;

#define MESSAGE(name)                                         \
    void mi_##name(const char* format, ...) {                 \
        char text[2048];                                      \
        va_list arguments;                                    \
        va_start(arguments, format);                          \
        std::vsnprintf(text, sizeof text, format, arguments); \
        va_end(arguments);                                    \
        renderer().say(#name, text);                          \
    }

MESSAGE(fatal)
MESSAGE(error)
MESSAGE(warning)
MESSAGE(info)

void mi_lock(miLock lock) {
    lock.ptr->mutex.lock();
    ++renderer().timesLocked;
}

void mi_unlock(miLock lock) { lock.ptr->mutex.unlock(); }
