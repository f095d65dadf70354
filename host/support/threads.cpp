#include "support/threads.h"

#include "support/abort.h"
#include "support/messages.h"

#include <pthread.h>

#include <algorithm>
#include <deque>
#include <exception>
#include <mutex>
#include <thread>

namespace lumorender {

namespace {

constexpr std::size_t kThreadStack = std::size_t{64} << 20;  // deep chains of rays through shaders
constexpr std::size_t kOneCall = std::size_t{1} << 20;       // what a shader may take between two calls of others

/// A thread whose stack is deep enough for shaders, which the standard library's threads do not offer.
class DeepThread {
public:
    explicit DeepThread(std::function<void()> body) : body_(std::move(body)) {
        pthread_attr_t attributes;
        pthread_attr_init(&attributes);
        pthread_attr_setstacksize(&attributes, kThreadStack);
        const int failed = pthread_create(&thread_, &attributes, &DeepThread::run, this);
        pthread_attr_destroy(&attributes);
        if (failed) throw Failure("the system gives no further thread");
        pthread_setname_np(thread_, "render");
    }
    ~DeepThread() { pthread_join(thread_, nullptr); }
    DeepThread(const DeepThread&) = delete;
    DeepThread& operator=(const DeepThread&) = delete;

private:
    static void* run(void* self) {
        noteStack();
        static_cast<DeepThread*>(self)->body_();
        return nullptr;
    }

    std::function<void()> body_;
    pthread_t thread_ = {};
};

}  // namespace

void noteStack() {
    pthread_attr_t attributes;
    if (pthread_getattr_np(pthread_self(), &attributes) != 0) return;
    void* lowest = nullptr;
    std::size_t size = 0;
    if (pthread_attr_getstack(&attributes, &lowest, &size) == 0)
        stackFloor = static_cast<const char*>(lowest) + std::min(kOneCall, size / 2);
    pthread_attr_destroy(&attributes);
}

int threadsToUse(int setting) {
    return setting > 0 ? setting : static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
}

void onThreads(int threads, const std::function<void(int)>& body) {
    std::mutex failing;
    std::exception_ptr failure;
    const auto guarded = [&](int index) {
        threadIndex = index;
        try {
            body(index);
        } catch (...) {
            const std::lock_guard lock(failing);
            failure = std::current_exception();
            requestAbort();
        }
    };
    {
        std::deque<DeepThread> running;
        for (int i = 0; i < threads; ++i) running.emplace_back([&guarded, i] { guarded(i); });
    }
    if (failure) std::rethrow_exception(failure);
}

}  // namespace lumorender
